#include <cstdint>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <tuple>

#include <gtest/gtest.h>

#include "platform/posix/time/time.h"
#include "support/zone.h"

namespace {

using namespace Sorvex::platform;

_timeb reading() {
    _timeb clock{};
    _ftime(&clock);
    return clock;
}

TEST(Ftime, TellsTheZoneInForce) {
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
        // A thread's first reading looks at the zone.
        const _timeb clock = std::async(std::launch::async, reading).get();
        EXPECT_EQ(clock.timezone, minutesWest) << name;
        EXPECT_EQ(clock.dstflag, daylight) << name;
    }
}

TEST(Ftime, SeesAChangeOfTheEnvironmentInTheNextSecond) {
    const Sorvex::testing::Zone restored("AAA-3");
    const std::int64_t second = reading().time;
    setenv("TZ", "AAA-5", 1);
    while (reading().time == second)
        std::this_thread::yield();
    EXPECT_EQ(reading().timezone, -300);
}

}  // namespace
