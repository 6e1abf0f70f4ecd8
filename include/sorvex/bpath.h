// Names in the file system, and what can be asked of them.
#ifndef SORVEX_BPATH_H
#define SORVEX_BPATH_H

#include <cstdint>
#include <memory>
#include <string>

#include <sorvex/export.h>
#include <sorvex/timestamp.h>

namespace Sorvex {

/// A name in the file system, and what can be asked of that name.
///
/// Names have the form `C:\directory\file.extension` on every host; both separators count. What has
/// drive C: alone stands at the host's root where the host has no drives, and no other drive exists
/// there.
///
/// The object holds the name as it was given, nothing completed or checked, and looks at the disk
/// only when it is asked. What it then learns (attributes, times) it keeps: changes on the disk,
/// also those made through this object, show only after getInformation().
///
/// What needs no object comes twice, as a static function of a name and as a member on the held
/// name. Names are texts up to their first NUL.
///
/// An object belongs to one thread at a time, also for questions, since these fill the record. The
/// static functions may be called by any thread.
class SORVEX_API BPath {
public:
    /// A set of the bits of a file's mode.
    class Attr {
    public:
        /// Only the low 32 bits count.
        explicit constexpr Attr(unsigned long value) noexcept
            : bits(static_cast<std::uint32_t>(value)) {}

        /// The bits as a number.
        constexpr operator unsigned long() const noexcept { return bits; }

        /// The bits that either has. All operators work bit by bit.
        friend constexpr Attr operator|(Attr left, Attr right) noexcept {
            return Attr(left.bits | right.bits);
        }
        /// The bits that both have.
        friend constexpr Attr operator&(Attr left, Attr right) noexcept {
            return Attr(left.bits & right.bits);
        }
        /// The bits that one has and the other has not.
        friend constexpr Attr operator^(Attr left, Attr right) noexcept {
            return Attr(left.bits ^ right.bits);
        }
        constexpr Attr operator~() const noexcept { return Attr(~bits); }  ///< The others.
        /// Adds bits.
        constexpr Attr& operator|=(Attr other) noexcept { return *this = *this | other; }
        /// Keeps no others.
        constexpr Attr& operator&=(Attr other) noexcept { return *this = *this & other; }
        /// Turns bits round.
        constexpr Attr& operator^=(Attr other) noexcept { return *this = *this ^ other; }

    private:
        std::uint32_t bits;
    };

    static const Attr readPermision;    ///< 0x0100: the file may be read
    static const Attr directory;        ///< 0x4000: the name is a directory
    static const Attr characterDevice;  ///< 0x2000: the name is a character device
    static const Attr normalFile;       ///< 0x8000: the name is a regular file
    static const Attr writePermision;   ///< 0x0080: the file may be written
    static const Attr executable;       ///< 0x0040: the file may be executed
    static const Attr allFiles;         ///< 0xFFFF: all sixteen bits
    static const Attr allAttr;          ///< 0xFFFF: all sixteen bits
    static const Attr noAttr;           ///< 0: no bit
    BPath(const char* name);            ///< Holds a name as it is given; the disk is not touched.
    BPath(const std::string& name);     ///< Holds a name given as a standard string.

    virtual ~BPath();

    BPath(const BPath& other);  ///< A copy has the name and none of what was learned of it.
    BPath& operator=(const BPath& other);  ///< Takes over the name; what was learned is dropped.

    /// The held name; valid until the object changes its name or ends.
    operator const char*() const noexcept { return pathName.c_str(); }
    operator const std::string&() const noexcept { return pathName; }  ///< The held name.
    const std::string& name() const noexcept { return pathName; }      ///< The held name.

    // Conditions and comparisons would ask the pointer to the characters. What is meant is
    // exists(), BFile::isOpen() or a comparison of name().
    explicit operator bool() const = delete;
    friend bool operator==(const BPath&, const BPath&) = delete;
    friend bool operator==(const BPath&, const char*) = delete;
    friend bool operator==(const char*, const BPath&) = delete;
    friend bool operator!=(const BPath&, const BPath&) = delete;
    friend bool operator!=(const BPath&, const char*) = delete;
    friend bool operator!=(const char*, const BPath&) = delete;
    friend bool operator<(const BPath&, const BPath&) = delete;

    /// Whether anything has this name: a file, a directory or something else. A link counts for
    /// what is behind it. Nothing is learned for later questions.
    static bool exists(const char* name) noexcept;
    bool exists() const noexcept;  ///< Whether anything has the held name.

    /// Gives a file or directory another name. The member then holds the new name as it was passed;
    /// after a failure it keeps the old one.
    ///
    /// With replace, what has the new name is removed first, a link itself, and stays removed when
    /// the renaming fails. A directory is never removed. Where the old name is that of the same
    /// entry, under whatever spelling, or of a link that leads to it, nothing is removed and
    /// nothing changes.
    ///
    /// @throws std::runtime_error "BPath::move(): error file exists NEW ERROR" without replace,
    ///     "BPath::move(): error removing file NEW ERROR", or
    ///     "BPath::move(): error renaming OLD to NEW ERROR"
    static void move(const char* oldName, const char* newName, bool replace);
    BPath& move(const char* newName, bool replace);  ///< Gives what has the held name another.

    /// Sets the permissions. Passing what attributes() gave changes nothing; the bits that tell the
    /// kind of file are passed over, and those that lend a program its owner's rights are never
    /// added.
    ///
    /// @throws std::runtime_error "BPath::setAttributes(): error changing permisions NAME ERROR"
    static void setAttributes(const char* name, Attr attributes);
    BPath& setAttributes(Attr attributes);  ///< Sets the permissions of what has the held name.

    /// The absolute form, with backslashes: completed from the current directory, "." and ".."
    /// resolved by the text alone. A separator at the end stays. The disk is not asked.
    ///
    /// @throws std::runtime_error "BPath::fullName(): can not get full name NAME ERROR", also when
    ///     the result is longer than 259 characters
    static std::string fullName(const char* name);
    std::string fullName() const;  ///< The absolute form of the held name.

    /// Drive and directory of the absolute form. It ends in a separator, so that a name that ends
    /// in one is its own parent.
    ///
    /// @throws std::runtime_error as fullName()
    static std::string parent(const char* name);
    std::string parent() const;  ///< Drive and directory of the held name.

    /// The name behind the last separator (or the drive), by the text alone.
    static std::string fileName(const char* name);
    std::string fileName() const;  ///< The held name behind its last separator.

    /// The name behind the last separator, without the extension.
    static std::string fileNameWithoutExtension(const char* name);
    std::string fileNameWithoutExtension() const;  ///< The held file name without the extension.

    /// The file name from its last dot on, that dot included; empty without one. The whole name
    /// when its only dot is in front.
    static std::string extension(const char* name);
    std::string extension() const;  ///< The extension of the held name, its dot included.

    /// The 16 bits of the file's mode: kind and permissions. A link counts for what is behind it.
    ///
    /// This question and those below read the record when none is held.
    ///
    /// @throws std::runtime_error as getInformation()
    Attr attributes() const;

    /// Whether the attributes share at least one bit with the given ones.
    bool hasAttribute(Attr attribute) const;

    /// When the file was made. Times are in UTC, in whole seconds. Where the host keeps no time of
    /// creation it is the earlier of the last changes of the file's contents and of its facts.
    TimeStamp creationTime() const;
    TimeStamp lastAccessTime() const;  ///< When the contents were last read.
    TimeStamp lastWriteTime() const;   ///< When the contents were last changed.

    /// Reads the record anew. After a failure none is held, and the next question asks again.
    ///
    /// @throws std::runtime_error "BPath::getInformation(): file not found NAME ERROR"
    void getInformation() const;

private:
    friend class BFile;

    struct Information;
    const Information& heldInformation() const;

    std::string pathName;
    mutable std::unique_ptr<Information> information;
};

}  // namespace Sorvex

#endif
