// What tells two files apart.
#ifndef SORVEX_PLATFORM_POSIX_FILES_FILE_IDENTITY_H
#define SORVEX_PLATFORM_POSIX_FILES_FILE_IDENTITY_H

#include <cstdint>

#include <fcntl.h>
#include <sys/stat.h>

namespace Sorvex::platform {

/// What all names of one file have in common. Before it is read it is that of no file.
struct FileIdentity {
    std::uint64_t inode = 0;
    std::uint32_t deviceMajor = 0;
    std::uint32_t deviceMinor = 0;

    /// Reads the identity of a name seen from an open directory, or with AT_EMPTY_PATH that of the
    /// directory itself. False with errno set on failure.
    bool read(int directory, const char* name, int flags) noexcept {
        struct statx facts;
        if (statx(directory, name, flags, STATX_INO, &facts) != 0)
            return false;
        *this = {facts.stx_ino, facts.stx_dev_major, facts.stx_dev_minor};
        return true;
    }

    bool operator==(const FileIdentity&) const = default;
};

}  // namespace Sorvex::platform

#endif
