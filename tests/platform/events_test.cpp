#include "platform/posix/events.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/platform.h"
#include "platform/posix/sanitizers.h"
#include "support/stress.h"

namespace {

using namespace Sorvex;
using Clock = std::chrono::steady_clock;
using platform::HANDLE;

class EventHandle {
public:
    explicit EventHandle(const char* name = nullptr)
        : handle(platform::CreateEventA(nullptr, TRUE, FALSE, name)) {}
    ~EventHandle() { platform::CloseHandle(handle); }

    EventHandle(const EventHandle&) = delete;
    EventHandle& operator=(const EventHandle&) = delete;

    operator HANDLE() const { return handle; }

private:
    HANDLE handle;
};

bool isPosted(HANDLE event) {
    return platform::WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
}

// Whether a thread sleeps in the wait of an event or a lock of the layer.
bool sleepsInWait(pid_t thread) {
    constexpr unsigned long waitWithBitSet = 9;
    constexpr unsigned long operationMask = 0x7F;
    std::ifstream facts("/proc/self/task/" + std::to_string(thread) + "/syscall");
    std::string call;
    std::string word;
    std::string operation;
    facts >> call >> word >> operation;
    return call == std::to_string(SYS_futex) &&
           (std::stoul(operation, nullptr, 16) & operationMask) == waitWithBitSet;
}

// Threads that wait once each.
class Waiters {
public:
    Waiters(HANDLE event, std::size_t count) : ids(count), durations(count) {
        threads.reserve(count);
        for (std::size_t index = 0; index < count; ++index)
            threads.emplace_back([this, event, index] {
                const auto start = Clock::now();
                ids[index].store(gettid());
                platform::WaitForSingleObject(
                    event, static_cast<platform::DWORD>(Sorvex::testing::generousMilliseconds));
                durations[index] = Clock::now() - start;
            });
        for (std::atomic<pid_t>& id : ids)
            while (id.load() == 0 || !sleepsInWait(id.load()))
                std::this_thread::yield();
    }

    /// How many were let through before their time was over, which only the clock can tell: a
    /// waiter that nobody has woken finds at the end of its time that it may pass.
    std::size_t released() {
        std::size_t count = 0;
        for (std::thread& thread : threads)
            thread.join();
        for (const Clock::duration duration : durations)
            count += duration < Sorvex::testing::generousLimit ? 1U : 0U;
        return count;
    }

private:
    std::vector<std::atomic<pid_t>> ids;
    std::vector<Clock::duration> durations;
    std::vector<std::thread> threads;
};

TEST(Events, ReleaseEveryoneWhoWaitsWhateverFollowsAtOnce) {
    const std::function<void(HANDLE)> actions[] = {
        [](HANDLE e) { platform::PulseEvent(e); },
        [](HANDLE e) { platform::PulseEvent(e), platform::PulseEvent(e); },
        [](HANDLE e) { platform::PulseEvent(e), platform::ResetEvent(e); },
        [](HANDLE e) { platform::SetEvent(e), platform::ResetEvent(e); },
        [](HANDLE e) { platform::SetEvent(e), platform::PulseEvent(e); },
        [](HANDLE e) {
            for (int times = 0; times < 1000; ++times)
                platform::SetEvent(e), platform::ResetEvent(e);
        }};
    const std::string name = "sorvex release " + std::to_string(getpid());
    for (int round = 0; round < Sorvex::testing::stressRounds(5); ++round) {
        for (const auto& action : actions) {
            for (const char* which : {static_cast<const char*>(nullptr), name.c_str()}) {
                SCOPED_TRACE(&action - actions);
                const EventHandle event(which);
                Waiters waiters(event, 8);
                action(event);
                EXPECT_EQ(waiters.released(), 8U);
                EXPECT_FALSE(isPosted(event));
            }
        }
    }
}

TEST(Events, ReleaseNobodyWhoComesAfterThePulse) {
    const EventHandle event;
    const int rounds = Sorvex::testing::stressRounds(20000);
    std::atomic<int> begun{0};
    std::atomic<int> done{0};
    std::atomic<int> tooEarly{0};
    std::atomic<bool> over{false};
    const auto wait = [&] {
        while (!over.load()) {
            const int before = done.load();
            if (platform::WaitForSingleObject(event, 1) == WAIT_OBJECT_0 && begun.load() <= before)
                ++tooEarly;
        }
    };
    std::thread waiters[] = {std::thread(wait), std::thread(wait), std::thread(wait)};
    for (int round = 0; round < rounds; ++round) {
        ++begun;
        platform::PulseEvent(event);
        ++done;
    }
    over.store(true);
    for (std::thread& waiter : waiters)
        waiter.join();
    EXPECT_EQ(tooEarly.load(), 0);
    EXPECT_FALSE(isPosted(event));
}

TEST(Events, WaitOnThroughSignals) {
    static std::atomic<int> signals;
    signals = 0;
    struct sigaction action {};
    struct sigaction previous {};
    action.sa_handler = [](int) { ++signals; };
    ASSERT_EQ(sigaction(SIGALRM, &action, &previous), 0);
    const itimerval everyMillisecond{{0, 1000}, {0, 1000}};
    const itimerval never{};
    setitimer(ITIMER_REAL, &everyMillisecond, nullptr);
    const EventHandle event;
    const auto start = Clock::now();
    EXPECT_EQ(platform::WaitForSingleObject(event, 100), WAIT_TIMEOUT);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(100));
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &previous, nullptr);
    EXPECT_GT(signals.load(), 1);
}

TEST(Events, TellWhatIsWrongByTheLastError) {
    class OtherObject final : public platform::HandleObject {
    } object;
    platform::HandleObject* const other = &object;
    const std::string tooLong(260, 'x');
    const auto create = [](platform::BOOL manualReset, const std::string& name) {
        return platform::CreateEventA(nullptr, manualReset, TRUE, name.c_str()) != nullptr;
    };
    const std::pair<std::function<bool()>, platform::DWORD> cases[] = {
        {[] { return platform::SetEvent(nullptr) != 0; }, ERROR_INVALID_HANDLE},
        {[] { return platform::ResetEvent(nullptr) != 0; }, ERROR_INVALID_HANDLE},
        {[&] { return platform::PulseEvent(other) != 0; }, ERROR_INVALID_HANDLE},
        {[&] { return create(FALSE, ""); }, ERROR_NOT_SUPPORTED},
        {[&] { return create(TRUE, tooLong); }, ERROR_FILENAME_EXCED_RANGE},
        {[&] { return platform::OpenEventA(0, FALSE, tooLong.c_str()) != nullptr; },
         ERROR_FILENAME_EXCED_RANGE},
        {[] { return platform::OpenEventA(0, FALSE, nullptr) != nullptr; },
         ERROR_INVALID_PARAMETER},
        {[] { return platform::OpenEventA(0, FALSE, "sorvex/no such event") != nullptr; },
         ERROR_FILE_NOT_FOUND}};
    for (const auto& [operation, error] : cases) {
        SCOPED_TRACE(&error - &cases[0].second);
        platform::SetLastError(ERROR_SUCCESS);
        EXPECT_FALSE(operation());
        EXPECT_EQ(platform::GetLastError(), error);
    }
}

TEST(Events, TellWhetherTheyAreNewAndCanStartPosted) {
    const std::string name = "sorvex posted " + std::to_string(getpid());
    for (const char* which : {static_cast<const char*>(nullptr), name.c_str()}) {
        platform::SetLastError(ERROR_ALREADY_EXISTS);
        HANDLE event = platform::CreateEventA(nullptr, TRUE, TRUE, which);
        EXPECT_EQ(platform::GetLastError(), ERROR_SUCCESS);
        EXPECT_TRUE(isPosted(event));
        platform::ResetEvent(event);
        HANDLE joined = platform::CreateEventA(nullptr, TRUE, TRUE, which);
        EXPECT_EQ(platform::GetLastError(),
                  which == nullptr ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
        EXPECT_EQ(isPosted(joined), which == nullptr);
        platform::CloseHandle(event);
        platform::CloseHandle(joined);
    }
}

#if !SORVEX_THREAD_SANITIZER

// In this mode the kernel kills the process at any call but the one that ends it.
TEST(Events, AndLocksNeedNoSystemCallWhenNobodyWaits) {
    const std::string name = "sorvex silent " + std::to_string(getpid());
    for (const char* which : {static_cast<const char*>(nullptr), name.c_str()}) {
        const EventHandle event(which);
        platform::CRITICAL_SECTION section{};
        platform::InitializeCriticalSection(&section);
        {
            Waiters earlier(event, 2);
            platform::PulseEvent(event);
            ASSERT_EQ(earlier.released(), 2U);
        }
        EXPECT_EQ(platform::WaitForSingleObject(event, 1), WAIT_TIMEOUT);
        const pid_t child = fork();
        if (child == 0) {
            if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0)
                _exit(1);
            platform::SetEvent(event);
            platform::SetEvent(event);
            platform::WaitForSingleObject(event, INFINITE);
            platform::ResetEvent(event);
            platform::ResetEvent(event);
            platform::PulseEvent(event);
            platform::WaitForSingleObject(event, 0);
            platform::EnterCriticalSection(&section);
            platform::EnterCriticalSection(&section);
            platform::LeaveCriticalSection(&section);
            platform::LeaveCriticalSection(&section);
            syscall(SYS_exit, 0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
}

#endif

}  // namespace
