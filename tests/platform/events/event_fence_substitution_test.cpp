// When the end of a posted event has the process fenced, with the fence replaced. Its own work is
// hardly to be tested: a missing fence shows once in many million posts, or never.
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/platform.h"
#include "platform/posix/events/process_fence.h"

namespace {

int fences = 0;
bool isFenced = true;

}  // namespace

namespace Sorvex::platform {

bool canFenceProcess() noexcept {
    return isFenced;
}

void fenceProcess() noexcept {
    ++fences;
}

}  // namespace Sorvex::platform

namespace {

using namespace Sorvex;

TEST(EventFences, AreMadeAfterManyPostsOnceAndOnlyWithinTheProcess) {
    const std::string name = "sorvex fence " + std::to_string(getpid());
    const struct {
        const char* name;
        bool granted;
        int posts;
        platform::BOOL (*end)(platform::HANDLE);
        int fences;
    } cases[] = {
        {nullptr, true, 1, platform::ResetEvent, 0},
        {nullptr, true, 100, platform::ResetEvent, 0},
        {nullptr, true, 200, platform::ResetEvent, 1},
        {nullptr, true, 100000, platform::ResetEvent, 1},
        {nullptr, true, 200, platform::PulseEvent, 1},
        {nullptr, false, 100000, platform::ResetEvent, 0},
        {name.c_str(), true, 100000, platform::ResetEvent, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        isFenced = c.granted;
        platform::HANDLE event = platform::CreateEventA(nullptr, TRUE, FALSE, c.name);
        for (int round = 0; round < 2; ++round) {
            fences = 0;
            for (int post = 0; post < c.posts; ++post)
                platform::SetEvent(event);
            EXPECT_EQ(platform::WaitForSingleObject(event, 0), WAIT_OBJECT_0);
            c.end(event);
            EXPECT_EQ(fences, c.fences);
            EXPECT_EQ(platform::WaitForSingleObject(event, 0), WAIT_TIMEOUT);
            c.end(event);
            EXPECT_EQ(fences, c.fences);
        }
        platform::CloseHandle(event);
    }
}

}  // namespace
