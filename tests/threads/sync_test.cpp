#include <sorvex/sync.h>

#include <atomic>
#include <chrono>
#include <random>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "support/stress.h"

namespace {

using namespace Sorvex;
using Clock = std::chrono::steady_clock;
using Sorvex::testing::stressRounds;
using std::chrono::milliseconds;

TEST(BDelay, CountsMillisecondsFromTheStartOfTheSystemUntilAMomentIsMarked) {
    BDelay delay;
    EXPECT_GT(delay.timePassed(), 1000U);
    const auto start = Clock::now();
    delay.event();
    while (delay.timePassed() < 20)
        std::this_thread::yield();
    EXPECT_GE(Clock::now() - start, milliseconds(19));
    EXPECT_LT(Clock::now() - start, Sorvex::testing::generousLimit / 4);
}

TEST(BMutex, KeepsThreadsApartUntilItsOwnerHasLeftAsOftenAsItEntered) {
    const int rounds = stressRounds(20000);
    BMutex mutex;
    long long first = 0;
    long long second = 0;
    int torn = 0;
    const auto work = [&] {
        for (int round = 0; round < rounds; ++round) {
            const BMutexLock outer(mutex);
            ++first;
            mutex.enter().enter();
            if (first != second + 1)
                ++torn;
            mutex.leave().leave();
            ++second;
        }
    };
    {
        const std::jthread others[] = {std::jthread(work), std::jthread(work)};
        work();
    }
    EXPECT_EQ(second, 3LL * rounds);
    EXPECT_EQ(torn, 0);
}

// The two ask the other way round, so that no delay of a busy machine can turn the answer.
bool letsThrough(EventSemaphore& event) {
    const auto start = Clock::now();
    event.wait(Sorvex::testing::generousMilliseconds);
    return Clock::now() - start < Sorvex::testing::generousLimit;
}

bool keepsWaiting(EventSemaphore& event) {
    const auto start = Clock::now();
    event.wait(10);
    return Clock::now() - start >= milliseconds(10);
}

TEST(EventSemaphore, IsPostedFromThePostToTheReset) {
    EventSemaphore event;
    EXPECT_TRUE(keepsWaiting(event));
    event.post().post().wait(0).wait(0xFFFFFFFF);
    EXPECT_TRUE(letsThrough(event));
    EXPECT_TRUE(keepsWaiting(event.reset().reset()));
    EXPECT_TRUE(keepsWaiting(event.pulse()));
    EXPECT_TRUE(keepsWaiting(event.post().pulse()));
    std::atomic<bool> passed{false};
    std::thread waiter([&] {
        event.wait(0);
        passed = true;
    });
    while (!passed)
        event.pulse();
    waiter.join();
}

// What is written before a post is there for whom it lets through, however the name was joined.
TEST(EventSemaphore, HandsOverWhatWasWrittenBeforeThePost) {
    const std::string name = "sorvex test " + std::to_string(std::random_device()());
    EventSemaphore turnOfFirst(name.c_str());
    EventSemaphore turnOfSecond("");
    const int rounds = stressRounds(5000);
    long long value = 0;
    std::thread partner([&] {
        EventSemaphore sameTurn(name.c_str());
        for (int round = 0; round < rounds; ++round) {
            turnOfSecond.wait(0).reset();
            ++value;
            sameTurn.post();
        }
    });
    for (int round = 0; round < rounds; ++round) {
        ++value;
        turnOfSecond.post();
        turnOfFirst.wait(0).reset();
    }
    partner.join();
    EXPECT_EQ(value, 2LL * rounds);
}

// Resets a posted event while another thread writes and posts it once more. Who then looks must see
// what was written, or find the event posted; also where the post found it posted already and had
// nothing to change.
TEST(EventSemaphore, LosesNoPostToAConcurrentReset) {
    EventSemaphore event;
    std::atomic<int> work{0};
    std::atomic<int> arrivals{0};
    const int rounds = stressRounds(20000, 10);
    const auto meet = [&arrivals](int meeting) {
        ++arrivals;
        for (int looks = 0; arrivals.load() < 2 * meeting; ++looks)
            if (looks > 1000)
                std::this_thread::yield();
    };
    const std::jthread producer([&] {
        for (int round = 1; round <= rounds; ++round) {
            meet(2 * round - 1);
            work.store(round, std::memory_order_release);
            event.post();
            meet(2 * round);
        }
    });
    bool lost = false;
    for (int round = 1; round <= rounds; ++round) {
        event.post();
        meet(2 * round - 1);
        event.reset();
        const bool seen = work.load(std::memory_order_acquire) == round;
        meet(2 * round);
        lost = lost || (!seen && !letsThrough(event));
    }
    EXPECT_FALSE(lost);
}

}  // namespace
