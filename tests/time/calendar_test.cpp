// The calendar against one that is not ours, day by day.
#include <cstdint>

#include <gtest/gtest.h>
#include <sorvex/timestamp.h>

#include "time/calendar_vectors.h"

namespace {

using Sorvex::TimeStamp;

class Checksum {
public:
    void add(unsigned long value, int bytes) {
        for (int place = 0; place < bytes; ++place)
            state = (state ^ (value >> (8 * place) & 0xFF)) * 16777619U & 0xFFFFFFFFU;
    }
    std::uint64_t value() const { return state; }

private:
    std::uint64_t state = 2166136261U;
};

TEST(Calendar, AgreesWithAnotherOnEveryDayOf99Centuries) {
    for (const auto& century : Sorvex::testing::centuries) {
        Checksum checksum;
        for (unsigned long number = century.first; number <= century.last; ++number) {
            const TimeStamp stamp(number, 0);
            checksum.add(stamp.year(), 4);
            checksum.add(stamp.month(), 1);
            checksum.add(stamp.day(), 1);
            checksum.add(stamp.dayOfWeek(), 1);
            checksum.add(stamp.dayOfYear(), 2);
            checksum.add(stamp.monthAgo().julianDate(), 4);
            checksum.add(stamp.yearAgo(1).julianDate(), 4);
            ASSERT_EQ(TimeStamp(stamp.year(), stamp.month(), stamp.day(), 0, 0, 0, 0), stamp);
        }
        EXPECT_EQ(checksum.value(), century.checksum) << "from day " << century.first;
    }
}

TEST(Calendar, AgreesWithAnotherUpToTheHighestDay) {
    for (const auto& [number, year, month, day, weekday] : Sorvex::testing::distantDays) {
        SCOPED_TRACE(number);
        const TimeStamp stamp(number, 0UL);
        EXPECT_EQ(stamp.year(), year);
        EXPECT_EQ(stamp.month(), month);
        EXPECT_EQ(stamp.day(), day);
        EXPECT_EQ(stamp.dayOfWeek(), weekday);
        // A year below 100 can't be entered.
        EXPECT_TRUE(year < 100 || TimeStamp(year, month, day, 0, 0, 0, 0) == stamp);
    }
}

}  // namespace
