#include "platform/posix/threads.h"

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include "platform/posix/counter.h"
#include "platform/posix/errors.h"
#include "platform/posix/handles.h"
#include "platform/posix/sanitizers.h"
#include "platform/posix/termination_shield.h"
#include "support/child_process.h"
#include "support/process_facts.h"
#include "support/stress.h"

namespace {

using namespace Sorvex;
using platform::CloseHandle;
using platform::DWORD;
using platform::HANDLE;
using platform::TerminateThread;
using platform::WaitForSingleObject;
using namespace Sorvex::testing;

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
        : body(std::move(work)),
          handle(platform::CreateThread(nullptr, stackSize, enter, this, 0, &id)) {
        EXPECT_NE(handle, nullptr);
    }

    ~TestThread() {
        EXPECT_TRUE(TerminateThread(handle, 0));
        EXPECT_TRUE(CloseHandle(handle));
    }

    TestThread(const TestThread&) = delete;
    TestThread& operator=(const TestThread&) = delete;

    // Called by the body when it has come to the place that matters.
    void arrive() {
        arrived = true;
        arrived.notify_all();
    }

    void awaitArrival() const { arrived.wait(false); }

    DWORD wait(DWORD milliseconds) const { return WaitForSingleObject(handle, milliseconds); }

private:
    static unsigned long enter(void* self) {
        auto& thread = *static_cast<TestThread*>(self);
        thread.body(thread);
        return 0;
    }

    std::atomic<bool> arrived{false};
    const std::function<void(TestThread&)> body;

public:
    DWORD id = 0;
    const HANDLE handle;
};

// Waits for what the host makes true a little later, such as the last moment of a thread.
bool comesTrue(const std::function<bool()>& condition) {
    const auto limit = std::chrono::steady_clock::now() + generousLimit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit)
            return false;
        std::this_thread::yield();
    }
    return true;
}

std::atomic<int> destroyed{0};

struct CountsItsDestruction {
    bool used = false;
    ~CountsItsDestruction() { ++destroyed; }
};

thread_local CountsItsDestruction ofTheThread;

class SilentPipe {
public:
    SilentPipe() { EXPECT_EQ(pipe(ends.data()), 0); }
    ~SilentPipe() {
        close(ends[0]);
        close(ends[1]);
    }
    SilentPipe(const SilentPipe&) = delete;
    SilentPipe& operator=(const SilentPipe&) = delete;

    void read() const {
        char byte = 0;
        EXPECT_EQ(::read(ends[0], &byte, 1), 1);
    }

private:
    std::array<int, 2> ends{};
};

void loopForEver() {
    volatile int turns = 0;
    for (;;)
        turns = turns ^ 1;
}

void blockAllSignals() {
    sigset_t all;
    sigfillset(&all);
    EXPECT_EQ(pthread_sigmask(SIG_BLOCK, &all, nullptr), 0);
}

struct StackRange {
    const char* bottom;
    std::size_t size;
};

StackRange ownStack() {
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    void* bottom = nullptr;
    std::size_t size = 0;
    pthread_attr_getstack(&attributes, &bottom, &size);
    pthread_attr_destroy(&attributes);
    return {static_cast<const char*>(bottom), size};
}

// Leaves the thread 512 bytes of its stack, less than any signal needs, and stays there.
void fillStack(const char* bottom, std::atomic<bool>& isFull) {
    const char here = 0;
    auto* const space = static_cast<volatile char*>(
        __builtin_alloca(static_cast<std::size_t>(&here - bottom) - 512));
    space[0] = here;
    isFull = true;
    loopForEver();
}

TEST(TerminateThread, EndsAThreadWhereverItStands) {
    const SilentPipe pipe;
    TestThread other([](TestThread&) { loopForEver(); });
    using Body = std::function<void(TestThread&)>;
    const struct {
        const char* place;
        Body body;
    } cases[] = {
        {"an endless loop",
         [](TestThread& self) {
             self.arrive();
             loopForEver();
         }},
        {"a blocking read",
         [&](TestThread& self) {
             self.arrive();
             pipe.read();
         }},
        {"a sleep",
         [](TestThread& self) {
             self.arrive();
             sleep(1000);
         }},
        {"a function that lets no exception out",
         [](TestThread& self) noexcept {
             self.arrive();
             sleep(1000);
         }},
        {"a catch-all clause",
         [](TestThread& self) {
             try {
                 self.arrive();
                 sleep(1000);
             } catch (...) {
                 ++destroyed;
             }
         }},
        {"a loop with all signals blocked",
         [](TestThread& self) {
             blockAllSignals();
             self.arrive();
             loopForEver();
         }},
        {"a sleep with all signals blocked",
         [](TestThread& self) {
             blockAllSignals();
             self.arrive();
             sleep(1000);
         }},
        {"a wait for another thread",
         [&](TestThread& self) {
             self.arrive();
             other.wait(INFINITE);
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.place);
        destroyed = 0;
        {
            TestThread thread([&](TestThread& self) {
                const CountsItsDestruction local;
                // A sanitizer finds what this allocates, or has to let it be destroyed.
                if (!sanitized)
                    ofTheThread.used = true;
                c.body(self);
            });
            thread.awaitArrival();
            EXPECT_EQ(thread.wait(0), WAIT_TIMEOUT);
            EXPECT_TRUE(TerminateThread(thread.handle, 7));
            EXPECT_EQ(thread.wait(0), WAIT_OBJECT_0);
            EXPECT_TRUE(TerminateThread(thread.handle, 7));
        }
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(other.wait(0), WAIT_TIMEOUT);
}

TEST(TerminateThread, EndsAThreadWhoseSmallestStackIsFull) {
    if (sanitized)
        GTEST_SKIP() << "a sanitizer's own calls need room on the stack";
    std::atomic<bool> isFull{false};
    TestThread thread([&](TestThread&) { fillStack(ownStack().bottom, isFull); }, 1);
    EXPECT_TRUE(comesTrue([&] { return isFull.load(); }));
    EXPECT_TRUE(TerminateThread(thread.handle, 0));
}

TEST(TerminateThread, EndsTheCallingThread) {
    std::atomic<bool> survived{false};
    TestThread thread([&](TestThread& self) {
        self.awaitArrival();
        TerminateThread(self.handle, 0);
        survived = true;
    });
    thread.arrive();
    EXPECT_EQ(thread.wait(INFINITE), WAIT_OBJECT_0);
    EXPECT_FALSE(survived);
}

TEST(TerminateThread, EndsTwoThreadsThatEndEachOther) {
    for (int round = 0; round < stressRounds(50); ++round) {
        HANDLE handles[2] = {};
        const auto endOther = [&](TestThread& self, int other) {
            self.awaitArrival();
            TerminateThread(handles[other], 0);
        };
        TestThread first([&](TestThread& self) { endOther(self, 1); });
        TestThread second([&](TestThread& self) { endOther(self, 0); });
        handles[0] = first.handle;
        handles[1] = second.handle;
        first.arrive();
        second.arrive();
        EXPECT_EQ(first.wait(INFINITE), WAIT_OBJECT_0);
        EXPECT_EQ(second.wait(INFINITE), WAIT_OBJECT_0);
    }
}

TEST(TerminateThread, WaitsForTheEndOfAShield) {
    std::atomic<int> steps{0};
    std::atomic<bool> asked{false};
    TestThread thread([&](TestThread& self) {
        const platform::TerminationShield outer;
        {
            const platform::TerminationShield inner;
            self.arrive();
            asked.wait(false);
            // The request has at least been made; most often its signal is there too.
            for (int turn = 0; turn < 1000; ++turn)
                sched_yield();
        }
        ++steps;
    });
    thread.awaitArrival();
    std::thread asker([&] {
        asked = true;
        asked.notify_all();
        TerminateThread(thread.handle, 0);
    });
    EXPECT_EQ(thread.wait(INFINITE), WAIT_OBJECT_0);
    asker.join();
    EXPECT_EQ(steps, 1);
}

TEST(TerminateThread, LeavesTheCancellingOfTheLibrarysThreadsAsItWas) {
    const auto cancelOne = [] {
        std::atomic<bool> begun{false};
        pthread_t thread{};
        ASSERT_EQ(pthread_create(
                      &thread, nullptr,
                      [](void* flag) -> void* {
                          *static_cast<std::atomic<bool>*>(flag) = true;
                          for (;;)
                              sleep(1000);
                      },
                      &begun),
                  0);
        ASSERT_TRUE(comesTrue([&] { return begun.load(); }));
        ASSERT_EQ(pthread_cancel(thread), 0);
        void* result = nullptr;
        ASSERT_EQ(pthread_join(thread, &result), 0);
        EXPECT_EQ(result, PTHREAD_CANCELED);
    };
    // The C library installs its handler at the first cancellation, here after ours.
    for (int round = 0; round < 3; ++round) {
        TestThread thread([](TestThread& self) {
            self.arrive();
            loopForEver();
        });
        thread.awaitArrival();
        EXPECT_TRUE(TerminateThread(thread.handle, 0));
        cancelOne();
    }
}

TEST(TerminateThread, RefusesWhatIsNoThread) {
    EXPECT_FALSE(TerminateThread(nullptr, 0));
    EXPECT_EQ(platform::GetLastError(), ERROR_INVALID_HANDLE);
    platform::HandleObject other;
    EXPECT_FALSE(TerminateThread(&other, 0));
}

struct Memory {
    std::size_t pages = 0;
    std::size_t residentPages = 0;
};

Memory ownMemory() {
    Memory memory;
    std::ifstream("/proc/self/statm") >> memory.pages >> memory.residentPages;
    return memory;
}

// A third of the threads is ended before it has hardly begun, a third in a loop, a third in a
// sleep; every fourth ends by itself.
void startAndStop(int count) {
    for (int round = 0; round < count; ++round) {
        TestThread thread([&](TestThread& self) {
            self.arrive();
            if (round % 4 == 0)
                return;
            if (round % 3 == 1)
                loopForEver();
            sleep(1000);
        });
        if (round % 3 != 0)
            thread.awaitArrival();
    }
}

TEST(TerminateThread, LeavesNothingBehind) {
    startAndStop(100);
    const std::size_t threads = runningThreads();
    const std::size_t descriptors = openDescriptors();
    const Memory before = ownMemory();
    startAndStop(stressRounds(1500, 10));
    EXPECT_TRUE(comesTrue([&] { return runningThreads() == threads; }));
    EXPECT_EQ(openDescriptors(), descriptors);
    if (sanitized)
        return;
    // One stack forgotten in a hundred would be 2,048 pages and more.
    EXPECT_LT(ownMemory().pages, before.pages + 2000);
    EXPECT_LT(ownMemory().residentPages, before.residentPages + 256);
}

TEST(TerminateThread, LeavesNothingForTheNextThreadToFind) {
    static pthread_key_t key;
    ASSERT_EQ(pthread_key_create(&key, [](void* value) { ++*static_cast<int*>(value); }), 0);
    int ended = 0;
    for (int round = 0; round < 20; ++round) {
        {
            TestThread thread([&](TestThread& self) {
                pthread_setspecific(key, &ended);
                self.arrive();
                loopForEver();
            });
            thread.awaitArrival();
        }
        std::thread([] { EXPECT_EQ(pthread_getspecific(key), nullptr); }).join();
    }
    // Under the thread sanitizer an ended thread leaves through its first function.
    EXPECT_EQ(ended, SORVEX_THREAD_SANITIZER ? 20 : 0);
    pthread_key_delete(key);
}

TEST(Threads, EndOnlyWhenEverythingOfTheirsIsDestroyed) {
    destroyed = 0;
    TestThread thread([](TestThread&) { ofTheThread.used = true; });
    EXPECT_EQ(thread.wait(INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(destroyed, 1);
}

TEST(Threads, EndWhenTheyLeaveThroughTheLibrary) {
    destroyed = 0;
    TestThread thread([](TestThread&) {
        const CountsItsDestruction local;
        pthread_exit(nullptr);
    });
    EXPECT_EQ(thread.wait(INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(destroyed, 1);
}

TEST(Threads, RunOnWhenTheirHandleIsClosed) {
    std::thread([] {}).join();  // a sanitizer starts a thread of its own beside the first one
    const std::size_t threads = runningThreads();
    static std::atomic<int> stage;
    stage = 0;
    DWORD id = 0;
    const HANDLE handle = platform::CreateThread(
        nullptr, 0,
        [](void*) -> unsigned long {
            stage.wait(0);
            stage = 2;
            stage.notify_all();
            return 0;
        },
        nullptr, 0, &id);
    EXPECT_TRUE(CloseHandle(handle));
    stage = 1;
    stage.notify_all();
    stage.wait(1);
    EXPECT_TRUE(comesTrue([&] { return runningThreads() == threads; }));
}

TEST(Threads, HaveTheStackTheyAskedFor) {
    const std::size_t mebibyte = std::size_t{1024} * 1024;
    TestThread thread([&](TestThread&) { EXPECT_GE(ownStack().size, 48 * mebibyte); },
                      48 * mebibyte);
    EXPECT_EQ(thread.wait(INFINITE), WAIT_OBJECT_0);
    DWORD id = 0;
    EXPECT_EQ(platform::CreateThread(
                  nullptr, static_cast<std::size_t>(-1), [](void*) -> unsigned long { return 0; },
                  nullptr, 0, &id),
              nullptr);
    EXPECT_EQ(platform::GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
}

TEST(Threads, MayBeAwaitedBySeveralAndByThreadsThatAreEndedMeanwhile) {
    for (int round = 0; round < stressRounds(20); ++round) {
        std::atomic<bool> mayEnd{false};
        TestThread awaited([&](TestThread&) { mayEnd.wait(false); });
        const auto wait = [&](TestThread& self) {
            self.arrive();
            EXPECT_EQ(awaited.wait(INFINITE), WAIT_OBJECT_0);
        };
        TestThread first(wait);
        TestThread second(wait);
        TestThread third(wait);
        for (const TestThread* waiter : {&first, &second, &third})
            waiter->awaitArrival();
        EXPECT_TRUE(TerminateThread(second.handle, 0));
        mayEnd = true;
        mayEnd.notify_all();
        for (const TestThread* waiter : {&first, &third, &awaited})
            EXPECT_EQ(waiter->wait(INFINITE), WAIT_OBJECT_0);
    }
}

TEST(Threads, AreAwaitedAsLongAsAsked) {
    TestThread thread([](TestThread&) { sleep(1000); });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(thread.wait(30), WAIT_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

TEST(ThreadId, IsTheHostsNumber) {
    EXPECT_EQ(platform::GetCurrentThreadId(), static_cast<DWORD>(gettid()));
    for (int round = 0; round < 100; ++round) {
        DWORD seen = 0;
        TestThread thread([&](TestThread&) { seen = platform::GetCurrentThreadId(); });
        EXPECT_EQ(thread.wait(INFINITE), WAIT_OBJECT_0);
        EXPECT_EQ(thread.id, seen);
        EXPECT_NE(thread.id, platform::GetCurrentThreadId());
    }
}

TEST(ThreadId, IsAnotherInAForkedProcess) {
    platform::GetCurrentThreadId();
    EXPECT_EQ(
        runInChild([] { EXPECT_EQ(platform::GetCurrentThreadId(), static_cast<DWORD>(getpid())); }),
        0);
}

int niceOf(DWORD thread) {
    return getpriority(PRIO_PROCESS, thread);
}

TEST(ThreadPriority, IsTheNiceValueOfTheThread) {
    const int own = niceOf(0);
    std::atomic<bool> mayEnd{false};
    TestThread thread([&](TestThread&) { mayEnd.wait(false); });
    EXPECT_EQ(platform::GetThreadPriority(thread.handle), THREAD_PRIORITY_NORMAL);
    const struct {
        int priority;
        int offset;
    } cases[] = {{0, 0}, {-1, 5}, {-2, 10}, {-15, 19}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.priority);
        EXPECT_TRUE(platform::SetThreadPriority(thread.handle, c.priority));
        EXPECT_EQ(platform::GetThreadPriority(thread.handle), c.priority);
        EXPECT_EQ(niceOf(thread.id), std::min(own + c.offset, 19));
        EXPECT_EQ(niceOf(0), own);
    }
    EXPECT_FALSE(platform::SetThreadPriority(thread.handle, 3));
    EXPECT_EQ(platform::GetLastError(), ERROR_INVALID_PARAMETER);
    mayEnd = true;
    mayEnd.notify_all();
    thread.wait(INFINITE);
    EXPECT_EQ(platform::GetThreadPriority(thread.handle), THREAD_PRIORITY_IDLE);
    EXPECT_TRUE(platform::SetThreadPriority(thread.handle, THREAD_PRIORITY_HIGHEST));
}

TEST(ThreadPriority, FailsWhereTheHostRefusesAndSaysWhatIsSo) {
#if SORVEX_THREAD_SANITIZER
    GTEST_SKIP() << "the sanitizer lets no threads start after a fork";
#endif
    EXPECT_EQ(runUnprivileged([] {
                  const rlimit none{0, 0};
                  ASSERT_EQ(setrlimit(RLIMIT_NICE, &none), 0);
                  TestThread maker([](TestThread& self) {
                      self.awaitArrival();
                      EXPECT_FALSE(platform::SetThreadPriority(self.handle, 2));
                      EXPECT_EQ(platform::GetLastError(), ERROR_ACCESS_DENIED);
                      EXPECT_EQ(platform::GetThreadPriority(self.handle), 0);

                      EXPECT_TRUE(platform::SetThreadPriority(self.handle, -2));
                      const TestThread made([](TestThread&) {});
                      EXPECT_EQ(platform::GetThreadPriority(made.handle), -2);
                  });
                  maker.arrive();
                  EXPECT_EQ(maker.wait(INFINITE), WAIT_OBJECT_0);
              }),
              0);
}

TEST(ThreadPriority, IsNormalInAThreadMadeByOneThatIsNot) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may raise a priority";
    TestThread maker([](TestThread& self) {
        self.awaitArrival();
        const int normal = niceOf(0);
        EXPECT_TRUE(platform::SetThreadPriority(self.handle, THREAD_PRIORITY_LOWEST));
        std::atomic<bool> mayEnd{false};
        TestThread made([&](TestThread&) { mayEnd.wait(false); });
        EXPECT_EQ(niceOf(made.id), normal);
        EXPECT_EQ(platform::GetThreadPriority(made.handle), THREAD_PRIORITY_NORMAL);
        mayEnd = true;
        mayEnd.notify_all();
        made.wait(INFINITE);
    });
    maker.arrive();
    EXPECT_EQ(maker.wait(INFINITE), WAIT_OBJECT_0);
}

struct Times {
    explicit Times(HANDLE thread) {
        platform::FILETIME creationTime{};
        platform::FILETIME exitTime{};
        platform::FILETIME kernelTime{};
        platform::FILETIME userTime{};
        EXPECT_TRUE(
            platform::GetThreadTimes(thread, &creationTime, &exitTime, &kernelTime, &userTime));
        creation = platform::fileTimeTicks(creationTime);
        exit = platform::fileTimeTicks(exitTime);
        kernelMilliseconds = platform::fileTimeTicks(kernelTime) / 10000;
        userMilliseconds = platform::fileTimeTicks(userTime) / 10000;
    }
    std::uint64_t creation;
    std::uint64_t exit;
    std::uint64_t kernelMilliseconds;
    std::uint64_t userMilliseconds;
};

void burnUserTime(const std::function<bool()>& enough) {
    while (!enough())
        for (volatile int turn = 0; turn < 2000000;)
            turn = turn + 1;
}

TEST(ThreadTimes, AnswerWhileTheThreadRunsAndAfterItsEnd) {
    std::atomic<bool> enough{false};
    TestThread thread([&](TestThread&) { burnUserTime([&] { return enough.load(); }); });
    EXPECT_TRUE(comesTrue([&] { return Times(thread.handle).userMilliseconds >= 60; }));
    EXPECT_EQ(Times(thread.handle).exit, 0U);
    enough = true;
    thread.wait(INFINITE);

    const Times after(thread.handle);
    EXPECT_GE(after.userMilliseconds, 60U);
    EXPECT_LT(after.kernelMilliseconds, after.userMilliseconds);
    EXPECT_GT(after.exit, after.creation);
    EXPECT_EQ(Times(thread.handle).exit, after.exit);
}

TEST(ThreadTimes, TellSystemTimeApartAndSurviveTheEndByForce) {
    TestThread thread([](TestThread&) {
        for (;;)
            getpriority(PRIO_PROCESS, 0);
    });
    EXPECT_TRUE(comesTrue([&] { return Times(thread.handle).kernelMilliseconds >= 30; }));
    EXPECT_TRUE(TerminateThread(thread.handle, 0));
    EXPECT_GE(Times(thread.handle).kernelMilliseconds, 30U);
    EXPECT_NE(Times(thread.handle).exit, 0U);
}

TEST(ThreadTimes, AnswerTheThreadItself) {
    TestThread thread([](TestThread& self) {
        self.awaitArrival();
        burnUserTime([&] { return Times(self.handle).userMilliseconds >= 20; });
    });
    thread.arrive();
    EXPECT_EQ(thread.wait(generousMilliseconds), WAIT_OBJECT_0);
}

TEST(QueryPerformanceCounter, RunsUpFromOneThreadToTheNext) {
    // Two threads take turns; where there are several processors they run on different ones.
    std::atomic<std::int64_t> last{0};
    std::atomic<int> turn{0};
    const int turns = stressRounds(20000);
    const auto play = [&](int player) {
        for (int mine = player; mine < turns; mine += 2) {
            while (turn.load(std::memory_order_acquire) != mine)
                std::this_thread::yield();
            platform::LARGE_INTEGER reading{};
            EXPECT_TRUE(platform::QueryPerformanceCounter(&reading));
            EXPECT_GE(reading.QuadPart, last.load(std::memory_order_relaxed));
            last.store(reading.QuadPart, std::memory_order_relaxed);
            turn.store(mine + 1, std::memory_order_release);
        }
    };
    std::thread second([&] { play(1); });
    play(0);
    second.join();
}

}  // namespace
