// Shows how a test takes the place of one platform operation: it defines the operation itself, in a
// test program of its own.
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "platform/platform.h"

namespace {

std::vector<Sorvex::platform::DWORD>& sleeps() {
    static std::vector<Sorvex::platform::DWORD> durations;
    return durations;
}

}  // namespace

namespace Sorvex::platform {

void Sleep(DWORD milliseconds) {
    sleeps().push_back(milliseconds);
}

}  // namespace Sorvex::platform

namespace {

TEST(OSInterfaceSleep, SleepsOnceInWholeMilliseconds) {
    for (const unsigned long duration : {0UL, 999UL, 1000UL, 1999UL, 2500000UL, 0xFFFFFFFFUL})
        Sorvex::OSInterface::sleep(duration);
    EXPECT_EQ(sleeps(), (std::vector<Sorvex::platform::DWORD>{0, 0, 1, 1, 2500, 4294967}));
}

TEST(OSInterfaceSleep, NarrowsBeforeItDivides) {
    sleeps().clear();
    Sorvex::OSInterface::sleep(static_cast<unsigned long>(0x100000000ULL + 2000));
    EXPECT_EQ(sleeps(), (std::vector<Sorvex::platform::DWORD>{2}));
}

}  // namespace
