#include "platform/posix/threads/threads.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <latch>
#include <thread>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

#include "platform/posix/base/errors.h"
#include "platform/posix/base/handles.h"
#include "platform/posix/base/sanitizers.h"
#include "platform/posix/base/termination_shield.h"
#include "platform/posix/events/events.h"
#include "platform/posix/threads/sync.h"
#include "support/child_process.h"
#include "support/process_facts.h"
#include "support/stress.h"

namespace {

using namespace Sorvex;
using namespace Sorvex::platform;
using namespace Sorvex::testing;
using std::chrono::steady_clock;

// Sanitizers keep memory of their own for each thread, and call their runtime everywhere.
#if SORVEX_THREAD_SANITIZER || defined(__SANITIZE_ADDRESS__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

// A thread that is ended at the end of the scope if it still runs.
class TestThread {
public:
    explicit TestThread(std::function<void(TestThread&)> work, std::size_t stackSize = 0)
        : body(std::move(work)), handle(CreateThread(nullptr, stackSize, enter, this, 0, &id)) {}

    ~TestThread() {
        EXPECT_TRUE(TerminateThread(handle, 0));
        EXPECT_TRUE(CloseHandle(handle));
    }

    DWORD wait(DWORD milliseconds = INFINITE) const {
        return WaitForSingleObject(handle, milliseconds);
    }

private:
    static unsigned long enter(void* self) {
        auto& thread = *static_cast<TestThread*>(self);
        thread.body(thread);
        return 0;
    }

    const std::function<void(TestThread&)> body;

public:
    std::latch arrival{1};  // passed when one of the two has come to the place that matters
    DWORD id = 0;
    const HANDLE handle;
};

std::atomic<int> destroyed{0};

struct CountsItsDestruction {
    bool used = false;
    ~CountsItsDestruction() { ++destroyed; }
};

thread_local CountsItsDestruction ofTheThread;

void loopForEver() {
    volatile int turns = 0;
    for (;;)
        turns = turns ^ 1;
}

void arriveAndLoop(TestThread& self) {
    self.arrival.count_down();
    loopForEver();
}

std::size_t stackLeft() {
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    void* bottom = nullptr;
    std::size_t size = 0;
    pthread_attr_getstack(&attributes, &bottom, &size);
    pthread_attr_destroy(&attributes);
    char here = 0;
    return static_cast<std::size_t>(&here - static_cast<char*>(bottom));
}

// What is left is less than any signal needs. A sanitizer's own calls need more.
void fillStackAndLoop() {
    if (!sanitized)
        static_cast<volatile char*>(__builtin_alloca(stackLeft() - 512))[0] = '\1';
    loopForEver();
}

TEST(TerminateThread, EndsAThreadWhereverItStandsAndUnwindsNothing) {
    const int silent = eventfd(0, EFD_CLOEXEC);
    eventfd_t count = 0;
    TestThread other([](TestThread&) { loopForEver(); });
    const struct {
        const char* place;
        std::function<void()> stay;
    } cases[] = {
        {"the end of its stack", fillStackAndLoop},
        {"a blocking read", [&] { eventfd_read(silent, &count); }},
        {"a sleep that lets no exception out", []() noexcept { sleep(1000); }},
        {"a wait for another thread", [&] { other.wait(); }},
    };
    for (const auto& c : cases) {
        for (const bool blocksSignals : {false, true}) {
            SCOPED_TRACE(c.place);
            destroyed = 0;
            {
                TestThread thread(
                    [&](TestThread& self) {
                        const CountsItsDestruction local;
                        // A sanitizer finds what this allocates, or has to let it be destroyed.
                        if (!sanitized)
                            ofTheThread.used = true;
                        sigset_t signals;
                        sigfillset(&signals);
                        pthread_sigmask(blocksSignals ? SIG_BLOCK : SIG_UNBLOCK, &signals, nullptr);
                        self.arrival.count_down();
                        c.stay();
                    },
                    sanitized ? 0 : 1);
                thread.arrival.wait();
                EXPECT_EQ(thread.wait(20), WAIT_TIMEOUT);
                EXPECT_TRUE(TerminateThread(thread.handle, 7));
                EXPECT_EQ(thread.wait(0), WAIT_OBJECT_0);
            }
            EXPECT_EQ(destroyed, 0);
        }
    }
    EXPECT_EQ(other.wait(0), WAIT_TIMEOUT);
    close(silent);
}

TEST(TerminateThread, EndsTwoThreadsThatEndEachOther) {
    for (int round = 0; round < stressRounds(50); ++round) {
        std::atomic<HANDLE> other{nullptr};
        const TestThread first([&](TestThread&) {
            other.wait(nullptr);
            TerminateThread(other, 0);
        });
        const TestThread second([&](TestThread&) { TerminateThread(first.handle, 0); });
        other = second.handle;
        other.notify_all();
        EXPECT_EQ(first.wait(), WAIT_OBJECT_0);
        EXPECT_EQ(second.wait(), WAIT_OBJECT_0);
    }
}

TEST(TerminateThread, WaitsForTheEndOfAShield) {
    std::atomic<int> steps{0};
    TestThread thread([&](TestThread& self) {
        const TerminationShield outer;
        {
            const TerminationShield inner;
            self.arrival.count_down();
            sleep(60);  // until the signal comes
        }
        ++steps;
    });
    thread.arrival.wait();
    EXPECT_EQ(thread.wait(20), WAIT_TIMEOUT);
    EXPECT_TRUE(TerminateThread(thread.handle, 0));
    EXPECT_EQ(steps, 1);
}

TEST(TerminateThread, LeavesTheCancellingOfTheLibrarysThreadsAsItWas) {
    // The C library installs its handler at the first cancellation, here after ours.
    for (int round = 0; round < 3; ++round) {
        TestThread(arriveAndLoop).arrival.wait();
        std::latch begun(1);
        pthread_t cancelled{};
        const auto sleepForEver = [](void* latch) -> void* {
            static_cast<std::latch*>(latch)->count_down();
            for (;;)
                sleep(1000);
        };
        ASSERT_EQ(pthread_create(&cancelled, nullptr, sleepForEver, &begun), 0);
        begun.wait();
        ASSERT_EQ(pthread_cancel(cancelled), 0);
        void* result = nullptr;
        ASSERT_EQ(pthread_join(cancelled, &result), 0);
        EXPECT_EQ(result, PTHREAD_CANCELED);
    }
}

TEST(TerminateThread, RefusesWhatIsNoThread) {
    HandleObject other;
    EXPECT_FALSE(TerminateThread(&other, 0));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

// Each stack is two of them, its own and that of its guard.
auto mappings() {
    std::ifstream maps("/proc/self/maps");
    return std::count(std::istreambuf_iterator<char>(maps), {}, '\n');
}

std::atomic<int> ranOn{0};

unsigned long runOn(void* /*unused*/) {
    ++ranOn;
    return 0;
}

// A third of the threads is ended before it has hardly begun, a third in a loop, a third in a
// sleep; every fourth ends by itself. Beside each runs one whose handle is closed at once.
void startAndStop(int count) {
    ranOn = 0;
    DWORD id = 0;
    for (int round = 0; round < count; ++round) {
        EXPECT_TRUE(CloseHandle(CreateThread(nullptr, 0, runOn, nullptr, 0, &id)));
        TestThread thread([&](TestThread& self) {
            self.arrival.count_down();
            if (round % 4 == 0)
                return;
            if (round % 3 == 1)
                loopForEver();
            sleep(1000);
        });
        if (round % 3 != 0)
            thread.arrival.wait();
    }
    EXPECT_TRUE(comesTrue([&] { return ranOn == count; }));
}

TEST(TerminateThread, LeavesNothingBehind) {
    startAndStop(100);
    const std::size_t threads = runningThreads();
    const std::size_t descriptors = openDescriptors();
    const auto before = mappings();
    startAndStop(stressRounds(1500, 5));
    EXPECT_TRUE(comesTrue([&] { return runningThreads() <= threads; }));
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_TRUE(sanitized || mappings() < before + 20);
}

// Two threads are ended amid something that takes locks of the whole process; then the same is done
// here, in a process of its own that ends by a signal when it gets stuck.
TEST(TerminateThread, LeavesTheProcessUsable) {
    if (sanitized)
        GTEST_SKIP() << "a sanitizer's own code can't be told from the program";
    const struct {
        const char* place;
        void (*work)();
    } cases[] = {
        {"the allocator",
         [] {
             void* volatile const block = std::malloc(5000);
             std::free(block);
         }},
        {"a stream", [] { std::printf("%d\n", 5), std::fflush(stdout); }},
        {"a fork",
         [] {
             const pid_t child = fork();
             if (child == 0)
                 _exit(0);
             waitpid(child, nullptr, 0);
         }},
        {"the zone", tzset},
        // Its code at its start and end runs with the loader's lock held.
        {"a module", [] { dlclose(dlopen(SORVEX_TEST_MODULE, RTLD_NOW)); }},
        {"a named event", [] { CloseHandle(CreateEventA(nullptr, TRUE, TRUE, "sorvex stop")); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.place);
        const auto stopAmid = [&] {
            alarm(60);
            ASSERT_NE(std::freopen("/dev/null", "w", stdout), nullptr);
            c.work();
            const std::size_t descriptors = openDescriptors();
            const auto work = [&](TestThread& self) {
                for (self.arrival.count_down();;)
                    c.work();
            };
            const auto limit =
                steady_clock::now() + std::chrono::milliseconds(stressRounds(200, 15));
            while (steady_clock::now() < limit) {
                TestThread first(work);
                TestThread second(work);
                first.arrival.wait();
                c.work();
            }
            EXPECT_LT(openDescriptors(), descriptors + 5);
        };
        EXPECT_EQ(runInChild(stopAmid), 0);
    }
}

TEST(TerminateThread, HasNothingToDoInAForkedChild) {
    TestThread thread(arriveAndLoop);
    thread.arrival.wait();
    const auto child = [&] {
        alarm(60);
        EXPECT_TRUE(TerminateThread(thread.handle, 0));
        EXPECT_EQ(thread.wait(), WAIT_OBJECT_0);
        EXPECT_TRUE(CloseHandle(thread.handle));
    };
    EXPECT_EQ(runInChild(child), 0);
    EXPECT_EQ(thread.wait(0), WAIT_TIMEOUT);
}

// What a thread has locked stays locked, though the next one gets its storage. What it only waits
// for stays with the others: it must not take along what wakes the next.
TEST(TerminateThread, LeavesALockToItsOwnerAndToThoseWhoWait) {
    // Threads that do little else than atomic operations are ended amid the sanitizer's own.
    if (SORVEX_THREAD_SANITIZER)
        GTEST_SKIP() << "a sanitizer's own code can't be told from the program";
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    std::atomic<int> turns{0};
    const auto work = [&](TestThread&) {
        for (;; ++turns) {
            EnterCriticalSection(&section);
            LeaveCriticalSection(&section);
        }
    };
    for (int round = 0; round < stressRounds(100, 10); ++round) {
        InitializeCriticalSection(&section);
        const TestThread first(work);
        const TestThread second(work);
        { const TestThread ended(work); }
        const int before = turns;
        EXPECT_TRUE(
            comesTrue([&] { return turns > before || section.state != criticalSectionFree; }));
    }
    InitializeCriticalSection(&section);
    TestThread([&](TestThread& self) {
        EnterCriticalSection(&section);
        arriveAndLoop(self);
    }).arrival.wait();
    turns = 0;
    EXPECT_EQ(TestThread(work).wait(50), WAIT_TIMEOUT);
    EXPECT_EQ(turns, 0);
}

TEST(TerminateThread, LeavesNothingForTheNextThreadToFind) {
    static pthread_key_t key;
    ASSERT_EQ(pthread_key_create(&key, [](void* value) { ++*static_cast<int*>(value); }), 0);
    int ended = 0;
    for (int round = 0; round < 20; ++round) {
        TestThread([&](TestThread& self) {
            pthread_setspecific(key, &ended);
            arriveAndLoop(self);
        }).arrival.wait();
        std::thread([] { EXPECT_EQ(pthread_getspecific(key), nullptr); }).join();
    }
    // Under the thread sanitizer an ended thread leaves through its first function.
    EXPECT_EQ(ended, SORVEX_THREAD_SANITIZER ? 20 : 0);
    pthread_key_delete(key);
}

TEST(Threads, EndOnlyWhenEverythingOfTheirsIsDestroyed) {
    destroyed = 0;
    const TestThread thread([](TestThread&) {
        const CountsItsDestruction local;
        ofTheThread.used = true;
        pthread_exit(nullptr);
    });
    EXPECT_EQ(thread.wait(), WAIT_OBJECT_0);
    EXPECT_EQ(destroyed, 2);
}

TEST(Threads, HaveTheStackTheyAskedFor) {
    const std::size_t mebibyte = std::size_t{1024} * 1024;
    TestThread([&](TestThread&) { EXPECT_GT(stackLeft(), 47 * mebibyte); }, 48 * mebibyte).wait();
    DWORD id = 0;
    EXPECT_EQ(CreateThread(nullptr, SIZE_MAX, runOn, nullptr, 0, &id), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
}

TEST(ThreadId, IsTheHostsNumber) {
    EXPECT_EQ(GetCurrentThreadId(), static_cast<DWORD>(gettid()));
    for (int round = 0; round < 100; ++round) {
        DWORD seen = 0;
        const TestThread thread([&](TestThread&) { seen = GetCurrentThreadId(); });
        EXPECT_EQ(thread.wait(), WAIT_OBJECT_0);
        EXPECT_EQ(thread.id, seen);
    }
    const auto isThatOfTheFork = [] {
        EXPECT_EQ(GetCurrentThreadId(), static_cast<DWORD>(getpid()));
    };
    EXPECT_EQ(runInChild(isThatOfTheFork), 0);
}

int niceOf(DWORD thread) {
    return getpriority(PRIO_PROCESS, thread);
}

void checkPriorities(bool mayRaise) {
    const int own = niceOf(0);
    TestThread thread([&](TestThread& self) {
        self.arrival.wait();
        const TestThread made([](TestThread&) { loopForEver(); });
        EXPECT_EQ(GetThreadPriority(made.handle), mayRaise ? 0 : -15);
        EXPECT_EQ(niceOf(made.id), mayRaise ? own : std::min(own + 19, 19));
    });
    const int cases[][2] = {{0, 0}, {-1, 5}, {-2, 10}, {-15, 19}};
    for (const auto& [priority, offset] : cases) {
        SCOPED_TRACE(priority);
        EXPECT_TRUE(SetThreadPriority(thread.handle, priority));
        EXPECT_EQ(GetThreadPriority(thread.handle), priority);
        EXPECT_EQ(niceOf(thread.id), std::min(own + offset, 19));
        EXPECT_EQ(niceOf(0), own);
    }
    EXPECT_FALSE(SetThreadPriority(thread.handle, 3));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    thread.arrival.count_down();
    thread.wait();
    // Its number reaches nobody any more, or somebody else.
    EXPECT_EQ(GetThreadPriority(thread.handle), THREAD_PRIORITY_IDLE);
    EXPECT_TRUE(SetThreadPriority(thread.handle, THREAD_PRIORITY_HIGHEST));
}

TEST(ThreadPriority, IsANiceValueAndNormalInANewThreadAsFarAsTheHostLets) {
    if (geteuid() == 0)
        checkPriorities(true);
#if !SORVEX_THREAD_SANITIZER  // which lets no threads start after a fork
    const auto mayNotRaise = [] {
        const rlimit none{0, 0};
        ASSERT_EQ(setrlimit(RLIMIT_NICE, &none), 0);
        checkPriorities(false);
        const TestThread thread([](TestThread&) { loopForEver(); });
        EXPECT_FALSE(SetThreadPriority(thread.handle, THREAD_PRIORITY_HIGHEST));
        EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
        EXPECT_EQ(GetThreadPriority(thread.handle), 0);
    };
    EXPECT_EQ(runUnprivileged(mayNotRaise), 0);
#endif
}

struct Times {
    std::uint64_t creation, exit, kernel, user;
};

Times timesOf(const TestThread& thread) {
    FILETIME creation{}, exit{}, kernel{}, user{};
    EXPECT_TRUE(GetThreadTimes(thread.handle, &creation, &exit, &kernel, &user));
    return {fileTimeTicks(creation), fileTimeTicks(exit), fileTimeTicks(kernel),
            fileTimeTicks(user)};
}

TEST(ThreadTimes, AnswerTheThreadItselfAndOthersAlsoAfterItsEnd) {
    constexpr std::uint64_t some = 300000;  // of 100 ns: three times the host's finest step
    TestThread thread([](TestThread& self) {
        self.arrival.wait();
        while (timesOf(self).user < 2 * some)
            for (volatile int turn = 0; turn < 2000000;)
                turn = turn + 1;
    });
    EXPECT_EQ(timesOf(thread).exit, 0U);
    thread.arrival.count_down();
    EXPECT_TRUE(comesTrue([&] { return timesOf(thread).user >= some; }));
    thread.wait();
    const Times after = timesOf(thread);
    EXPECT_GE(after.user, 2 * some);
    EXPECT_LT(after.kernel, after.user);
    EXPECT_GT(after.exit, after.creation);
}

}  // namespace
