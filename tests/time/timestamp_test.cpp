#include <sorvex/timestamp.h>

#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

using Sorvex::TimeStamp;

/// Opens the conversions that are meant for derived classes.
struct Calendar : TimeStamp {
    using TimeStamp::gregorianToJulian;
    using TimeStamp::julianToGregorian;
    using TimeStamp::toMilliseconds;
};

TimeStamp date(unsigned int year, unsigned int month, unsigned int day) {
    return TimeStamp(year, month, day, 0, 0, 0, 0);
}

std::string dateText(const TimeStamp& stamp) {
    return std::to_string(stamp.year()) + "-" + std::to_string(stamp.month()) + "-" +
           std::to_string(stamp.day());
}

static_assert(std::is_trivially_copyable_v<TimeStamp> && sizeof(TimeStamp) == 8);
static_assert(!std::has_virtual_destructor_v<TimeStamp>);

TEST(TimeStamp, KnowsLandmarks) {
    const struct {
        unsigned int year, month, day;
        unsigned long number;
        unsigned int dayOfWeek, dayOfYear, daysInMonth, daysInYear;
    } cases[] = {
        {1970, 1, 1, 2440588, 4, 1, 31, 365},     {2003, 9, 17, 2452900, 3, 260, 30, 365},
        {1900, 1, 1, 2415021, 1, 1, 31, 365},     {1999, 1, 1, 2451180, 5, 1, 31, 365},
        {2000, 12, 31, 2451910, 7, 366, 31, 366}, {2004, 2, 29, 2453065, 7, 60, 29, 366},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.number);
        const TimeStamp stamp = date(c.year, c.month, c.day);
        EXPECT_EQ(stamp.julianDate(), c.number);
        EXPECT_EQ(stamp.dayOfWeek(), c.dayOfWeek);
        EXPECT_EQ(stamp.dayOfYear(), c.dayOfYear);
        EXPECT_EQ(stamp.daysInMonth(), c.daysInMonth);
        EXPECT_EQ(stamp.daysInYear(), c.daysInYear);
        EXPECT_EQ(dateText(stamp), dateText(TimeStamp(c.number, 0)));
    }
}

TEST(TimeStamp, TakesTwoDigitYearsForThe1900s) {
    EXPECT_EQ(Calendar::gregorianToJulian(99, 1, 1), 2451180UL);
    EXPECT_EQ(Calendar::gregorianToJulian(0, 1, 1), 2415021UL);
    EXPECT_EQ(Calendar::gregorianToJulian(100, 1, 1), 1757585UL);
    EXPECT_EQ(date(3, 5, 6).year(), 1903U);
    EXPECT_TRUE(TimeStamp::isLeapYear(0));
}

TEST(TimeStamp, ConvertsFromTheFirstToTheLastDayOfItsRange) {
    const struct {
        unsigned long number;
        const char* text;
    } cases[] = {{1721120, "0-3-1"},
                 {1757584, "99-12-31"},
                 {1757585, "100-1-1"},
                 {5373484, "9999-12-31"},
                 {1075462942, "2939805-6-4"}};
    for (const auto& c : cases) {
        unsigned int year = 0;
        unsigned int month = 0;
        unsigned int day = 0;
        Calendar::julianToGregorian(c.number, year, month, day);
        EXPECT_EQ(dateText(TimeStamp(c.number, 0)), c.text);
        EXPECT_EQ(std::to_string(year) + "-" + std::to_string(month) + "-" + std::to_string(day),
                  c.text);
    }
}

TEST(TimeStamp, KnowsTheLengthOfMonths) {
    EXPECT_EQ(TimeStamp::daysInMonth(2003, 2), 28U);
    EXPECT_EQ(TimeStamp::daysInMonth(2004, 2), 29U);
    EXPECT_EQ(TimeStamp::daysInMonth(1900, 2), 28U);
    EXPECT_EQ(TimeStamp::daysInMonth(2000, 2), 29U);
    EXPECT_EQ(TimeStamp::daysInMonth(2003, 12), 31U);
    for (const unsigned int month : {0U, 13U, 0xFFFFFFFFU})
        EXPECT_EQ(TimeStamp::daysInMonth(2003, month), 0U);
}

TEST(TimeStamp, AddsFieldsOutOfRangeOn) {
    const struct {
        unsigned int year, month, day;
        const char* text;
    } cases[] = {{2003, 2, 30, "2003-3-2"}, {2003, 1, 32, "2003-2-1"}, {2003, 1, 0, "2002-12-31"},
                 {2003, 13, 1, "2004-1-1"}, {2003, 14, 1, "2004-2-1"}, {2003, 0, 1, "2002-12-1"}};
    for (const auto& c : cases) {
        EXPECT_EQ(dateText(date(c.year, c.month, c.day)), c.text);
        EXPECT_EQ(dateText(TimeStamp(0L).setDate(c.year, c.month, c.day)), c.text);
    }
    EXPECT_EQ(dateText(TimeStamp(0L).setDate(2004, 60)), "2004-2-29");
    EXPECT_EQ(dateText(TimeStamp(0L).setDate(2003, 60)), "2003-3-1");
}

TEST(TimeStamp, SetsDateAndTimeApart) {
    TimeStamp stamp(2003, 9, 17, 14, 5, 9, 250);
    stamp.setDate(2000, 1, 1).setDate(2000, 32);
    EXPECT_EQ(stamp.asMilliseconds(), 50709250UL);
    stamp.setTime(12, 0, 30, 500);
    EXPECT_EQ(stamp.asMilliseconds(), 43230500UL);
    EXPECT_EQ(stamp.asSeconds(), 43230UL);
    EXPECT_EQ(stamp.second(), 30U);
    EXPECT_EQ(stamp.millisecond(), 500U);
    EXPECT_EQ(dateText(stamp), "2000-2-1");
    stamp.setTime(25, 0, 0, 0);
    EXPECT_EQ(stamp.asMilliseconds(), 90000000UL);
    EXPECT_EQ(stamp.hour(), 25U);
    EXPECT_EQ(dateText(stamp), "2000-2-1");
    EXPECT_EQ(Calendar::toMilliseconds(1, 2, 3, 4), 3723004UL);
}

TEST(TimeStamp, ConvertsSecondsIn32Bits) {
    for (const long seconds : {0L, 1L, 86399L, 86400L, 1063807509L, 2147483647L})
        EXPECT_EQ(TimeStamp(seconds).asTime_t(), seconds);
    const TimeStamp negative(-1L);
    EXPECT_EQ(negative.julianDate(), 2440588UL);
    EXPECT_EQ(negative.asMilliseconds(), 4294966296UL);
    EXPECT_EQ(TimeStamp(2440588UL, 90061999UL).asTime_t(), 90061L);
    // 1901-12-13 is as far back as 32 bits reach; what lies before wraps.
    EXPECT_EQ(TimeStamp(1901, 12, 13, 20, 45, 52, 0).asTime_t(), -2147483647L - 1);
    EXPECT_EQ(TimeStamp(1901, 12, 13, 20, 45, 51, 0).asTime_t(), 2147483647L);
}

TEST(TimeStamp, NarrowsWideNumbersOnEntry) {
    if constexpr (sizeof(long) > 4) {
        constexpr auto beyond = static_cast<unsigned long>(1ULL << 32);
        EXPECT_EQ(TimeStamp(static_cast<long>(beyond)), TimeStamp(0L));
        EXPECT_EQ(TimeStamp(beyond + 7, beyond + 9), TimeStamp(7UL, 9UL));
        const TimeStamp stamp(7UL, 9UL);
        EXPECT_EQ(stamp + beyond, stamp);
        EXPECT_EQ(stamp - beyond, stamp);
        EXPECT_EQ(stamp.secondsAgo(beyond), stamp);
        EXPECT_EQ(stamp.secondsAhead(beyond + 1), TimeStamp(7UL, 1000UL));
        EXPECT_EQ(stamp.dayAgo(beyond), stamp);
        EXPECT_EQ(stamp.dayAhead(beyond), stamp);
        EXPECT_EQ(date(2003, 6, 15).yearAgo(beyond), date(2003, 6, 15));
    }
}

TEST(TimeStamp, ReadsOnlyTheSixFieldsOfABrokenDownTime) {
    std::tm time{};
    time.tm_year = 103;
    time.tm_mon = 8;
    time.tm_mday = 17;
    time.tm_hour = 14;
    time.tm_min = 5;
    time.tm_sec = 9;
    time.tm_isdst = 1;
    time.tm_yday = 999;
    EXPECT_EQ(TimeStamp(time, 250), TimeStamp(2003, 9, 17, 14, 5, 9, 250));
}

}  // namespace
