// Whole directories.
#ifndef SORVEX_BDIRECTORY_H
#define SORVEX_BDIRECTORY_H

#include <sorvex/bpath.h>
#include <sorvex/export.h>

namespace Sorvex {

/// The name of a directory and what can be done to the directory as a whole.
///
/// Each operation is there as a static one on a name and as a member on the held name. A walk over
/// a tree never leaves the tree: a symbolic link is an entry like a file, it is removed or copied
/// and not followed, and that holds also when a directory is exchanged for a link meanwhile. A
/// failure ends an operation where it stands; nothing is taken back. An object belongs to one
/// thread at a time.
class SORVEX_API BDirectory : public BPath {
public:
    explicit BDirectory(const char* name);  ///< Stores the name and touches nothing on disk.
    ~BDirectory() override;

    BDirectory(const BDirectory&) = default;             ///< A copy has the name.
    BDirectory& operator=(const BDirectory&) = default;  ///< Takes over the name.

    /// Whether the name exists, as a directory or as anything else.
    static bool exists(const char* name) noexcept;
    bool exists() const noexcept;  ///< Whether the held name exists, as whatever it is.

    /// Makes the directory. Whatever exists under the name already is left as it is, and is no
    /// failure.
    ///
    /// @param recursive makes missing parents, too, topmost first. A name that is its own parent,
    ///     as an absolute one that ends in a backslash is, is refused where its parents are
    ///     missing.
    /// @throws std::runtime_error "BDirectory::create(): error creating directory ", the directory
    ///     that can't be made, a blank and the error text; "BDirectory::create(): error creating
    ///     directory; directories must not end with slash" and the name; or the failure of
    ///     BPath::fullName
    static void create(const char* name, bool recursive);
    BDirectory& create(bool recursive);  ///< Makes the directory of the held name.

    /// Removes the directory, which must be empty.
    ///
    /// @param recursive removes everything in it first, also what is mounted there; a name that is
    ///     a link goes without what is behind it, and the root of the file system is refused
    ///     wherever it is mounted
    /// @throws std::runtime_error "BDirectory::remove(): error removing directory ", the directory,
    ///     a blank and the error text; or what zap throws
    static void remove(const char* name, bool recursive);
    BDirectory& remove(bool recursive);  ///< Removes the directory of the held name.

    /// Removes the entries that match a pattern, subdirectories with all that they hold, and keeps
    /// the directory, which need not exist. Read-only entries are no exception where the platform
    /// lets them be removed. The root of the file system is refused with the failure of remove.
    ///
    /// @param pattern with the wildcards of a BPathCursor, or the name of one entry; null for all
    ///     entries. It is text behind the directory: it never leads to another one, names a drive
    ///     or starts at a root.
    /// @throws std::runtime_error what BPathCursor, BFile::remove, BPath::fullName or remove throw
    static void zap(const char* name, const char* pattern);
    BDirectory& zap(const char* pattern);  ///< Removes entries of the directory of the held name.

    /// Copies the entries of the directory into another, which is made with its parents if it is
    /// missing. A directory inside itself can be the target: it is not copied. A source that
    /// doesn't exist has no entries.
    ///
    /// @param overwrite replaces files that exist in the target; without it they end the copy
    /// @param recursive copies subdirectories, too; without it they are passed over
    /// @throws std::runtime_error what BPathCursor, BFile::copy, BPath::fullName or create throw;
    ///     that of create, too, when the place of a subdirectory in the target is taken by a link
    static void copy(const char* source, const char* target, bool overwrite, bool recursive);
    /// Copies the entries of the directory of the held name.
    BDirectory& copy(const char* target, bool overwrite, bool recursive);

    /// Whether the absolute name of the parent starts with a backslash or has one as its third
    /// character, which is so for all names on a drive or a share.
    ///
    /// @throws std::runtime_error the failure of BPath::fullName
    static bool isRoot(const char* name);
    bool isRoot() const;  ///< Whether that is so of the held name.
};

}  // namespace Sorvex

#endif
