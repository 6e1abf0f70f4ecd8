// Searches of directories.
#ifndef SORVEX_PLATFORM_POSIX_FILES_FIND_H
#define SORVEX_PLATFORM_POSIX_FILES_FIND_H

#include <cstdint>

#include "platform/posix/base/types.h"
#include "platform/posix/time/file_times.h"

namespace Sorvex {

constexpr platform::DWORD FILE_ATTRIBUTE_READONLY = 0x1;
constexpr platform::DWORD FILE_ATTRIBUTE_HIDDEN = 0x2;
constexpr platform::DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr platform::DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr platform::DWORD FILE_ATTRIBUTE_REPARSE_POINT = 0x400;

}  // namespace Sorvex

// A macro, as on the platform: no constant expression gives a pointer of this value.
#define INVALID_HANDLE_VALUE (reinterpret_cast<void*>(std::intptr_t{-1}))

namespace Sorvex::platform {

/// One entry of a directory.
struct WIN32_FIND_DATAA {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;  ///< birth where the host keeps it, else the earlier of the changes
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;  ///< sizes are those of regular files, and 0 for all else
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    char cFileName[3 * 256];  ///< room for any name of the host, each byte shown as three
    char cAlternateFileName[14];
};

/// Starts a search and fills the record with the first entry that matches.
///
/// The text is a directory, a separator and a pattern. `.` and `..` come first, but are missing in
/// the host's root. A pattern without wildcards is looked up and not searched for. Size, times and
/// the read-only attribute (and with it the normal one) may be missing until completeFindData is
/// called.
///
/// @return a handle for FindClose; INVALID_HANDLE_VALUE with the last error set, of which
///     ERROR_FILE_NOT_FOUND (nothing matches) and ERROR_PATH_NOT_FOUND (no such directory) mean
///     that there is nothing to list
HANDLE FindFirstFileA(const char* text, WIN32_FIND_DATAA* data);

/// Fills the record with the next entry that matches. Entries that are removed meanwhile disturb
/// nothing.
///
/// @return 0 with the last error set when there is none, which is ERROR_NO_MORE_FILES at the end;
///     the record then keeps the last entry
BOOL FindNextFileA(HANDLE search, WIN32_FIND_DATAA* data);

/// 0 with ERROR_INVALID_HANDLE for null and INVALID_HANDLE_VALUE.
BOOL FindClose(HANDLE search);

/// Adds what a search has left out of the record of its present entry. What can no longer be told,
/// because the entry is gone, stays 0. A handle without a search leaves the record as it is.
void completeFindData(HANDLE search, WIN32_FIND_DATAA* data);

}  // namespace Sorvex::platform

#endif
