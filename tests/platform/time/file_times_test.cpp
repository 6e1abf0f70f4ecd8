#include "platform/posix/time/file_times.h"

#include <cstdint>
#include <cstring>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>

#include "platform/posix/base/errors.h"
#include "support/zone.h"

namespace {

using namespace Sorvex;
using platform::FILETIME;
using platform::SYSTEMTIME;

constexpr std::uint64_t ticksTo1970 = 116'444'736'000'000'000;

TEST(FileTimes, HaveACalendarForm) {
    const std::pair<std::uint64_t, SYSTEMTIME> cases[] = {
        {0, {1601, 1, 1, 1, 0, 0, 0, 0}},
        {ticksTo1970 - 1, {1969, 12, 3, 31, 23, 59, 59, 999}},
        {ticksTo1970 + 9'518'687'990'000'000 + 1'239'999, {2000, 2, 2, 29, 23, 59, 59, 123}},
        {9'223'149'887'999'990'000, {30827, 12, 5, 31, 23, 59, 59, 999}},
    };
    for (const auto& [ticks, expected] : cases) {
        FILETIME time = platform::fileTimeOf(ticks);
        SYSTEMTIME calendar{};
        EXPECT_TRUE(platform::FileTimeToSystemTime(&time, &calendar));
        EXPECT_EQ(std::memcmp(&calendar, &expected, sizeof calendar), 0) << ticks;
        EXPECT_TRUE(platform::SystemTimeToFileTime(&calendar, &time));
        EXPECT_EQ(platform::fileTimeTicks(time), ticks / 10'000 * 10'000);
    }
}

TEST(FileTimes, RefuseWhatHasNoCounterpart) {
    const FILETIME tooLate = platform::fileTimeOf(0x8000000000000000);
    FILETIME untouched = platform::fileTimeOf(7);
    SYSTEMTIME calendar{};
    EXPECT_FALSE(platform::FileTimeToSystemTime(&tooLate, &calendar));
    EXPECT_FALSE(platform::FileTimeToLocalFileTime(&tooLate, &untouched));
    for (const SYSTEMTIME& wrong : {SYSTEMTIME{1600, 12, 0, 31, 0, 0, 0, 0},
                                    {30828, 1, 0, 1, 0, 0, 0, 0},
                                    {2001, 2, 0, 29, 0, 0, 0, 0}})
        EXPECT_FALSE(platform::SystemTimeToFileTime(&wrong, &untouched));
    EXPECT_EQ(platform::fileTimeTicks(untouched), 7U);
    EXPECT_EQ(platform::GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(FileTimes, BecomeLocalByTheRulesOfTheirOwnDay) {
    constexpr std::int64_t january = 1'705'320'000;  // 2024-01-15 12:00 UTC
    constexpr std::int64_t july = 1'721'044'800;     // 2024-07-15 12:00 UTC
    const std::tuple<const char*, std::int64_t, std::uint64_t> cases[] = {
        {"EST5EDT,M3.2.0,M11.1.0", january, 300},
        {"EST5EDT,M3.2.0,M11.1.0", july, 240},
        {"<+0530>-5:30", july, -330ULL},
    };
    for (const auto& [name, instant, minutesWest] : cases) {
        const Sorvex::testing::Zone zone(name);
        const FILETIME time = platform::fileTimeFromHost(instant, 123'456'789);
        FILETIME local{};
        EXPECT_TRUE(platform::FileTimeToLocalFileTime(&time, &local));
        EXPECT_EQ(platform::fileTimeTicks(local) + minutesWest * 600'000'000,
                  platform::fileTimeTicks(time));
    }
}

TEST(FileTimes, OfTheHostStayWithinTheirRange) {
    const auto ticksOf = [](std::int64_t seconds, std::uint32_t nanoseconds) {
        return platform::fileTimeTicks(platform::fileTimeFromHost(seconds, nanoseconds));
    };
    EXPECT_EQ(ticksOf(-1, 999'999'999), ticksTo1970 - 1);
    EXPECT_EQ(ticksOf(-11'644'473'601, 999'999'999), 0U);
    EXPECT_EQ(ticksOf(INT64_MAX, 0), 0x7FFFFFFFFFFFFFFFU);
}

}  // namespace
