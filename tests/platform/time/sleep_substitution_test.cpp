// Shows how a test takes the place of one platform operation: it defines the operation itself, in a
// test program of its own.
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "platform/platform.h"

static std::vector<Sorvex::platform::DWORD> sleeps;

namespace Sorvex::platform {

void Sleep(DWORD milliseconds) {
    sleeps.push_back(milliseconds);
}

}  // namespace Sorvex::platform

TEST(OSInterfaceSleep, SleepsOnceInWholeMillisecondsAndNarrowsBeforeItDivides) {
    for (const unsigned long long duration :
         {999ULL, 1000ULL, 1999ULL, 0xFFFFFFFFULL, 0x1000007D0ULL})
        Sorvex::OSInterface::sleep(static_cast<unsigned long>(duration));
    EXPECT_EQ(sleeps, (std::vector<Sorvex::platform::DWORD>{0, 1, 1, 4294967, 2}));
}
