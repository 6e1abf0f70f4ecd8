#include <array>
#include <atomic>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "platform/posix/time.h"

namespace {

using Sorvex::platform::_ftime;
using Sorvex::platform::_timeb;

/// Sets the environment's zone and puts the old one back.
class ZoneInForce {
public:
    explicit ZoneInForce(const char* zone) {
        if (const char* present = std::getenv("TZ"))
            before = present;
        set(zone);
    }
    ~ZoneInForce() { set(before.empty() ? nullptr : before.c_str()); }

    ZoneInForce(const ZoneInForce&) = delete;
    ZoneInForce& operator=(const ZoneInForce&) = delete;

    static void set(const char* zone) {
        if (zone == nullptr)
            unsetenv("TZ");
        else
            setenv("TZ", zone, 1);
    }

private:
    std::string before;
};

_timeb reading() {
    _timeb clock{};
    _ftime(&clock);
    return clock;
}

TEST(Ftime, TellsTheZoneInForceAtEachReading) {
    const struct {
        const char* zone;
        int minutesWest;
        int daylight;
    } cases[] = {
        {"AAA0", 0, 0},
        {"AAA-5:30", -330, 0},
        {"AAA8", 480, 0},
        {"AAA-14", -840, 0},
        // Daylight saving all year round: by an hour, by half an hour, and the other way.
        {"AAA5BBB,0/0,J365/25", 300, 1},
        {"AAA-10:30BBB-11,0/0,J365/25", -600, 1},
        {"AAA-1BBB0,0/0,J365/25", 60, 1},
        {"", 0, 0},
        {"AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA-2", -120, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.zone);
        const ZoneInForce zone(c.zone);
        const _timeb clock = reading();
        EXPECT_EQ(clock.timezone, c.minutesWest);
        EXPECT_EQ(clock.dstflag, c.daylight);
        EXPECT_LT(clock.millitm, 1000);
    }
}

TEST(Ftime, SeesEveryChangeOfTheEnvironment) {
    const ZoneInForce restored(nullptr);
    setenv("SORVEX_TEST_FIRST", "1", 1);
    setenv("SORVEX_TEST_LAST", "1", 1);
    const int host = reading().timezone;
    setenv("TZ", "AAA-3", 1);
    EXPECT_EQ(reading().timezone, -180);
    setenv("TZ", "AAA-4", 1);
    EXPECT_EQ(reading().timezone, -240);
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

TEST(Ftime, CanBeReadByManyThreads) {
    const ZoneInForce zone("AAA-5:30");
    std::atomic<int> wrong{0};
    std::array<std::thread, 4> threads;
    for (auto& thread : threads)
        thread = std::thread([&wrong] {
            for (int count = 0; count < 10000; ++count)
                wrong += reading().timezone == -330 ? 0 : 1;
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace
