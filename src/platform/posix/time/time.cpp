#include "platform/posix/time/time.h"

#include <cerrno>
#include <ctime>

#include <sched.h>
#include <unistd.h>

#include "platform/posix/base/handles.h"

namespace Sorvex::platform {

namespace {

/// What the host told of the zone in one second. The rules are looked at again in another second,
/// since looking costs many times what the clock does.
class Zone {
public:
    /// Fills in the zone of a second. Not inlined, since a thread's own record would be looked for
    /// again at each use.
    [[gnu::noinline]] void tell(std::int64_t second, _timeb* clock) noexcept {
        if (second != lookedAt)
            look(second);
        clock->timezone = static_cast<std::int16_t>(minutesWest);
        clock->dstflag = daylight ? 1 : 0;
    }

private:
    [[gnu::noinline]] void look(std::int64_t second) noexcept {
        lookedAt = second;
        // localtime_r alone keeps the zone that the process started with.
        tzset();
        const auto time = static_cast<time_t>(second);
        tm local{};
        localtime_r(&time, &local);
        constexpr long daylightSaving = 3600;
        constexpr long secondsPerMinute = 60;
        daylight = local.tm_isdst > 0;
        minutesWest = ((daylight ? daylightSaving : 0) - local.tm_gmtoff) / secondsPerMinute;
    }

    std::int64_t lookedAt = -1;
    long minutesWest = 0;
    bool daylight = false;
};

}  // namespace

void _ftime(_timeb* clock) noexcept {
    // One for each thread, so that nothing is shared.
    thread_local constinit Zone zone;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    clock->time = now.tv_sec;
    clock->millitm = static_cast<std::uint16_t>(now.tv_nsec / 1000000);
    zone.tell(now.tv_sec, clock);
}

void Sleep(DWORD milliseconds) {
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    while (milliseconds == INFINITE)
        pause();

    // A moment and not a duration, so that signals don't make the sleep longer.
    timespec end{};
    clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += static_cast<time_t>(milliseconds / 1000);
    end.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000L;
    if (end.tv_nsec >= 1000000000L) {
        end.tv_nsec -= 1000000000L;
        ++end.tv_sec;
    }
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {}
}

BOOL QueryPerformanceCounter(LARGE_INTEGER* counter) noexcept {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    counter->QuadPart = std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
    return TRUE;
}

DWORD timeGetTime() noexcept {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<DWORD>(now.tv_sec) * 1000 + static_cast<DWORD>(now.tv_nsec / 1000000);
}

void GetSystemTime(SYSTEMTIME* systemTime) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const FILETIME fileTime = fileTimeFromHost(now.tv_sec, static_cast<std::uint32_t>(now.tv_nsec));
    FileTimeToSystemTime(&fileTime, systemTime);
}

}  // namespace Sorvex::platform
