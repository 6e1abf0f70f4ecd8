
#include <gtest/gtest.h>
#include <sorvex/timestamp.h>

namespace {

using Sorvex::TimeStamp;

constexpr unsigned long day = 86400000;

TimeStamp date(unsigned int year, unsigned int month, unsigned int dayOfMonth) {
    return TimeStamp(year, month, dayOfMonth, 0, 0, 0, 0);
}

TEST(TimeStampArithmetic, MovesByMilliseconds) {
    const struct {
        const char* what;
        TimeStamp result;
        TimeStamp expected;
    } cases[] = {
        {"over midnight", TimeStamp(7UL, day - 1) + 1, TimeStamp(8UL, 0UL)},
        {"back over midnight", TimeStamp(8UL, 0UL) - 1, TimeStamp(7UL, day - 1)},
        {"back to midnight", TimeStamp(8UL, 5UL) - 5, TimeStamp(8UL, 0UL)},
        {"back a whole day", TimeStamp(8UL, 5UL) - day, TimeStamp(7UL, 5UL)},
        {"back days and more", TimeStamp(8UL, 5UL) - (3 * day + 6), TimeStamp(4UL, day - 1)},
        {"back the most", TimeStamp(100UL, 0UL) - 4294967295UL, TimeStamp(50UL, 25032705UL)},
        {"a time outside the day", TimeStamp(7UL, 90000000UL) + 0, TimeStamp(8UL, 3600000UL)},
        {"taken from outside the day", TimeStamp(7UL, 90000000UL) - 1, TimeStamp(7UL, 89999999UL)},
        {"a sum that wraps", TimeStamp(7UL, 1UL) + 4294967295UL, TimeStamp(7UL, 0UL)},
        {"a day number that wraps", TimeStamp(0UL, 0UL) - 1, TimeStamp(4294967295UL, day - 1)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(c.result.julianDate(), c.expected.julianDate());
        EXPECT_EQ(c.result.asMilliseconds(), c.expected.asMilliseconds());
    }
}

TEST(TimeStampArithmetic, GivesSpansThatAddUp) {
    const TimeStamp end(2003, 2, 28, 23, 59, 59, 999);
    const TimeStamp start(2003, 3, 1, 0, 0, 0, 0);
    EXPECT_EQ(start - end, TimeStamp(0UL, 1UL));
    EXPECT_EQ(end - start, TimeStamp(4294967295UL, day - 1));

    const TimeStamp stamps[] = {date(1900, 1, 1), end, start, TimeStamp(2004, 2, 29, 12, 0, 0, 1)};
    for (const TimeStamp& later : stamps) {
        for (const TimeStamp& earlier : stamps) {
            EXPECT_EQ(earlier + (later - earlier), later);
            EXPECT_EQ(later - (later - earlier), earlier);
            TimeStamp moved = later;
            EXPECT_EQ(&(moved -= earlier), &moved);
            EXPECT_EQ(&(moved += earlier), &moved);
            EXPECT_EQ(moved, later);
        }
    }
    TimeStamp itself = end;
    EXPECT_EQ(itself -= itself, TimeStamp(0UL, 0UL));
}

TEST(TimeStampArithmetic, OrdersByDayAndThenByTime) {
    const TimeStamp stamps[] = {TimeStamp(0UL, 0UL), TimeStamp(0UL, 4294967295UL),
                                TimeStamp(1UL, 0UL), TimeStamp(1UL, 1UL),
                                TimeStamp(4294967295UL, 0UL)};
    for (const TimeStamp& left : stamps) {
        for (const TimeStamp& right : stamps) {
            const auto order = &left - &right;
            EXPECT_EQ(left < right, order < 0);
            EXPECT_EQ(left > right, order > 0);
            EXPECT_EQ(left <= right, order <= 0);
            EXPECT_EQ(left >= right, order >= 0);
            EXPECT_EQ(left == right, order == 0);
            EXPECT_EQ(left != right, order != 0);
        }
    }
}

TEST(TimeStampArithmetic, TakesMonthEndsToMonthEnds) {
    const struct {
        TimeStamp from;
        TimeStamp expected;
    } cases[] = {
        {date(2003, 3, 31), date(2003, 2, 28)},  {date(2004, 3, 31), date(2004, 2, 29)},
        {date(2003, 3, 30), date(2003, 2, 28)},  {date(2003, 3, 29), date(2003, 2, 28)},
        {date(2003, 4, 30), date(2003, 3, 31)},  {date(2003, 6, 30), date(2003, 5, 31)},
        {date(2003, 6, 29), date(2003, 5, 29)},  {date(2003, 2, 28), date(2003, 1, 31)},
        {date(2004, 2, 28), date(2004, 1, 28)},  {date(2004, 2, 29), date(2004, 1, 31)},
        {date(2003, 1, 15), date(2002, 12, 15)}, {date(2003, 1, 31), date(2002, 12, 31)},
        {date(100, 1, 15), date(1999, 12, 15)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.from.asString("%Y-%m-%d"));
        EXPECT_EQ(c.from.monthAgo(), c.expected);
        EXPECT_EQ((c.from + 4711).monthAgo(), c.expected + 4711);
    }
}

TEST(TimeStampArithmetic, TakesYearsWithTheirFebruary) {
    const struct {
        TimeStamp from;
        unsigned long years;
        TimeStamp expected;
    } cases[] = {
        {date(2004, 2, 29), 1, date(2003, 2, 28)},
        {date(2004, 2, 29), 4, date(2000, 2, 29)},
        {date(2003, 2, 28), 1, date(2002, 2, 28)},
        {date(2003, 6, 15), 0, date(2003, 6, 15)},
        {date(2003, 6, 15), 1950, date(1953, 6, 15)},
        {date(2003, 6, 15), 1903, date(100, 6, 15)},
        {date(2003, 6, 15), 1904, date(1999, 6, 15)},
        {date(2003, 6, 15), 2003, date(1901, 6, 15)},
        {date(2003, 6, 15), 2004, date(1901, 6, 15)},
        {date(2004, 2, 29), 1904, date(100, 2, 28)},
        {date(2003, 6, 15), 4294967295UL, date(1901, 6, 15)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.years);
        EXPECT_EQ(c.from.yearAgo(c.years), c.expected);
        EXPECT_EQ((c.from + 4711).yearAgo(c.years), c.expected + 4711);
    }
}

TEST(TimeStampArithmetic, MovesByDaysAndLeavesTheTimeAlone) {
    const TimeStamp stamp(100UL, 90000000UL);
    EXPECT_EQ(stamp.dayAgo(0), stamp);
    EXPECT_EQ(stamp.dayAhead(0), stamp);
    EXPECT_EQ(stamp.dayAgo(101), TimeStamp(4294967295UL, 90000000UL));
    EXPECT_EQ(stamp.dayAhead(4294967295UL), TimeStamp(99UL, 90000000UL));
}

TEST(TimeStampArithmetic, MovesBySeconds) {
    const struct {
        const char* what;
        TimeStamp result;
        TimeStamp expected;
    } cases[] = {
        {"ago with a borrow", TimeStamp(8UL, 500UL).secondsAgo(1), TimeStamp(7UL, day - 1000)},
        {"ago without one", TimeStamp(8UL, 1500UL).secondsAgo(1), TimeStamp(8UL, 500UL)},
        {"ago 0", TimeStamp(8UL, 1500UL).secondsAgo(0), TimeStamp(8UL, 1500UL)},
        {"ago a day", TimeStamp(8UL, 1500UL).secondsAgo(86400), TimeStamp(7UL, 1500UL)},
        {"ago a day and more", TimeStamp(8UL, 1500UL).secondsAgo(86402),
         TimeStamp(6UL, day - 1000)},
        {"ahead 0", TimeStamp(8UL, 43200750UL).secondsAhead(0), TimeStamp(8UL, 43200000UL)},
        {"ahead over midnight", TimeStamp(8UL, day - 100).secondsAhead(1), TimeStamp(9UL, 0UL)},
        {"ahead a day", TimeStamp(8UL, 1500UL).secondsAhead(86400), TimeStamp(9UL, 1000UL)},
        {"ahead, wrapped", TimeStamp(8UL, 5000UL).secondsAhead(4294967295UL),
         TimeStamp(8UL, 4000UL)},
        {"from outside the day", TimeStamp(8UL, 90000000UL).secondsAhead(0),
         TimeStamp(9UL, 3600000UL)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(c.result.julianDate(), c.expected.julianDate());
        EXPECT_EQ(c.result.asMilliseconds(), c.expected.asMilliseconds());
    }
}

}  // namespace
