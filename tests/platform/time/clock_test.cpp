#include <cstdlib>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "platform/posix/time/time.h"
#include "support/zone.h"

namespace {

Sorvex::platform::_timeb reading() {
    Sorvex::platform::_timeb clock{};
    Sorvex::platform::_ftime(&clock);
    return clock;
}

TEST(Ftime, TellsTheZoneInForceAtEachReading) {
    const std::tuple<std::string, int, int> cases[] = {
        {"AAA8", 480, 0},
        {"AAA-5:30", -330, 0},
        // Daylight saving all year round: by an hour, by half an hour, and the other way.
        {"AAA5BBB,0/0,J365/25", 300, 1},
        {"AAA-10:30BBB-11,0/0,J365/25", -600, 1},
        {"AAA-1BBB0,0/0,J365/25", 60, 1},
        {"", 0, 0},
        {std::string(80, 'A') + "-2", -120, 0},
    };
    for (const auto& [name, minutesWest, daylight] : cases) {
        const Sorvex::testing::Zone zone(name.c_str());
        EXPECT_EQ(reading().timezone, minutesWest) << name;
        EXPECT_EQ(reading().dstflag, daylight) << name;
    }
}

TEST(Ftime, SeesEveryChangeOfTheEnvironment) {
    const Sorvex::testing::Zone restored("");
    setenv("SORVEX_TEST_FIRST", "1", 1);
    unsetenv("TZ");
    setenv("SORVEX_TEST_LAST", "1", 1);
    const int host = reading().timezone;
    setenv("TZ", "AAA-3", 1);
    EXPECT_EQ(reading().timezone, -180);
    std::getenv("TZ")[4] = '5';
    EXPECT_EQ(reading().timezone, -300);
    unsetenv("SORVEX_TEST_FIRST");
    EXPECT_EQ(reading().timezone, -300);
    unsetenv("TZ");
    EXPECT_EQ(reading().timezone, host);
    unsetenv("SORVEX_TEST_LAST");
    setenv("TZ", "AAA-6", 1);
    EXPECT_EQ(reading().timezone, -360);
}

}  // namespace
