#include "platform/posix/time/file_times.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <limits>

#include "platform/posix/base/errors.h"

namespace Sorvex::platform {

namespace {

using std::chrono::sys_days;

using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

// From the start of 1601 to the start of 1970.
constexpr std::int64_t secondsTo1970 = 11'644'473'600;
constexpr std::int64_t ticksPerSecond = 10'000'000;

// A file time whose highest bit is set has no calendar form.
constexpr std::int64_t lastTicks = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t ticksLimit = std::uint64_t{1} << 63;

constexpr sys_days firstDay{std::chrono::year{1601} / 1 / 1};
constexpr int lastYear = 30827;

// Seconds east of UTC at an instant. Where the host's time_t ends early, its last instant decides.
std::int64_t zoneOffsetAt(std::int64_t seconds) {
    const auto instant = static_cast<time_t>(std::clamp<std::int64_t>(
        seconds, std::numeric_limits<time_t>::min(), std::numeric_limits<time_t>::max()));
    tm local{};
    return localtime_r(&instant, &local) == nullptr ? 0 : local.tm_gmtoff;
}

WORD asWord(std::int64_t value) {
    return static_cast<WORD>(value);
}

}  // namespace

FILETIME fileTimeFromHost(std::int64_t seconds, std::uint32_t nanoseconds) noexcept {
    if (seconds < -secondsTo1970)
        return {0, 0};
    if (seconds >= lastTicks / ticksPerSecond - secondsTo1970)
        return fileTimeOf(ticksLimit - 1);
    return fileTimeOf(
        static_cast<std::uint64_t>((seconds + secondsTo1970) * ticksPerSecond + nanoseconds / 100));
}

BOOL FileTimeToLocalFileTime(const FILETIME* fileTime, FILETIME* localFileTime) {
    const std::uint64_t ticks = fileTimeTicks(*fileTime);
    if (ticks >= ticksLimit)
        return failWith(ERROR_INVALID_PARAMETER);
    const auto seconds = static_cast<std::int64_t>(ticks) / ticksPerSecond - secondsTo1970;
    const std::int64_t offset = zoneOffsetAt(seconds) * ticksPerSecond;
    // Unsigned, so that the ends of the range wrap instead of overflowing; both are refused.
    const std::uint64_t local = ticks + static_cast<std::uint64_t>(offset);
    if (local >= ticksLimit)
        return failWith(ERROR_INVALID_PARAMETER);
    *localFileTime = fileTimeOf(local);
    return TRUE;
}

BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime) {
    const std::uint64_t ticks = fileTimeTicks(*fileTime);
    if (ticks >= ticksLimit)
        return failWith(ERROR_INVALID_PARAMETER);
    const Ticks sinceFirst{static_cast<std::int64_t>(ticks)};
    const auto days = std::chrono::floor<std::chrono::days>(sinceFirst);
    const sys_days day = firstDay + days;
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss time{
        std::chrono::floor<std::chrono::milliseconds>(sinceFirst - days)};
    systemTime->wYear = asWord(static_cast<int>(date.year()));
    systemTime->wMonth = asWord(static_cast<unsigned>(date.month()));
    systemTime->wDayOfWeek = asWord(std::chrono::weekday{day}.c_encoding());
    systemTime->wDay = asWord(static_cast<unsigned>(date.day()));
    systemTime->wHour = asWord(time.hours().count());
    systemTime->wMinute = asWord(time.minutes().count());
    systemTime->wSecond = asWord(time.seconds().count());
    systemTime->wMilliseconds = asWord(time.subseconds().count());
    return TRUE;
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime) {
    const std::chrono::year_month_day date{std::chrono::year{systemTime->wYear},
                                           std::chrono::month{systemTime->wMonth},
                                           std::chrono::day{systemTime->wDay}};
    if (systemTime->wYear < 1601 || systemTime->wYear > lastYear || !date.ok() ||
        systemTime->wHour > 23 || systemTime->wMinute > 59 || systemTime->wSecond > 59 ||
        systemTime->wMilliseconds > 999)
        return failWith(ERROR_INVALID_PARAMETER);
    const Ticks ticks = sys_days{date} - firstDay + std::chrono::hours{systemTime->wHour} +
                        std::chrono::minutes{systemTime->wMinute} +
                        std::chrono::seconds{systemTime->wSecond} +
                        std::chrono::milliseconds{systemTime->wMilliseconds};
    *fileTime = fileTimeOf(static_cast<std::uint64_t>(ticks.count()));
    return TRUE;
}

}  // namespace Sorvex::platform
