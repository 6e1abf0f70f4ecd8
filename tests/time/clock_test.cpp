// Readings of the host's clock, which goes on meanwhile.
#include <cstdlib>
#include <ctime>

#include <gtest/gtest.h>
#include <sorvex/timestamp.h>

namespace {

using Sorvex::TimeStamp;

TEST(Clock, CountsUtcAsTheHostDoes) {
    const std::time_t before = std::time(nullptr);
    const TimeStamp stamp = TimeStamp::system();
    const std::time_t after = std::time(nullptr);
    // The host's whole seconds come from a coarser clock, which can be a moment behind.
    EXPECT_GE(stamp.asTime_t() + 1, before);
    EXPECT_LE(stamp.asTime_t() - 1, after);
    EXPECT_LT(stamp.asMilliseconds(), 86400000UL);
}

TEST(Clock, ReadsTheLocalTimeOfTheHost) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::time_t before = std::time(nullptr);
        const TimeStamp stamp;
        const std::time_t after = std::time(nullptr);
        const std::tm* local = std::localtime(&before);
        const TimeStamp expected(*local, stamp.millisecond());
        if (before != after || stamp.second() != expected.second())
            continue;
        EXPECT_EQ(stamp, expected);
        return;
    }
    FAIL() << "no second lasts";
}

TEST(Clock, DoesNotGoBackBetweenReadings) {
    TimeStamp last = TimeStamp::system();
    for (int reading = 0; reading < 10000; ++reading) {
        const TimeStamp next = TimeStamp::system();
        ASSERT_LE(last, next);
        last = next;
    }
    TimeStamp set(0UL, 0UL);
    EXPECT_EQ(&set.setAsNow(), &set);
    EXPECT_GT(set, TimeStamp(2020, 1, 1, 0, 0, 0, 0));
}

}  // namespace
