// The exact calls of BThread, with the platform's operations replaced.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/bthread.h>

#include "platform/platform.h"
#include "support/failure_assertions.h"

namespace {

using namespace Sorvex;
using Calls = std::vector<std::string>;

// What the operations were called with, and what they give.
struct Platform {
    Calls calls;
    int threads = 0;
    bool succeeds = true;
    int priority = 0;
    std::uint64_t creation = 0;
    std::uint64_t kernel = 0;
    std::uint64_t user = 0;
    std::uint64_t now = 0;
    platform::LPTHREAD_START_ROUTINE routine = nullptr;
    void* argument = nullptr;
};

Platform& host() {
    static Platform instance;
    return instance;
}

char handles[8];

std::string nameOf(platform::HANDLE handle) {
    return handle == nullptr ? "null" : std::to_string(static_cast<char*>(handle) - handles);
}

platform::BOOL record(const std::string& call) {
    host().calls.push_back(call);
    return host().succeeds ? 7 : FALSE;
}

platform::FILETIME fileTime(std::uint64_t ticks) {
    return {static_cast<platform::DWORD>(ticks), static_cast<platform::DWORD>(ticks >> 32U)};
}

}  // namespace

namespace Sorvex::platform {

HANDLE CreateThread(const void* securityAttributes, std::size_t stackSize,
                    LPTHREAD_START_ROUTINE routine, void* argument, DWORD flags, DWORD* threadId) {
    host().routine = routine;
    host().argument = argument;
    *threadId = 99;
    return record("create " + std::to_string(securityAttributes != nullptr) + " " +
                  std::to_string(stackSize) + " " + std::to_string(flags)) != 0
               ? &handles[++host().threads]
               : nullptr;
}

BOOL TerminateThread(HANDLE thread, DWORD exitCode) {
    return record("terminate " + nameOf(thread) + " " + std::to_string(exitCode));
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    return record("wait " + nameOf(handle) + " " + std::to_string(milliseconds)) != 0 ? WAIT_TIMEOUT
                                                                                      : WAIT_FAILED;
}

BOOL CloseHandle(HANDLE handle) {
    return record("close " + nameOf(handle));
}

int GetThreadPriority(HANDLE thread) {
    return record("priority of " + nameOf(thread)) != 0 ? host().priority
                                                        : THREAD_PRIORITY_ERROR_RETURN;
}

BOOL SetThreadPriority(HANDLE thread, int priority) {
    return record("priority of " + nameOf(thread) + " to " + std::to_string(priority));
}

BOOL GetThreadTimes(HANDLE thread, FILETIME* creation, FILETIME* exit, FILETIME* kernel,
                    FILETIME* user) {
    *creation = fileTime(host().creation);
    *exit = fileTime(~std::uint64_t{0});
    *kernel = fileTime(host().kernel);
    *user = fileTime(host().user);
    return record("times of " + nameOf(thread));
}

void GetSystemTime(SYSTEMTIME* systemTime) noexcept {
    record("now");
    systemTime->wMilliseconds = 123;
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* time) {
    *time = fileTime(host().now);
    return record("convert " + std::to_string(systemTime->wMilliseconds));
}

}  // namespace Sorvex::platform

namespace {

class OpenThread : public BThread {
public:
    using BThread::BThread;
    using BThread::priority;
    using BThread::start;
};

class Function : public BThreadFn {
public:
    ~Function() override { record("delete"); }
    void run() override { record("run"); }
};

class BThreadCalls : public ::testing::Test {
protected:
    BThreadCalls() { host() = Platform{}; }

    static Calls taken() { return std::exchange(host().calls, {}); }
};

TEST_F(BThreadCalls, GoOneByOneToThePlatform) {
    {
        OpenThread thread(new Function, static_cast<unsigned long>(0x100000000ULL + 70000));
        EXPECT_EQ(taken(), (Calls{"create 0 70000 0"}));
        EXPECT_EQ(host().routine(host().argument), 0U);
        EXPECT_EQ(taken(), (Calls{"run"}));
        thread.wait(0).wait(0xFFFFFFFF).stop(static_cast<unsigned long>(-1));
        EXPECT_EQ(taken(), (Calls{"wait 1 0", "wait 1 4294967295", "terminate 1 4294967295"}));
        host().priority = -15;
        EXPECT_EQ(thread.priority(), -15);
        thread.setPriority(-1234, 5);
        EXPECT_EQ(taken(), (Calls{"priority of 1", "priority of 1 to -1234"}));
    }
    EXPECT_EQ(taken(), (Calls{"terminate 1 0", "close 1", "delete"}));
}

TEST_F(BThreadCalls, AreNoneWithoutAThread) {
    {
        OpenThread thread;
        thread.wait(5).timeSinceStart();
        EXPECT_EQ(thread.userTime() + thread.kernelTime(), 0U);
        EXPECT_EQ(taken(), Calls{});
        thread.stop(4);
        EXPECT_EQ(taken(), (Calls{"terminate null 4"}));
    }
    EXPECT_EQ(taken(), Calls{});
}

TEST_F(BThreadCalls, ForgetTheFirstThreadAtASecondStart) {
    Function forgotten;
    {
        OpenThread thread(&forgotten, 0);
        thread.start(new Function, 1);
        EXPECT_EQ(taken(), (Calls{"create 0 0 0", "create 0 1 0"}));
    }
    EXPECT_EQ(taken(), (Calls{"terminate 2 0", "close 2", "delete"}));
}

TEST_F(BThreadCalls, FailWithTheirOwnTexts) {
    OpenThread thread(new Function, 0);
    host().succeeds = false;
    EXPECT_FAILURE(thread.wait(1), "BThread::wait () : failed");
    EXPECT_FAILURE(thread.priority(), "BThread::priority() : can not retrieve thread priority");
    EXPECT_FAILURE(thread.setPriority(0, 0), "BThread::setPriority () : failed");
    thread.stop(0);
}

TEST_F(BThreadCalls, LeaveTheFunctionOfAFailedConstructorWithTheCaller) {
    host().succeeds = false;
    const auto function = std::make_unique<Function>();
    EXPECT_FAILURE(BThread(function.get(), 0), "BThread::start () : can not start new thread");
    EXPECT_EQ(taken(), (Calls{"create 0 0 0"}));
}

TEST_F(BThreadCalls, OwnTheFunctionOfAFailedStart) {
    host().succeeds = false;
    {
        OpenThread thread;
        EXPECT_FAILURE(thread.start(new Function, 0),
                       "BThread::start () : can not start new thread");
        thread.wait(1);
        EXPECT_EQ(taken(), (Calls{"create 0 0 0"}));
    }
    EXPECT_EQ(taken(), (Calls{"delete"}));
}

TEST_F(BThreadCalls, GiveTimesInMillisecondsAt32Bits) {
    const OpenThread thread(new BThreadFn, 0);
    taken();
    host().user = 6'000'000'000;
    host().kernel = 19'999;
    EXPECT_EQ(thread.userTime(), 600'000U);
    EXPECT_EQ(thread.kernelTime(), 1U);
    host().kernel = (0x100000000ULL + 5) * 10'000;
    EXPECT_EQ(thread.kernelTime(), 5U);
    EXPECT_EQ(taken(), (Calls{"times of 1", "times of 1", "times of 1"}));

    host().creation = 1'000'000'005;
    host().now = 1'000'049'999;
    EXPECT_EQ(thread.timeSinceStart(), 4U);
    EXPECT_EQ(taken(), (Calls{"times of 1", "now", "convert 123"}));
    // The clock of milliseconds can lie a little behind that of the creation.
    host().now = 999'995'000;
    EXPECT_EQ(thread.timeSinceStart(), 0U);
}

}  // namespace
