// Entries of directories, and what the host's stat tells of them: their facts.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Sorvex::platform {

/// An entry by its name in the host's spelling, relative to an open directory; AT_FDCWD stands for
/// the current one. Neither is owned. The empty name and AT_EMPTY_PATH mean the directory itself.
struct EntryAt {
    int directory;
    const char* name;
};

/// A name of what a descriptor holds, for calls that take names alone. It works where there is
/// /proc.
class HeldName {
public:
    explicit HeldName(int descriptor) noexcept {
        std::snprintf(text, sizeof text, "/proc/self/fd/%d", descriptor);
    }

    const char* c_str() const noexcept { return text; }

private:
    char text[32];
};

/// Asks the host about an entry, following links unless AT_SYMLINK_NOFOLLOW is given. False with
/// errno set on failure.
inline bool factsOf(EntryAt entry, int flags, struct statx& facts,
                    unsigned wanted = STATX_BASIC_STATS) noexcept {
    return statx(entry.directory, entry.name, flags, wanted, &facts) == 0;
}

/// What all names of one file have in common. Made of nothing it is that of no file.
struct FileIdentity {
    FileIdentity() noexcept = default;
    explicit FileIdentity(const struct statx& facts) noexcept
        : inode(facts.stx_ino),
          deviceMajor(facts.stx_dev_major),
          deviceMinor(facts.stx_dev_minor) {}

    /// False with errno set on failure.
    bool read(EntryAt entry, int flags) noexcept {
        struct statx facts;
        if (!factsOf(entry, flags, facts, STATX_INO))
            return false;
        *this = FileIdentity(facts);
        return true;
    }

    bool operator==(const FileIdentity&) const = default;

    std::uint64_t inode = 0;
    std::uint32_t deviceMajor = 0;
    std::uint32_t deviceMinor = 0;
};

/// Whether an entry is not the host's root. False with errno set to EBUSY when it is, and with
/// another number when the host can't tell.
inline bool isBelowHostRoot(EntryAt entry, int flags) noexcept {
    FileIdentity root;
    FileIdentity named;
    if (!named.read(entry, flags) || !root.read({AT_FDCWD, "/"}, 0))
        return false;
    errno = EBUSY;
    return named != root;
}

/// Whether an entry is a symbolic link, wherever it leads.
inline bool isLink(EntryAt entry) noexcept {
    struct statx facts;
    return factsOf(entry, AT_SYMLINK_NOFOLLOW, facts, STATX_TYPE) && S_ISLNK(facts.stx_mode);
}

/// Removes an empty directory, or a link to a directory but nothing behind it, as the platform's
/// _rmdir does. 0 on success, else -1 with errno set.
inline int removeDirectory(EntryAt entry) noexcept {
    if (unlinkat(entry.directory, entry.name, AT_REMOVEDIR) == 0)
        return 0;
    if (errno != ENOTDIR)
        return -1;
    struct statx behind;
    if (isLink(entry) && factsOf(entry, 0, behind, STATX_TYPE) && S_ISDIR(behind.stx_mode))
        return unlinkat(entry.directory, entry.name, 0);
    errno = ENOTDIR;
    return -1;
}

}  // namespace Sorvex::platform
