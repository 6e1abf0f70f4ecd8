#include <sorvex/bthread.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>
#include <utility>

#include <gtest/gtest.h>
#include <sorvex/sync.h>

#include "support/failure_assertions.h"

namespace {

using namespace Sorvex;

constexpr unsigned long noLimit = 0xFFFFFFFF;

// Runs any function, and tells of its destruction.
class Work : public BThreadFn {
public:
    explicit Work(std::function<void()> work) : body(std::move(work)) { ++alive; }
    ~Work() override { --alive; }

    void run() override { body(); }

    static inline std::atomic<int> alive{0};

private:
    const std::function<void()> body;
};

// Opens what is for derived classes.
class OpenThread : public BThread {
public:
    using BThread::BThread;
    using BThread::priority;
    using BThread::start;
};

TEST(BThread, LetsSeveralWaitForItsEndAndKeepsItsFunction) {
    EventSemaphore mayEnd;
    std::atomic<int> runs{0};
    const auto work = [&] {
        mayEnd.wait(0);
        ++runs;
    };
    {
        BThread thread(new Work(work), 0);
        const auto waitForEnd = [&] {
            thread.wait(noLimit);
            EXPECT_EQ(runs, 1);
        };
        std::thread waiters[] = {std::thread(waitForEnd), std::thread(waitForEnd)};
        thread.wait(30);
        const unsigned long running = thread.timeSinceStart();
        EXPECT_GE(running, 28U);
        EXPECT_LT(thread.userTime() + thread.kernelTime(), running);
        mayEnd.post();
        for (std::thread& waiter : waiters)
            waiter.join();
        EXPECT_EQ(Work::alive, 1);
        while (thread.timeSinceStart() < running + 20)
            std::this_thread::yield();
    }
    EXPECT_EQ(Work::alive, 0);
}

TEST(BThread, IsStoppedByItselfByOthersAndWhenItIsDestroyed) {
    EventSemaphore begin;
    EventSemaphore never;
    BThread* self = nullptr;
    std::atomic<bool> survived{false};
    const auto stopItself = [&] {
        begin.wait(0);
        self->stop(0);
        survived = true;
    };
    {
        BThread suicidal(new Work(stopItself), 0);
        self = &suicidal;
        begin.post();
        suicidal.wait(noLimit);
        const BThread destroyed(new Work([&] { never.wait(0); }), 0);
        BThread(new Work([&] { never.wait(0); }), 0).stop(1).wait(noLimit).stop(2).wait(0);
        EXPECT_EQ(Work::alive, 2);
    }
    EXPECT_EQ(Work::alive, 0);
    EXPECT_FALSE(survived);
}

TEST(BThread, HasThePriorityThatThePlatformGrants) {
    EventSemaphore never;
    OpenThread thread;
    EXPECT_FAILURE(thread.priority(), "BThread::priority() : can not retrieve thread priority");
    EXPECT_FAILURE(thread.setPriority(0, 0), "BThread::setPriority () : failed");
    thread.start(new Work([&] { never.wait(0); }), 0);
    EXPECT_EQ(thread.priority(), 0);
    thread.setPriority(-1, 99);
    EXPECT_FAILURE(thread.setPriority(77, 0), "BThread::setPriority () : failed");
    EXPECT_EQ(thread.priority(), -1);
}

unsigned long SORVEX_CALL addOne(void* number) {
    ++*static_cast<int*>(number);
    return 1;
}

TEST(BThread, RunsRoutinesOfDerivedClassesAndFunctionsThatDoNothing) {
    int number = 1;
    OpenThread().start(addOne, &number, 0).wait(noLimit);
    EXPECT_EQ(number, 2);
    for (BThreadFn* function : {new BThreadFn, static_cast<BThreadFn*>(nullptr)})
        BThread(function, 256UL * 1024).wait(noLimit);
}

TEST(BThreadDeathTest, EndsTheProcessWithAnExceptionThatLeavesTheFunction) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto fail = [] { throw std::runtime_error("nobody catches this"); };
    EXPECT_DEATH(BThread(new Work(fail), 0).wait(noLimit), "");
}

}  // namespace
