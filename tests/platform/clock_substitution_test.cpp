// The clock classes on readings that the host never gives.
#include <gtest/gtest.h>
#include <sorvex/timestamp.h>

#include "platform/platform.h"

namespace {

Sorvex::platform::_timeb given{};
int readings = 0;

}  // namespace

namespace Sorvex::platform {

void _ftime(_timeb* clock) noexcept {
    *clock = given;
    ++readings;
}

}  // namespace Sorvex::platform

namespace {

using Sorvex::TimeStamp;

TEST(ClockReading, AppliesZoneAndDaylightSavingIn32Bits) {
    const struct {
        const char* what;
        Sorvex::platform::_timeb clock;
        TimeStamp local;
        TimeStamp utc;
    } cases[] = {
        {"no zone",
         {1063807509, 250, 0, 0},
         TimeStamp(2003, 9, 17, 14, 5, 9, 250),
         TimeStamp(2003, 9, 17, 14, 5, 9, 250)},
        {"west",
         {1063807509, 0, 300, 0},
         TimeStamp(2003, 9, 17, 9, 5, 9, 0),
         TimeStamp(2003, 9, 17, 14, 5, 9, 0)},
        {"east with daylight saving",
         {1063807509, 999, -60, 1},
         TimeStamp(2003, 9, 17, 16, 5, 9, 999),
         TimeStamp(2003, 9, 17, 14, 5, 9, 999)},
        {"any flag but 0",
         {1063807509, 0, -330, -1},
         TimeStamp(2003, 9, 17, 20, 35, 9, 0),
         TimeStamp(2003, 9, 17, 14, 5, 9, 0)},
        {"before the epoch",
         {10, 5, 1, 0},
         TimeStamp(2440588UL, 4294917301UL),
         TimeStamp(1970, 1, 1, 0, 0, 10, 5)},
        {"the last second",
         {2147483647, 0, -60, 0},
         TimeStamp(-2147480049L),
         TimeStamp(2038, 1, 19, 3, 14, 7, 0)},
        {"beyond it",
         {2147483648, 0, 0, 0},
         TimeStamp(-2147483647L - 1),
         TimeStamp(-2147483647L - 1)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        given = c.clock;
        readings = 0;
        EXPECT_EQ(TimeStamp::now(), c.local);
        EXPECT_EQ(TimeStamp(), c.local);
        EXPECT_EQ(TimeStamp::system(), c.utc);
        EXPECT_EQ(readings, 3);
    }
}

}  // namespace
