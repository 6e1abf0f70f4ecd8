// The exact calls of the classes, with the platform's operations replaced.
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/sync.h>

#include "platform/platform.h"
#include "support/failure_assertions.h"

namespace {

using namespace Sorvex;

// What the operations were called with, and what they give.
struct Platform {
    std::vector<std::string> calls;
    bool creates = true;
    bool opens = true;
    bool succeeds = true;
    platform::DWORD error = ERROR_SUCCESS;
    platform::DWORD waitResult = WAIT_OBJECT_0;
    platform::DWORD clock = 0;
};

Platform& host() {
    static Platform instance;
    return instance;
}

char created;
char opened;

std::string nameOf(platform::HANDLE handle) {
    return handle == &created ? "created" : handle == &opened ? "opened" : "?";
}

std::string shown(const char* name) {
    return name == nullptr ? "null" : name;
}

platform::BOOL record(const std::string& call) {
    host().calls.push_back(call);
    return host().succeeds ? 7 : FALSE;
}

}  // namespace

namespace Sorvex::platform {

DWORD timeGetTime() noexcept {
    return host().clock;
}

DWORD GetLastError() noexcept {
    return host().error;
}

HANDLE CreateEventA(const void* attributes, BOOL manualReset, BOOL initialState, const char* name) {
    record("create " + std::to_string(attributes != nullptr) + std::to_string(manualReset != 0) +
           std::to_string(initialState) + " " + shown(name));
    return host().creates ? &created : nullptr;
}

HANDLE OpenEventA(DWORD access, BOOL inherit, const char* name) {
    record("open " + std::to_string(access) + " " + std::to_string(inherit) + " " + shown(name));
    return host().opens ? &opened : nullptr;
}

BOOL SetEvent(HANDLE event) {
    return record("set " + nameOf(event));
}

BOOL ResetEvent(HANDLE event) {
    return record("reset " + nameOf(event));
}

BOOL PulseEvent(HANDLE event) {
    return record("pulse " + nameOf(event));
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    record("wait " + nameOf(handle) + " " + std::to_string(milliseconds));
    return host().waitResult;
}

BOOL CloseHandle(HANDLE handle) {
    return record("close " + nameOf(handle));
}

}  // namespace Sorvex::platform

namespace {

using Calls = std::vector<std::string>;

class SyncCalls : public ::testing::Test {
protected:
    void SetUp() override { host() = Platform(); }
};

TEST_F(SyncCalls, DelayCountsIn32Bits) {
    const struct {
        platform::DWORD event;
        platform::DWORD now;
        unsigned long passed;
    } cases[] = {{4294967290, 4, 10},
                 {1000, 1000, 0},
                 {1000, 1001, 1},
                 {1, 0, 4294967295},
                 {0, 4294967295, 4294967295}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.event);
        BDelay delay;
        host().clock = c.event;
        EXPECT_EQ(delay.timePassed(), c.event);
        EXPECT_EQ(&delay.event(), &delay);
        host().clock = c.now;
        EXPECT_EQ(delay.timePassed(), c.passed);
        EXPECT_EQ(delay.timePassed(), c.passed);
    }
}

TEST_F(SyncCalls, CreatesWithoutLookingAtTheErrorAndCloses) {
    host().error = ERROR_ALREADY_EXISTS;
    {
        EventSemaphore event("clock");
        EventSemaphore unnamed;
        event.wait(0).wait(5).wait(0xFFFFFFFF).post().pulse().reset();
    }
    EXPECT_EQ(host().calls,
              (Calls{"create 010 clock", "create 010 null", "wait created 4294967295",
                     "wait created 5", "wait created 4294967295", "set created", "pulse created",
                     "reset created", "close created", "close created"}));
}

TEST_F(SyncCalls, OpensWhatCouldNotBeCreatedBecauseItIsThere) {
    host().creates = false;
    host().error = ERROR_ALREADY_EXISTS;
    { EventSemaphore event("clock"); }
    EXPECT_EQ(host().calls, (Calls{"create 010 clock", "open 2031619 0 clock", "close opened"}));

    host().opens = false;
    host().calls.clear();
    EXPECT_FAILURE(EventSemaphore("clock"), "EventSemaphore::EventSemaphore() : failed to open.");
    EXPECT_EQ(host().calls, (Calls{"create 010 clock", "open 2031619 0 clock"}));

    host().error = ERROR_ACCESS_DENIED;
    host().calls.clear();
    EXPECT_FAILURE(EventSemaphore("clock"), "EventSemaphore::EventSemaphore(): failed to create.");
    EXPECT_EQ(host().calls, (Calls{"create 010 clock"}));
}

TEST_F(SyncCalls, FailsWithoutADetail) {
    EventSemaphore event;
    host().succeeds = false;
    EXPECT_FAILURE(event.post(), "EventSemaphore::post() : post failed.");
    EXPECT_FAILURE(event.pulse(), "EventSemaphore::pulse () : pulse failed.");
    EXPECT_FAILURE(event.reset(), "EventSemaphore::reset() : failed to reset.");
    host().waitResult = WAIT_FAILED;
    EXPECT_FAILURE(event.wait(1), "EventSemaphore::wait() : wait failed.");
    host().waitResult = WAIT_TIMEOUT;
    EXPECT_NO_THROW(event.wait(1));
}

}  // namespace
