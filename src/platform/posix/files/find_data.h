// What a search tells of an entry, and the handle of one that could not be started.
#pragma once

#include <cstdint>

#include "platform/posix/base/types.h"
#include "platform/posix/time/file_times.h"

// A macro, as on the platform: no constant expression gives a pointer of this value.
#define INVALID_HANDLE_VALUE (reinterpret_cast<void*>(std::intptr_t{-1}))

namespace Sorvex {

constexpr platform::DWORD FILE_ATTRIBUTE_READONLY = 0x1;
constexpr platform::DWORD FILE_ATTRIBUTE_HIDDEN = 0x2;
constexpr platform::DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr platform::DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr platform::DWORD FILE_ATTRIBUTE_REPARSE_POINT = 0x400;

}  // namespace Sorvex

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

}  // namespace Sorvex::platform
