// Listings of directories.
#ifndef SORVEX_CURSORS_H
#define SORVEX_CURSORS_H

#include <memory>
#include <string>

#include <sorvex/export.h>
#include <sorvex/timestamp.h>

namespace Sorvex {

/// Walks the entries of one directory that match a wildcard pattern, directories and the entries
/// "." and ".." included, in the platform's order.
///
///     BPathCursor entry("C:\\logs", "*.txt");
///     for (entry.first(); entry; ++entry)
///         std::cout << entry.name() << '\n';
///
/// In a pattern `*` stands for any run of characters, `?` for one character, or for none at the end
/// of the name or right before a dot; `*.*` matches every name, and letters match in both cases. A
/// pattern without either names one entry.
///
/// A symbolic link is an entry of its own and no directory, wherever it leads. Entries may be
/// removed while they are listed. What a cursor tells of the entry that it stands on is what that
/// was when the cursor came to it, also after the last one; without an entry it is the empty
/// string, 0 and false. A cursor belongs to one thread at a time.
class SORVEX_API BPathCursor {
public:
    /// Stores both texts as they are; first() starts the search. A directory with an empty name has
    /// no entries.
    BPathCursor(const char* directory, const char* pattern);
    /// Takes both texts as standard strings.
    BPathCursor(const std::string& directory, const std::string& pattern);
    /// Takes the directory as a standard string.
    BPathCursor(const std::string& directory, const char* pattern);

    virtual ~BPathCursor();  ///< Ends the search.

    BPathCursor(const BPathCursor&) = delete;
    BPathCursor& operator=(const BPathCursor&) = delete;

    /// Starts the search, or starts it again, and steps to the first entry.
    ///
    /// @return whether there is one; no, too, when the directory doesn't exist
    /// @throws std::runtime_error "BPathCursor::BPathCursor(): FindFirstFile() " and the search
    ///     text, when the directory can't be listed; "BPathCursor::~BPathCursor(): FindClose() ",
    ///     directory and pattern, when an earlier search can't be ended
    virtual bool first();

    /// Steps to the next entry.
    ///
    /// @return whether there is one
    /// @throws std::runtime_error "BPathCursor::findNext(): FindNextFile() ", directory and
    ///     pattern, when no search was started or first() has found nothing, or when the listing
    ///     fails
    virtual bool next();

    /// Whether the cursor stands on an entry.
    bool isValid() const noexcept { return valid; }
    operator bool() const noexcept { return valid; }  ///< The same as isValid().

    /// Steps to the next entry. Both forms return the cursor itself, already stepped.
    BPathCursor& operator++();
    BPathCursor& operator++(int);  ///< Steps to the next entry, too.

    std::string name() const;  ///< The entry's name, without its directory.

    /// The entry's absolute name.
    ///
    /// @throws std::runtime_error "BPath::fullName(): can not get full name ", directory, backslash
    ///     and name, a blank and the error text, when it is longer than 259 characters
    std::string fullName() const;
    operator std::string() const { return fullName(); }  ///< The same as fullName().

    /// The entry's extension with its leading dot; empty when it has none.
    std::string extension() const;

    /// The platform's attributes of the entry, which aren't those of a BPath: 0x1 read-only, 0x2
    /// hidden, 0x10 directory, 0x80 none of all, 0x400 link.
    unsigned long attributes() const noexcept;

    /// Whether the entry has at least one of these attributes.
    bool hasAttribute(unsigned long attribute) const;

    bool isDirectory() const noexcept;  ///< Whether the entry has the attribute 0x10.

    /// The low 32 bits of the size in bytes; 0 for what is not a file.
    unsigned long size() const;

    /// When the entry was made. Times of an entry are local, to the millisecond.
    TimeStamp creationTime() const;
    TimeStamp lastAccessTime() const;  ///< When the entry was last read.
    TimeStamp lastWriteTime() const;   ///< When the entry was last written.

    /// The directory that the cursor was made with.
    const std::string& directoryName() const noexcept { return directoryPath; }
    /// The pattern that the cursor was made with.
    const std::string& pattern() const noexcept { return searchPattern; }

private:
    friend class BDirectoryCursor;
    friend class BFileCursor;
    friend class WalkCursor;
    struct Record;

    bool prepare();
    bool settle(void* found);
    bool settleEmpty();
    bool hasEntry() const noexcept;
    bool isOnDots() const noexcept;
    std::string searchText() const;

    bool valid = false;
    std::string directoryPath;
    std::string searchPattern;
    void* findHandle = nullptr;
    std::unique_ptr<Record> findData;
};

/// Walks the real subdirectories of a directory that match a pattern: "." and ".." are passed over.
///
/// It is positioned on its first entry, or not valid, once it is made. Its first and next throw as
/// those of BPathCursor do, and so do its constructors.
class SORVEX_API BDirectoryCursor : public BPathCursor {
public:
    /// Stores both texts as they are and stands on the first entry.
    BDirectoryCursor(const char* directory, const char* pattern);
    /// Takes both texts as standard strings.
    BDirectoryCursor(const std::string& directory, const std::string& pattern);
    /// Takes the directory as a standard string.
    BDirectoryCursor(const std::string& directory, const char* pattern);
    ~BDirectoryCursor() override;

    bool first() override;
    bool next() override;

private:
    bool passOver(bool found);
};

/// Walks the entries of a directory that match a pattern and are no directories.
///
/// It is positioned on its first entry, or not valid, once it is made. Its first and next throw as
/// those of BPathCursor do, and so do its constructors.
class SORVEX_API BFileCursor : public BPathCursor {
public:
    /// Stores both texts as they are and stands on the first entry.
    BFileCursor(const char* directory, const char* pattern);
    /// Takes both texts as standard strings.
    BFileCursor(const std::string& directory, const std::string& pattern);
    /// Takes the directory as a standard string.
    BFileCursor(const std::string& directory, const char* pattern);

    /// Takes the pattern from the end of a path. The directory becomes the absolute one, with a
    /// backslash at its end.
    ///
    /// @throws std::runtime_error also "BPath::fullName(): can not get full name ", the path, a
    ///     blank and the error text
    explicit BFileCursor(const char* path);
    ~BFileCursor() override;

    bool first() override;
    bool next() override;

private:
    bool passOver(bool found);
};

}  // namespace Sorvex

#endif
