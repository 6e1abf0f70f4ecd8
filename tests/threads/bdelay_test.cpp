#include <chrono>

#include <gtest/gtest.h>
#include <sorvex/sync.h>

namespace {

using namespace Sorvex;

TEST(BDelay, CountsFromTheStartOfTheSystemUntilAMomentIsMarked) {
    BDelay unmarked;
    BDelay marked;
    marked.event();
    const unsigned long system = unmarked.timePassed();
    EXPECT_GT(system, 1000U);
    EXPECT_LT(marked.timePassed(), system);
}

TEST(BDelay, KeepsUpWithTheClock) {
    using Clock = std::chrono::steady_clock;
    BDelay delay;
    const auto before = Clock::now();
    delay.event();
    const auto start = Clock::now();
    unsigned long previous = 0;
    while (Clock::now() - start < std::chrono::milliseconds(20)) {
        const unsigned long passed = delay.timePassed();
        EXPECT_GE(passed, previous);
        previous = passed;
    }
    const unsigned long passed = delay.timePassed();
    const auto most = std::chrono::ceil<std::chrono::milliseconds>(Clock::now() - before);
    EXPECT_GE(passed, 19U);
    EXPECT_LE(passed, static_cast<unsigned long>(most.count()) + 1);
}

}  // namespace
