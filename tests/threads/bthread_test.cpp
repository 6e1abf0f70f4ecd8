#include <sorvex/bthread.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <thread>
#include <utility>

#include <gtest/gtest.h>
#include <sorvex/sync.h>

#include "support/failure_assertions.h"
#include "support/stress.h"

namespace {

using namespace Sorvex;
using Sorvex::testing::generousMilliseconds;

constexpr unsigned long noLimit = 0xFFFFFFFF;

// Runs any function, and tells of its destruction.
class Work : public BThreadFn {
public:
    explicit Work(std::function<void()> work) : body(std::move(work)) { ++alive; }
    ~Work() override { --alive; }

    void run() override { body(); }

    static std::atomic<int> alive;

private:
    const std::function<void()> body;
};

std::atomic<int> Work::alive{0};

// Opens what is for derived classes.
class OpenThread : public BThread {
public:
    using BThread::BThread;
    using BThread::priority;
    using BThread::start;
};

TEST(BThread, RunsItsFunctionAndKeepsItUntilItIsDestroyed) {
    {
        std::atomic<int> runs{0};
        std::thread::id runner;
        BThread thread(new Work([&] {
                           runner = std::this_thread::get_id();
                           ++runs;
                       }),
                       0);
        EXPECT_EQ(&thread.wait(noLimit), &thread);
        EXPECT_EQ(runs, 1);
        EXPECT_NE(runner, std::this_thread::get_id());
        EXPECT_EQ(Work::alive, 1);
    }
    EXPECT_EQ(Work::alive, 0);
}

TEST(BThread, HasNothingToDoWithoutAThread) {
    OpenThread thread;
    EXPECT_EQ(&thread.wait(noLimit), &thread);
    EXPECT_EQ(&thread.stop(3), &thread);
    EXPECT_EQ(thread.timeSinceStart(), 0U);
    EXPECT_EQ(thread.userTime(), 0U);
    EXPECT_EQ(thread.kernelTime(), 0U);
    EXPECT_FAILURE(thread.priority(), "BThread::priority() : can not retrieve thread priority");
    EXPECT_FAILURE(thread.setPriority(0, 0), "BThread::setPriority () : failed");
}

TEST(BThread, EndsAtOnceWithAFunctionThatDoesNothing) {
    for (BThreadFn* function : {new BThreadFn, static_cast<BThreadFn*>(nullptr)}) {
        OpenThread thread;
        EXPECT_EQ(&thread.start(function, 256UL * 1024), &thread);
        thread.wait(noLimit);
    }
}

TEST(BThread, IsStoppedWhenItIsDestroyed) {
    EventSemaphore begun;
    EventSemaphore never;
    const auto endless = [&] {
        begun.post();
        for (;;)
            never.wait(0);
    };
    {
        const BThread thread(new Work(endless), 0);
        begun.wait(generousMilliseconds);
        EXPECT_EQ(Work::alive, 1);
    }
    EXPECT_EQ(Work::alive, 0);
}

TEST(BThread, WaitsAsLongAsAsked) {
    EventSemaphore mayEnd;
    BThread thread(new Work([&] { mayEnd.wait(0); }), 0);
    EXPECT_EQ(&thread.wait(0), &thread);
    const auto start = std::chrono::steady_clock::now();
    thread.wait(20);
    // A timeout is 32 bits wide.
    thread.wait(static_cast<unsigned long>(0x100000014ULL));
    const auto passed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(passed, std::chrono::milliseconds(40));
    EXPECT_LT(passed, Sorvex::testing::generousLimit);
    mayEnd.post();
    thread.wait(noLimit);
}

TEST(BThread, MayBeAwaitedAfterItWasStopped) {
    EventSemaphore never;
    BThread thread(new Work([&] { never.wait(0); }), 0);
    EXPECT_EQ(&thread.stop(1), &thread);
    thread.wait(noLimit).stop(2).wait(0);
    EXPECT_EQ(Work::alive, 1);
}

TEST(BThread, StopsItself) {
    OpenThread* self = nullptr;
    EventSemaphore begin;
    std::atomic<bool> survived{false};
    OpenThread thread(new Work([&] {
                          begin.wait(0);
                          self->stop(0);
                          survived = true;
                      }),
                      0);
    self = &thread;
    begin.post();
    thread.wait(noLimit);
    EXPECT_FALSE(survived);
}

TEST(BThread, CountsTimeFromItsStart) {
    EventSemaphore mayEnd;
    const auto start = std::chrono::system_clock::now();
    BThread thread(new Work([&] { mayEnd.wait(0); }), 0);
    EXPECT_LT(thread.timeSinceStart(), generousMilliseconds);
    thread.wait(30);
    const unsigned long running = thread.timeSinceStart();
    EXPECT_GE(running, 28U);
    EXPECT_LT(thread.userTime() + thread.kernelTime(), running);
    mayEnd.post();
    thread.wait(noLimit);
    // It goes on rising after the end.
    while (thread.timeSinceStart() < running + 20)
        std::this_thread::yield();
    EXPECT_GE(std::chrono::system_clock::now() - start, std::chrono::milliseconds(48));
}

TEST(BThread, SetsItsPriority) {
    EventSemaphore mayEnd;
    OpenThread thread(new Work([&] { mayEnd.wait(0); }), 0);
    EXPECT_EQ(thread.priority(), 0);
    EXPECT_EQ(&thread.setPriority(-1, 99), &thread);
    EXPECT_EQ(thread.priority(), -1);
    EXPECT_FAILURE(thread.setPriority(77, 0), "BThread::setPriority () : failed");
    EXPECT_EQ(thread.priority(), -1);
    mayEnd.post();
    thread.wait(noLimit);
}

unsigned long SORVEX_CALL addOne(void* number) {
    ++*static_cast<int*>(number);
    return 1;
}

TEST(BThread, RunsARoutineOfADerivedClass) {
    int number = 1;
    OpenThread thread;
    EXPECT_EQ(&thread.start(addOne, &number, 0), &thread);
    thread.wait(noLimit);
    EXPECT_EQ(number, 2);
}

TEST(BThreadDeathTest, EndsTheProcessWithAnExceptionThatLeavesTheFunction) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        BThread(new Work([] { throw std::runtime_error("nobody catches this"); }), 0).wait(noLimit),
        "");
}

}  // namespace
