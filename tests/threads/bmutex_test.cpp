#include <stdexcept>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sorvex/sync.h>

#include "support/stress.h"

namespace {

using namespace Sorvex;

TEST(BMutex, KeepsThreadsApart) {
    const int rounds = Sorvex::testing::stressRounds(20000);
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
    std::thread threads[] = {std::thread(work), std::thread(work), std::thread(work),
                             std::thread(work)};
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(first, 4LL * rounds);
    EXPECT_EQ(second, 4LL * rounds);
    EXPECT_EQ(torn, 0);
}

TEST(BMutex, OwnerHasToLeaveAsOftenAsItEntered) {
    for (int round = 0; round < Sorvex::testing::stressRounds(200); ++round) {
        BMutex mutex;
        EventSemaphore atTheDoor;
        std::string order;
        mutex.enter().enter();
        std::thread other([&] {
            atTheDoor.post();
            mutex.enter();
            order += "b";
            mutex.leave();
        });
        mutex.leave();
        atTheDoor.wait(0);
        std::this_thread::yield();
        order += "a";
        mutex.leave();
        other.join();
        ASSERT_EQ(order, "ab");
    }
}

TEST(BMutexLock, LeavesWhenTheScopeEndsByAnException) {
    BMutex mutex;
    EXPECT_THROW(
        {
            const BMutexLock lock(mutex);
            throw std::runtime_error("out");
        },
        std::runtime_error);
    bool entered = false;
    std::thread([&] {
        const BMutexLock lock(mutex);
        entered = true;
    }).join();
    EXPECT_TRUE(entered);
}

}  // namespace
