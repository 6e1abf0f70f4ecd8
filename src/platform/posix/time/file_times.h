// File times and calendar times, and the conversions between them.
#pragma once

#include <cstdint>

#include "platform/posix/base/types.h"

namespace Sorvex::platform {

/// A count of 100 ns since the start of 1601, in two halves.
struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

/// A calendar time; the week starts with Sunday as day 0.
struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};

/// The file time of a count of seconds and nanoseconds since 1970-01-01 00:00 UTC. What lies before
/// 1601 becomes the first file time, what lies behind the last calendar time becomes that.
FILETIME fileTimeFromHost(std::int64_t seconds, std::uint32_t nanoseconds) noexcept;

/// A count of 100 ns in its two halves.
constexpr FILETIME fileTimeOf(std::uint64_t ticks) noexcept {
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

/// The two halves as one count of 100 ns.
constexpr std::uint64_t fileTimeTicks(const FILETIME& time) noexcept {
    return (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

/// Converts from UTC to local time with the zone's rules of that very day, not those of today.
///
/// @return 0 with ERROR_INVALID_PARAMETER, and nothing stored, for a time that has no calendar form
BOOL FileTimeToLocalFileTime(const FILETIME* fileTime, FILETIME* localFileTime);

/// @return 0 with ERROR_INVALID_PARAMETER, and nothing stored, for a time that has no calendar form
BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime);

/// The day of the week is not read.
///
/// @return 0 with ERROR_INVALID_PARAMETER, and nothing stored, for a day or time that doesn't exist
BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime);

}  // namespace Sorvex::platform
