// The clock classes on readings that the host never gives.
#include <gtest/gtest.h>
#include <sorvex/timestamp.h>

#include "platform/platform.h"

namespace {

Sorvex::platform::_timeb given{};

}  // namespace

namespace Sorvex::platform {

void _ftime(_timeb* clock) noexcept {
    *clock = given;
}

}  // namespace Sorvex::platform

namespace {

using Sorvex::TimeStamp;

TEST(ClockReading, AppliesZoneAndDaylightSavingIn32Bits) {
    const struct {
        Sorvex::platform::_timeb clock;
        TimeStamp local, utc;
    } cases[] = {
        {{1063807509, 250, 300, 0}, {2003, 9, 17, 9, 5, 9, 250}, {2003, 9, 17, 14, 5, 9, 250}},
        {{1063807509, 999, -60, 1}, {2003, 9, 17, 16, 5, 9, 999}, {2003, 9, 17, 14, 5, 9, 999}},
        {{1063807509, 0, -330, -1}, {2003, 9, 17, 20, 35, 9, 0}, {2003, 9, 17, 14, 5, 9, 0}},
        {{10, 5, 1, 0}, {2440588UL, 4294917301UL}, {1970, 1, 1, 0, 0, 10, 5}},
        // The last second, and one more.
        {{2147483647, 0, -60, 0}, TimeStamp(-2147480049L), {2038, 1, 19, 3, 14, 7, 0}},
        {{2147483648, 0, 0, 0}, TimeStamp(-2147483647L - 1), TimeStamp(-2147483647L - 1)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.clock.time);
        given = c.clock;
        EXPECT_EQ(TimeStamp::now(), c.local);
        EXPECT_EQ(TimeStamp(), c.local);
        EXPECT_EQ(TimeStamp::system(), c.utc);
    }
}

}  // namespace
