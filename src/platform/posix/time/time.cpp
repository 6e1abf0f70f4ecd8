#include "platform/posix/time/time.h"

#include <cerrno>
#include <cstring>
#include <ctime>

#include <sched.h>
#include <unistd.h>

#include "platform/posix/base/handles.h"

namespace Sorvex::platform {

namespace {

/// Tells whether the environment's TZ is still what it was. Looks at the places where a change
/// shows rather than through all variables.
class ZoneVariable {
public:
    bool isUnchanged() const noexcept {
        if (environ != list)
            return false;
        if (list == nullptr)
            return true;
        // A variable taken out moves those behind it up; a new one stands at the end.
        return list[place] == entry && (place == 0 || list[place - 1] == before) &&
               (entry == nullptr || std::strcmp(entry, text) == 0);
    }

    void remember() noexcept {
        list = environ;
        place = 0;
        entry = nullptr;
        if (list == nullptr)
            return;
        while (list[place] != nullptr && std::strncmp(list[place], "TZ=", 3) != 0)
            ++place;
        before = place > 0 ? list[place - 1] : nullptr;
        entry = list[place];
        // A longer text is cut, and so never found to be the same.
        std::strncpy(text, entry == nullptr ? "" : entry, sizeof text - 1);
    }

private:
    char** list = nullptr;
    std::size_t place = 0;
    const char* before = nullptr;
    const char* entry = nullptr;
    char text[64] = {};
};

/// What the host told of the zone in one second. The rules are looked at again when the second or
/// the environment's zone is another one, since looking costs many times what the clock does.
class Zone {
public:
    /// Fills in the zone of a second. Not inlined, since a thread's own record would be looked for
    /// again at each use.
    [[gnu::noinline]] void tell(std::int64_t second, _timeb* clock) noexcept {
        if (second != lookedAt || !variable.isUnchanged())
            look(second);
        clock->timezone = static_cast<std::int16_t>(minutesWest);
        clock->dstflag = daylight ? 1 : 0;
    }

private:
    [[gnu::noinline]] void look(std::int64_t second) noexcept {
        variable.remember();
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

    ZoneVariable variable;
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

    timespec remaining{};
    remaining.tv_sec = static_cast<time_t>(milliseconds / 1000);
    remaining.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000L;
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &remaining, &remaining) == EINTR) {}
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
