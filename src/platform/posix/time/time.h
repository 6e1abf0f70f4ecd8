// The platform's clocks.
#pragma once

#include <cstdint>

#include "platform/posix/base/types.h"
#include "platform/posix/time/file_times.h"

namespace Sorvex::platform {

/// What _ftime fills in.
struct _timeb {
    std::int64_t time;      ///< seconds since 1970-01-01 00:00 UTC
    std::uint16_t millitm;  ///< milliseconds of the second
    std::int16_t timezone;  ///< standard time, in minutes west of UTC
    std::int16_t dstflag;   ///< 1 while daylight saving time is in force, else 0
};

/// Reads the clock, with the zone in force at that moment. Safe to call from any thread.
///
/// A change of the zone, the host's own or the environment variable TZ, counts from the next second
/// on at the latest. Daylight saving is taken to be an hour: where it is not, the zone is moved by
/// the difference, so that zone, flag and hour together give the local time.
void _ftime(_timeb* clock) noexcept;

/// Suspends the calling thread; 0 ms gives up the rest of its turn, INFINITE never returns.
void Sleep(DWORD milliseconds);

struct LARGE_INTEGER {
    std::int64_t QuadPart;
};

/// Reads the monotonic clock, which nobody can set, in nanoseconds.
BOOL QueryPerformanceCounter(LARGE_INTEGER* counter) noexcept;

/// Milliseconds since the system started, times of suspension included, at a width of 32 bits.
DWORD timeGetTime() noexcept;

/// Gives the present date and time in UTC, to the millisecond.
void GetSystemTime(SYSTEMTIME* systemTime) noexcept;

}  // namespace Sorvex::platform
