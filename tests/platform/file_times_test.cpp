#include "platform/posix/file_times.h"

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <ostream>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "platform/posix/errors.h"

namespace Sorvex::platform {

static auto fieldsOf(const SYSTEMTIME& time) {
    return std::tie(time.wYear, time.wMonth, time.wDayOfWeek, time.wDay, time.wHour, time.wMinute,
                    time.wSecond, time.wMilliseconds);
}

static bool operator==(const SYSTEMTIME& left, const SYSTEMTIME& right) {
    return fieldsOf(left) == fieldsOf(right);
}

}  // namespace Sorvex::platform

namespace {

using namespace Sorvex;
using platform::FILETIME;
using platform::SYSTEMTIME;

constexpr std::uint64_t ticksTo1970 = 116'444'736'000'000'000;

FILETIME fileTime(std::uint64_t ticks) {
    return {static_cast<platform::DWORD>(ticks), static_cast<platform::DWORD>(ticks >> 32)};
}

// Another zone for the length of a scope.
class Zone {
public:
    explicit Zone(const char* name) {
        if (const char* present = std::getenv("TZ")) {
            earlier = present;
            hadZone = true;
        }
        setenv("TZ", name, 1);
        tzset();
    }

    ~Zone() {
        if (hadZone)
            setenv("TZ", earlier.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;

private:
    std::string earlier;
    bool hadZone = false;
};

TEST(FileTimes, HaveACalendarForm) {
    const struct {
        std::uint64_t ticks;
        SYSTEMTIME expected;
    } cases[] = {
        {0, {1601, 1, 1, 1, 0, 0, 0, 0}},
        {ticksTo1970, {1970, 1, 4, 1, 0, 0, 0, 0}},
        {ticksTo1970 - 1, {1969, 12, 3, 31, 23, 59, 59, 999}},
        {ticksTo1970 + 9'518'687'990'000'000 + 1'239'999, {2000, 2, 2, 29, 23, 59, 59, 123}},
        {0x7FFFFFFFFFFFFFFF, {30828, 9, 4, 14, 2, 48, 5, 477}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.ticks);
        const FILETIME time = fileTime(c.ticks);
        SYSTEMTIME calendar{};
        EXPECT_TRUE(platform::FileTimeToSystemTime(&time, &calendar));
        EXPECT_EQ(calendar, c.expected);
    }
}

TEST(FileTimes, ComeBackFromTheCalendar) {
    for (const SYSTEMTIME& calendar : {SYSTEMTIME{1601, 1, 1, 1, 0, 0, 0, 0},
                                       {1900, 2, 3, 28, 12, 30, 15, 250},
                                       {2000, 2, 2, 29, 23, 59, 59, 999},
                                       {2038, 1, 2, 19, 3, 14, 8, 0},
                                       {30827, 12, 5, 31, 23, 59, 59, 999}}) {
        SCOPED_TRACE(calendar.wYear);
        FILETIME time{};
        SYSTEMTIME again{};
        EXPECT_TRUE(platform::SystemTimeToFileTime(&calendar, &time));
        EXPECT_TRUE(platform::FileTimeToSystemTime(&time, &again));
        EXPECT_EQ(again, calendar);
    }
}

TEST(FileTimes, RefuseWhatHasNoCounterpart) {
    platform::SetLastError(0);
    const FILETIME tooLate = fileTime(0x8000000000000000);
    FILETIME untouched = fileTime(7);
    SYSTEMTIME calendar{2000, 1, 6, 1, 0, 0, 0, 0};
    EXPECT_FALSE(platform::FileTimeToSystemTime(&tooLate, &calendar));
    EXPECT_EQ(calendar.wYear, 2000);
    EXPECT_FALSE(platform::FileTimeToLocalFileTime(&tooLate, &untouched));
    for (const SYSTEMTIME& wrong : {SYSTEMTIME{1600, 12, 0, 31, 0, 0, 0, 0},
                                    {2001, 2, 0, 29, 0, 0, 0, 0},
                                    {2001, 13, 0, 1, 0, 0, 0, 0},
                                    {2001, 1, 0, 1, 24, 0, 0, 0},
                                    {2001, 1, 0, 1, 0, 0, 60, 0}})
        EXPECT_FALSE(platform::SystemTimeToFileTime(&wrong, &untouched));
    EXPECT_EQ(platform::fileTimeTicks(untouched), 7U);
    EXPECT_EQ(platform::GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(FileTimes, BecomeLocalByTheRulesOfTheirOwnDay) {
    constexpr std::int64_t january = 1'705'320'000;  // 2024-01-15 12:00 UTC
    constexpr std::int64_t july = 1'721'044'800;     // 2024-07-15 12:00 UTC
    const struct {
        const char* zone;
        std::int64_t instant;
        std::int64_t offset;
    } cases[] = {
        {"EST5EDT,M3.2.0,M11.1.0", january, -5 * 3600},
        {"EST5EDT,M3.2.0,M11.1.0", july, -4 * 3600},
        {"<+0530>-5:30", january, 19800},
        {"<+0530>-5:30", july, 19800},
        {"UTC0", july, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.zone);
        const Zone zone(c.zone);
        const FILETIME time = platform::fileTimeFromHost(c.instant, 123'456'789);
        FILETIME local{};
        EXPECT_TRUE(platform::FileTimeToLocalFileTime(&time, &local));
        EXPECT_EQ(static_cast<std::int64_t>(platform::fileTimeTicks(local) -
                                            platform::fileTimeTicks(time)),
                  c.offset * 10'000'000);
    }
}

TEST(FileTimes, OfTheHostStayWithinTheirRange) {
    const auto ticksOf = [](std::int64_t seconds, std::uint32_t nanoseconds) {
        return platform::fileTimeTicks(platform::fileTimeFromHost(seconds, nanoseconds));
    };
    EXPECT_EQ(ticksOf(0, 0), ticksTo1970);
    EXPECT_EQ(ticksOf(-1, 999'999'999), ticksTo1970 - 1);
    EXPECT_EQ(ticksOf(-11'644'473'600, 0), 0U);
    EXPECT_EQ(ticksOf(-11'644'473'601, 999'999'999), 0U);
    EXPECT_EQ(ticksOf(INT64_MIN, 0), 0U);
    EXPECT_EQ(ticksOf(INT64_MAX, 0), 0x7FFFFFFFFFFFFFFFU);
}

}  // namespace
