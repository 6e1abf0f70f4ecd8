#include <sorvex/timestamp.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

using Sorvex::TimeStamp;

static_assert(std::is_trivially_copyable_v<TimeStamp> && sizeof(TimeStamp) == 8);

constexpr unsigned long wholeDay = 86400000;
constexpr unsigned long most = 4294967295;

// A number of which no bit counts: 0 itself where a long has no more than 32.
constexpr auto beyond = static_cast<unsigned long>(1ULL << 32);

TimeStamp date(unsigned int year, unsigned int month, unsigned int dayOfMonth) {
    return TimeStamp(year, month, dayOfMonth, 0, 0, 0, 0);
}

/// Opens the conversions that are meant for derived classes.
struct Conversions : TimeStamp {
    using TimeStamp::gregorianToJulian;
    using TimeStamp::julianToGregorian;
    using TimeStamp::toMilliseconds;
};

// The standard library's calendar counts from 1970.
constexpr int epoch = 2440588;

std::chrono::year_month_day standardDate(unsigned long number) {
    return std::chrono::sys_days(std::chrono::days(static_cast<int>(number) - epoch));
}

/// The number of a day of a month, or of its last one, entered with the rule for two digits.
unsigned long numberIn(std::chrono::year_month month, std::chrono::day wanted) {
    if (month.year() < std::chrono::year(100))
        month += std::chrono::years(1900);
    const std::chrono::day last = (month / std::chrono::last).day();
    const std::chrono::sys_days day = month / std::min(wanted, last);
    return static_cast<unsigned long>(day.time_since_epoch().count() + epoch);
}

TEST(Calendar, AgreesWithTheStandardOneOnEveryDayOf99Centuries) {
    using namespace std::chrono;
    for (unsigned long number = 1757585; number <= 5373484; ++number) {
        const TimeStamp stamp(number, 0);
        const year_month_day named = standardDate(number);
        const year_month month = named.year() / named.month();
        const day last = (month / std::chrono::last).day();
        const std::array<unsigned long, 9> parts{stamp.year(),
                                                 stamp.month(),
                                                 stamp.day(),
                                                 stamp.dayOfWeek(),
                                                 stamp.dayOfYear(),
                                                 stamp.daysInMonth(),
                                                 stamp.daysInYear(),
                                                 stamp.monthAgo().julianDate(),
                                                 stamp.yearAgo(1).julianDate()};
        const std::array<unsigned long, 9> expected{
            static_cast<unsigned int>(int{named.year()}),
            unsigned{named.month()},
            unsigned{named.day()},
            weekday(named).iso_encoding(),
            number - numberIn(named.year() / January, day(1)) + 1,
            unsigned{last},
            named.year().is_leap() ? 366UL : 365UL,
            numberIn(month - months(1), named.day() == last ? day(31) : named.day()),
            numberIn(month - years(1), named.day())};
        ASSERT_EQ(parts, expected) << number;
        ASSERT_EQ(TimeStamp(stamp.year(), stamp.month(), stamp.day(), 0, 0, 0, 0), stamp);
    }
}

TEST(Calendar, RepeatsItselfUpToTheHighestDay) {
    // The steps lead from the one end to the other.
    constexpr unsigned long lowest = 1721120;
    constexpr unsigned long highest = 1075462942;
    constexpr unsigned long cycle = 146097;
    for (unsigned long number = lowest; number <= highest; number += 2089) {
        const auto named = standardDate(lowest + (number - lowest) % cycle);
        const auto cycles = static_cast<unsigned int>((number - lowest) / cycle);
        const std::array<unsigned int, 4> expected{
            static_cast<unsigned int>(int{named.year()}) + 400 * cycles, unsigned{named.month()},
            unsigned{named.day()}, std::chrono::weekday(named).iso_encoding()};
        std::array<unsigned int, 4> parts{};
        Conversions::julianToGregorian(number, parts[0], parts[1], parts[2]);
        parts[3] = TimeStamp(number, 0UL).dayOfWeek();
        ASSERT_EQ(parts, expected) << number;
        // A year below 100 can't be entered.
        const TimeStamp entered(parts[0], parts[1], parts[2], 0, 0, 0, 0);
        ASSERT_TRUE(parts[0] < 100 || entered.julianDate() == number) << number;
    }
}

TEST(TimeStamp, AddsFieldsOutOfRangeOnAndTakesTwoDigitYearsForThe1900s) {
    const struct {
        unsigned int year, month, day;
        const char* text;
    } cases[] = {{2003, 2, 30, "2003-03-02"}, {2003, 1, 32, "2003-02-01"},
                 {2003, 1, 0, "2002-12-31"},  {2003, 13, 1, "2004-01-01"},
                 {2003, 14, 1, "2004-02-01"}, {2003, 0, 1, "2002-12-01"},
                 {0, 1, 1, "1900-01-01"},     {99, 12, 31, "1999-12-31"}};
    for (const auto& c : cases) {
        const TimeStamp stamp(c.year, c.month, c.day, 0, 0, 0, 0);
        EXPECT_EQ(stamp.asString("%Y-%m-%d"), c.text);
        EXPECT_EQ(TimeStamp(stamp).setDate(0).setDate(c.year, c.month, c.day), stamp);
        EXPECT_EQ(Conversions::gregorianToJulian(c.year, c.month, c.day), stamp.julianDate());
    }
    EXPECT_EQ(TimeStamp(0L).setDate(3, 60).asString("%Y-%m-%d"), "1903-03-01");
    // The length of a year is that of the year itself.
    EXPECT_TRUE(TimeStamp::isLeapYear(0));
    for (const unsigned int month : {0U, 13U, 0xFFFFFFFFU})
        EXPECT_EQ(TimeStamp::daysInMonth(2003, month), 0U);
}

TEST(TimeStamp, SetsDateAndTimeApart) {
    TimeStamp stamp(2003, 9, 17, 14, 5, 9, 250);
    stamp.setDate(2000, 32);
    EXPECT_EQ(stamp.asMilliseconds(), 50709250UL);
    EXPECT_EQ(stamp.asSeconds(), 50709UL);
    EXPECT_EQ(stamp.millisecond(), 250U);
    stamp.setTime(25, 0, 0, 1);
    EXPECT_EQ(stamp.asMilliseconds(), 90000001UL);
    EXPECT_EQ(stamp.hour(), 25U);
    EXPECT_EQ(stamp.asString("%Y-%m-%d"), "2000-02-01");
    EXPECT_EQ(Conversions::toMilliseconds(1, 2, 3, 4), 3723004UL);
}

TEST(TimeStamp, CountsSecondsIn32Bits) {
    for (const long seconds : {0L, 86399L, 86400L, 2147483647L}) {
        const TimeStamp stamp = seconds;
        EXPECT_EQ(stamp.asTime_t(), seconds);
        EXPECT_TRUE(stamp == seconds && !(stamp < seconds));
    }
    EXPECT_EQ(TimeStamp(-1L), TimeStamp(2440588UL, 4294966296UL));
    EXPECT_EQ(TimeStamp(2440588UL, 90061999UL).asTime_t(), 90061L);
    // 1901-12-13 is as far back as 32 bits reach; what lies before wraps.
    EXPECT_EQ(TimeStamp(1901, 12, 13, 20, 45, 52, 0).asTime_t(), -2147483647L - 1);
    EXPECT_EQ(TimeStamp(1901, 12, 13, 20, 45, 51, 0).asTime_t(), 2147483647L);
    EXPECT_EQ(TimeStamp(static_cast<long>(beyond)), TimeStamp(0L));
    EXPECT_EQ(TimeStamp(beyond + 7, beyond + 9), TimeStamp(7UL, 9UL));
}

TEST(TimeStamp, ReadsOnlyTheSixFieldsOfABrokenDownTime) {
    const std::time_t seconds = 1063807509;
    std::tm time = *std::gmtime(&seconds);
    time.tm_isdst = 1;
    time.tm_yday = 999;
    EXPECT_EQ(TimeStamp(time, 250), TimeStamp(2003, 9, 17, 14, 5, 9, 250));
}

TEST(Clock, CountsUtcAndTellsTheLocalTimeAsTheHostDoes) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::time_t before = std::time(nullptr);
        const TimeStamp utc = TimeStamp::system();
        const TimeStamp local;
        const TimeStamp set = TimeStamp(0UL, 0UL).setAsNow();
        const TimeStamp expected(*std::localtime(&before), set.millisecond());
        // The host's whole seconds come from a coarser clock, which can be a moment behind.
        if (before != std::time(nullptr) || set.second() != expected.second())
            continue;
        EXPECT_EQ(utc.asTime_t(), before);
        EXPECT_EQ(set, expected);
        EXPECT_LE(set - local, TimeStamp(0UL, 999UL));
        return;
    }
    FAIL() << "no second lasts";
}

TEST(TimeStampArithmetic, MovesInThirtyTwoBitsThatWrap) {
    const TimeStamp noon(8UL, wholeDay / 2 + 750);
    const TimeStamp outside(8UL, 90000000UL);
    const TimeStamp june = date(2003, 6, 15);
    const TimeStamp leap = date(2004, 2, 29) + 4711;
    const struct {
        const char* what;
        TimeStamp result;
        TimeStamp expected;
    } cases[] = {
        {"back days and more", TimeStamp(8UL, 5UL) - (3 * wholeDay + 6),
         TimeStamp(4UL, wholeDay - 1)},
        {"back the most", TimeStamp(40UL, 0UL) - most, TimeStamp(most - 9, 25032705UL)},
        {"from outside the day", outside + 0, TimeStamp(9UL, 3600000UL)},
        {"back outside the day", outside - 1, TimeStamp(8UL, 89999999UL)},
        {"a sum that wraps", TimeStamp(7UL, 1UL) + most, TimeStamp(7UL, 0UL)},
        {"milliseconds beyond", noon + beyond - beyond, noon},
        {"days", outside.dayAgo(9), TimeStamp(most, 90000000UL)},
        {"days that wrap", outside.dayAhead(most), TimeStamp(7UL, 90000000UL)},
        {"days beyond", noon.dayAgo(beyond).dayAhead(beyond), noon},
        {"a second, borrowed", TimeStamp(8UL, 500UL).secondsAgo(1),
         TimeStamp(7UL, wholeDay - 1000)},
        {"a second ago", TimeStamp(8UL, 1500UL).secondsAgo(1), TimeStamp(8UL, 500UL)},
        {"two days ago", noon.secondsAgo(172799), TimeStamp(6UL, wholeDay / 2 + 1000)},
        {"no seconds ahead", noon.secondsAhead(0), TimeStamp(8UL, wholeDay / 2)},
        {"a second ahead", TimeStamp(8UL, wholeDay - 100).secondsAhead(1), TimeStamp(9UL, 0UL)},
        {"seconds that wrap", TimeStamp(8UL, 5000UL).secondsAhead(most), TimeStamp(8UL, 4000UL)},
        {"seconds beyond", noon.secondsAgo(beyond).secondsAhead(beyond + 1), noon + 250},
        {"a month ago", leap.monthAgo(), date(2004, 1, 31) + 4711},
        {"a leap day ago", leap.yearAgo(1), date(2003, 2, 28) + 4711},
        {"to a year of two digits", june.yearAgo(1904), date(1999, 6, 15)},
        {"to the year 0", june.yearAgo(2003), date(1901, 6, 15)},
        {"to before all years", june.yearAgo(most), date(1901, 6, 15)},
        {"years beyond", june.yearAgo(beyond), june},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(c.result.julianDate(), c.expected.julianDate());
        EXPECT_EQ(c.result.asMilliseconds(), c.expected.asMilliseconds());
    }
}

TEST(TimeStampArithmetic, GivesSpansThatAddUpAndOrdersByDayAndThenByTime) {
    const TimeStamp stamps[] = {TimeStamp(0UL, 0UL), TimeStamp(0UL, wholeDay - 1),
                                TimeStamp(1UL, 0UL), TimeStamp(1UL, 1UL), TimeStamp(most, 0UL)};
    for (const TimeStamp& left : stamps) {
        for (const TimeStamp& right : stamps) {
            EXPECT_EQ(right + (left - right), left);
            EXPECT_EQ(left - (left - right), right);
            const auto order = &left - &right;
            EXPECT_EQ(left < right, order < 0);
            EXPECT_EQ(left > right, order > 0);
            EXPECT_EQ(left <= right, order <= 0);
            EXPECT_EQ(left >= right, order >= 0);
            EXPECT_EQ(left == right, order == 0);
            EXPECT_EQ(left != right, order != 0);
        }
    }
    EXPECT_EQ(stamps[2] - stamps[1], TimeStamp(0UL, 1UL));
    EXPECT_EQ(stamps[1] - stamps[2], TimeStamp(most, wholeDay - 1));
    TimeStamp itself = stamps[3];
    EXPECT_EQ(itself -= itself, stamps[0]);
}

}  // namespace
