// BThread, BDelay and EventSemaphore on a platform that is replaced, and fails when it is told to.
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <sorvex/bthread.h>
#include <sorvex/sync.h>

#include "platform/platform.h"
#include "support/failure_assertions.h"

namespace {

using namespace Sorvex;
using namespace Sorvex::platform;

// What the operations give, and what they were called with last.
struct Host {
    bool succeeds = true, createsEvents = true;
    int handles = 0;  // that are open
    DWORD error = ERROR_SUCCESS, clock = 0, exitCode = 0, timeout = 0;
    std::size_t stackSize = 0;
    std::uint64_t creation = 0, kernel = 0, user = 0, now = 0;
};

Host host;

HANDLE newHandle(bool succeeds) {
    host.handles += succeeds ? 1 : 0;
    return succeeds ? &host : nullptr;
}

BOOL success() {
    return host.succeeds ? 7 : FALSE;
}

}  // namespace

namespace Sorvex::platform {

HANDLE CreateThread(const void* /*securityAttributes*/, std::size_t stackSize,
                    LPTHREAD_START_ROUTINE /*routine*/, void* /*argument*/, DWORD /*flags*/,
                    DWORD* /*threadId*/) {
    host.stackSize = stackSize;
    return newHandle(host.succeeds);
}

BOOL TerminateThread(HANDLE /*thread*/, DWORD exitCode) {
    host.exitCode = exitCode;
    return TRUE;
}

BOOL GetThreadTimes(HANDLE /*thread*/, FILETIME* creation, FILETIME* exit, FILETIME* kernel,
                    FILETIME* user) {
    *creation = fileTimeOf(host.creation);
    *exit = fileTimeOf(UINT64_MAX);
    *kernel = fileTimeOf(host.kernel);
    *user = fileTimeOf(host.user);
    return TRUE;
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* /*systemTime*/, FILETIME* time) {
    *time = fileTimeOf(host.now);
    return TRUE;
}

DWORD timeGetTime() noexcept {
    return host.clock;
}

DWORD GetLastError() noexcept {
    return host.error;
}

HANDLE CreateEventA(const void* /*attributes*/, BOOL /*manualReset*/, BOOL /*initialState*/,
                    const char* /*name*/) {
    return newHandle(host.createsEvents);
}

HANDLE OpenEventA(DWORD access, BOOL /*inherit*/, const char* name) {
    EXPECT_EQ(access, EVENT_ALL_ACCESS);
    EXPECT_STREQ(name, "clock");
    return newHandle(host.succeeds);
}

BOOL SetEvent(HANDLE /*event*/) {
    return success();
}

BOOL ResetEvent(HANDLE /*event*/) {
    return success();
}

BOOL PulseEvent(HANDLE /*event*/) {
    return success();
}

DWORD WaitForSingleObject(HANDLE /*handle*/, DWORD milliseconds) {
    host.timeout = milliseconds;
    return host.succeeds ? WAIT_TIMEOUT : WAIT_FAILED;
}

BOOL CloseHandle(HANDLE /*handle*/) {
    --host.handles;
    return TRUE;
}

}  // namespace Sorvex::platform

namespace {

int functions = 0;

class Function : public BThreadFn {
public:
    Function() { ++functions; }
    ~Function() override {
        EXPECT_EQ(host.handles, 0);  // its thread is gone
        --functions;
    }
};

class OnAReplacedPlatform : public ::testing::Test {
protected:
    OnAReplacedPlatform() { host = Host{}; }
};

TEST_F(OnAReplacedPlatform, AThreadIsStoppedAndClosedAndItsLastFunctionDeleted) {
    Function forgotten;
    {
        BThread thread(&forgotten, static_cast<unsigned long>(0x100000000ULL + 70000));
        EXPECT_EQ(host.stackSize, 70000U);
        host.handles = 0;  // a second start forgets the first thread
        thread.start(new Function, 0).stop(static_cast<unsigned long>(-1));
        EXPECT_EQ(host.exitCode, 0xFFFFFFFF);
        thread.wait(0);
        EXPECT_EQ(host.timeout, 0U);
        EXPECT_EQ(functions, 2);
    }
    EXPECT_EQ(host.exitCode, 0U);
    EXPECT_EQ(host.handles, 0);
    EXPECT_EQ(functions, 1);
}

TEST_F(OnAReplacedPlatform, AThreadFailsAndOwnsTheFunctionOfAFailedStart) {
    const std::string notStarted = "BThread::start () : can not start new thread";
    {
        BThread thread(nullptr, 0);
        host.succeeds = false;
        EXPECT_FAILURE(thread.wait(1), "BThread::wait () : failed");
        thread.stop(0);
    }
    host.now = 1'000'000;
    const auto function = std::make_unique<Function>();
    EXPECT_FAILURE(BThread(function.get(), 0), notStarted);
    {
        BThread thread;
        EXPECT_FAILURE(thread.start(new Function, 0), notStarted);
        thread.wait(5).stop(4);
        EXPECT_EQ(thread.timeSinceStart() + thread.userTime() + thread.kernelTime(), 0U);
        EXPECT_EQ(functions, 2);
    }
    EXPECT_EQ(functions, 1);
    EXPECT_EQ(host.handles, 0);
}

TEST_F(OnAReplacedPlatform, AThreadTellsItsTimesInMillisecondsAt32Bits) {
    const BThread thread(nullptr, 0);
    host.user = 6'000'000'000;
    host.kernel = 19'999;
    EXPECT_EQ(thread.userTime(), 600'000U);
    EXPECT_EQ(thread.kernelTime(), 1U);
    host.kernel = (0x100000000ULL + 5) * 10'000;
    EXPECT_EQ(thread.kernelTime(), 5U);
    host.creation = 1'000'000'005;
    host.now = 1'000'049'999;
    EXPECT_EQ(thread.timeSinceStart(), 4U);
    // The clock of milliseconds can lie a little behind that of the creation.
    host.now = 999'995'000;
    EXPECT_EQ(thread.timeSinceStart(), 0U);
}

TEST_F(OnAReplacedPlatform, ADelayCountsIn32Bits) {
    BDelay delay;
    host.clock = 4294967290;
    EXPECT_EQ(delay.timePassed(), 4294967290U);
    delay.event();
    host.clock = 4;
    EXPECT_EQ(delay.timePassed(), 10U);
    EXPECT_EQ(delay.timePassed(), 10U);
}

// A timeout is narrowed to 32 bits before 0 is looked for.
TEST_F(OnAReplacedPlatform, AnEventWaitsAsLongAsAsked) {
    host.error = ERROR_ALREADY_EXISTS;  // which the platform tells of an event that it joined
    EventSemaphore event("clock");
    const std::pair<unsigned long long, DWORD> cases[] = {
        {5, 5}, {0, INFINITE}, {INFINITE, INFINITE}, {0x500000000, INFINITE}, {0x100000014, 20}};
    for (const auto& [timeout, passedOn] : cases) {
        event.wait(static_cast<unsigned long>(timeout));
        EXPECT_EQ(host.timeout, passedOn);
    }
}

TEST_F(OnAReplacedPlatform, AnEventFails) {
    {
        host.createsEvents = false;
        host.error = ERROR_ALREADY_EXISTS;
        EventSemaphore event("clock");
        EXPECT_EQ(host.handles, 1);
        host.succeeds = false;
        EXPECT_FAILURE(event.post(), "EventSemaphore::post() : post failed.");
        EXPECT_FAILURE(event.pulse(), "EventSemaphore::pulse () : pulse failed.");
        EXPECT_FAILURE(event.reset(), "EventSemaphore::reset() : failed to reset.");
        EXPECT_FAILURE(event.wait(1), "EventSemaphore::wait() : wait failed.");
        EXPECT_FAILURE(EventSemaphore("clock"),
                       "EventSemaphore::EventSemaphore() : failed to open.");
    }
    EXPECT_EQ(host.handles, 0);
    host.error = ERROR_ACCESS_DENIED;
    EXPECT_FAILURE(EventSemaphore("clock"), "EventSemaphore::EventSemaphore(): failed to create.");
}

}  // namespace
