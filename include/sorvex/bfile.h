// Files on disk.
#ifndef SORVEX_BFILE_H
#define SORVEX_BFILE_H

#include <string>

#include <sorvex/bpath.h>
#include <sorvex/bstream.h>
#include <sorvex/export.h>

namespace Sorvex {

/// A file on disk, as a stream of bytes and as a name.
///
/// A new object is closed: it only holds the name. create() and open() open the file with a mode
/// text, of which the first letter says what becomes of it: `r` reads one that exists, `w` makes an
/// empty one, `a` writes at the end; with `+` it can be both read and written, with `x` behind `w`
/// it must be new, and `b` has every byte come and go unchanged on every host. Reads and writes are
/// buffered; between a write and a read goes setPosition() or flush(), as the platform tells.
///
/// On a closed file the operations on its contents fail with their own text and that of a bad
/// descriptor; isEof() is true, and getLine() gives nothing.
///
/// An object belongs to one thread at a time.
class SORVEX_API BFile : public BStream, public BPath {
public:
    /// What canAccess() asks.
    enum AccessMode : int {
        accessExists = 0,    ///< does it exist
        accessRead = 1,      ///< may it be read
        accessWrite = 2,     ///< may it be written
        accessReadWrite = 3  ///< may it be read and written
    };

    explicit BFile(const char* name);         ///< A closed file; the disk is not touched.
    explicit BFile(const std::string& name);  ///< A closed file, named by a standard string.
    ~BFile() override;                        ///< Closes the file, as close().

    BFile(const BFile&) = delete;
    BFile& operator=(const BFile&) = delete;

    /// Whether the file is open.
    bool isOpen() const noexcept { return file != nullptr; }

    /// Writes out what is buffered and closes the file, if one is open. It never fails: flush()
    /// first to learn whether everything reached the host.
    BFile& close() noexcept;

    /// Opens the file of the held name. A file that is still open is closed before.
    ///
    /// @throws std::runtime_error "BFile::create(): can not fopen NAME mode:MODE."; the object is
    ///     closed then
    BFile& create(const char* mode);
    BFile& open(const char* mode);  ///< Opens as create() does.

    /// Takes another name, which stays whatever follows, and opens the file of that name. What was
    /// learned of the old name is kept until getInformation().
    BFile& open(const char* name, const char* mode);

    /// Fewer bytes than asked for mean the end of the file, or a count of more than 32 bits.
    ///
    /// @throws std::runtime_error "BFile::read(): error on fread NAME ERROR"; some bytes may have
    ///     arrived then, and the file stays open
    unsigned long read(void* buffer, unsigned long size) override;

    /// A count of more than 32 bits fails as a file that grows too large, and writes nothing.
    ///
    /// @throws std::runtime_error "BFile::write(): error on fwrite NAME ERROR"; some bytes may have
    ///     been written then, and the file stays open
    unsigned long write(const void* buffer, unsigned long size) override;

    /// Hands what is buffered to the host.
    ///
    /// @throws std::runtime_error "BFile::flush(): error on fflush NAME ERROR"; what the host did
    ///     not take stays buffered
    BFile& flush();

    /// Goes to a position in bytes from the start of the file, and drops what was read ahead. A
    /// position of 2 to the power 31 or more is refused.
    ///
    /// @throws std::runtime_error "BFile::setPosition(): error on fseek() NAME ERROR"
    BFile& setPosition(unsigned long position);

    /// The position in bytes from the start of the file; 0xFFFFFFFF when it can't be told and no
    /// read or write has failed before, as for one of 2 to the power 31 or more.
    ///
    /// @throws std::runtime_error "BFile::getPosition(): error on ftell() NAME ERROR"
    unsigned long getPosition();

    /// Whether a read has hit the end of the file, which it does not by reading the last byte.
    bool isEof() noexcept;

    /// Reads a line: up to a line feed or the end of the file. The line feed is not part of it, and
    /// carriage returns and form feeds are dropped wherever they stand.
    ///
    /// In an object of a derived class the bytes come through its read(), one at a time.
    ///
    /// @throws std::runtime_error as read()
    std::string getLine();

    /// The size in bytes, of which the low 32 bits are kept. It is part of the record that
    /// getInformation() reads, so it is not that of an open file that has grown since.
    ///
    /// @throws std::runtime_error as getInformation()
    unsigned long size() const;

    /// Whether the running process has this access to the file.
    ///
    /// @throws std::logic_error "BFile::canAccess(): Invalid access mode specified for file NAME"
    ///     for a mode that is none of the four
    static bool canAccess(const char* name, AccessMode mode);
    bool canAccess(AccessMode mode) const;  ///< Whether it has this access to its own file.

    /// Removes what is not a directory; of a link, the link itself. The member does not close the
    /// file first.
    ///
    /// @throws std::runtime_error "BFile::remove(): error removing file NAME ERROR"
    static void remove(const char* name);
    BFile& remove();  ///< Removes the file of the held name.

    /// Copies contents, permissions and time of modification; of a link to a file, what it leads
    /// to. The target has its name only once it is whole; what it replaces stays as it is until
    /// then, and after a failure. Without overwrite an existing target is a failure. A file is
    /// never copied onto itself.
    ///
    /// A replaced file keeps its owner and group where the host allows it, and gets the source's
    /// permissions. Other hard links of it keep the old contents. A link in the target's place is
    /// replaced, not written through.
    ///
    /// The member copies what is on disk, which is not what its own buffer still holds.
    ///
    /// @throws std::runtime_error "BFile::copy(): failed SOURCE to TARGET ERROR"
    static void copy(const char* source, const char* target, bool overwrite);
    BFile& copy(const char* target, bool overwrite);  ///< Copies the file of the held name.

    /// A name that nothing has, not even a link that leads nowhere: the given one, or else the
    /// first of NAME.001.EXTENSION, NAME.002.EXTENSION and so on that is free. The number goes
    /// before the last dot of the whole text, directories included, and to its end when there is
    /// none. Nothing is made on disk.
    static std::string safeFileName(const std::string& name);

private:
    void* file = nullptr;  // the platform's buffered file
};

}  // namespace Sorvex

#endif
