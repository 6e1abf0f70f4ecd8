// What the layer knows of one thread, and how the thread ends.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include <pthread.h>
#include <sys/types.h>

#include "platform/posix/base/futex.h"
#include "platform/posix/base/sanitizers.h"
#include "platform/posix/base/termination_shield.h"
#include "platform/posix/base/types.h"
#include "platform/posix/threads/thread_types.h"

#if SORVEX_THREAD_SANITIZER
#include <csetjmp>
#endif

namespace Sorvex::platform {

/// Processor time in units of 100 ns.
struct ProcessorTimes {
    std::uint64_t kernel = 0;
    std::uint64_t user = 0;
};

/// The processor time of the calling thread.
ProcessorTimes ownProcessorTimes() noexcept;

class ThreadRecord;

/// The record of the calling thread; null in a thread that CreateThread didn't make. A signal
/// handler reads it, so it lies in storage that is never allocated late.
[[gnu::tls_model("initial-exec")]] extern constinit thread_local ThreadRecord* currentThread;

/// The record of one thread. It goes with its handle; when the handle is closed first, with the
/// later of the two.
///
/// That the thread has ended is a word which the thread itself sets: in its last step before the C
/// library takes it apart, or right before the system call that ends it by force. Who waits only
/// looks at that word, so a thread that is ended while it waits for another leaves no trace there.
/// The C library is asked to join when the thread is at its end and the call can't block, or by
/// threads that can't be ended.
class ThreadRecord {
public:
    ThreadRecord(const ThreadRecord&) = delete;
    ThreadRecord& operator=(const ThreadRecord&) = delete;

    /// Makes a thread with a stack of so many bytes, 0 for the usual size. Null with the last error
    /// set on failure.
    static ThreadRecord* start(std::size_t stackSize, LPTHREAD_START_ROUTINE routine,
                               void* argument) noexcept;

    /// Whether the thread has ended. One of another process has, except for the one that forked.
    bool hasEnded() const noexcept;

    /// Waits for the end; false when the deadline passed first.
    bool waitForEnd(const SleepLimit& limit) noexcept;

    /// Waits for the end in the C library, which sleeps once where waitForEnd and join sleep twice.
    /// False when the calling thread might be ended meanwhile, or another joins already.
    bool joinAtOnce() noexcept;

    /// After the end: waits for the short rest, and gives the stack back.
    void join() noexcept;

    /// Asks the thread to end: from now on the signal for that means it.
    void requestEnd() noexcept { endRequested.store(true); }
    bool isToEnd() const noexcept { return endRequested.load(); }

    /// Lets a signal come again to the calling thread, whose record this is, after less than 1 s.
    void meetAgain(int signal, long nanoseconds) noexcept;

    /// Ends the calling thread, whose record this is, at once.
    [[noreturn]] void endNow() noexcept;

    /// Does something with the host's number of the thread, which is the thread's own as long: it
    /// doesn't end before. False when it has ended.
    template <typename Action>
    bool withHostId(Action action) noexcept {
        const TerminationShield shield;
        // A user says so before it looks for the end, and the thread tells its end before it looks
        // for users: in sequentially consistent order, or each could miss the other.
        ++numberUsers;
        const bool isAlive = !hasEnded();
        if (isAlive)
            action(this == currentThread ? 0 : hostId());
        --numberUsers;
        return isAlive;
    }

    /// Closes the handle: nobody will ask for the end any more.
    void closeHandle() noexcept;

    /// The host's number of the thread; it may be anyone's once the thread has ended.
    pid_t hostId() const noexcept { return id.load(std::memory_order_relaxed); }

    // Written before the end is made known.
    std::uint64_t exitTime = 0;
    ProcessorTimes finalTimes;

    const std::uint64_t creationTime;

    std::atomic<int> priority{THREAD_PRIORITY_NORMAL};
    // The nice value that stands for normal; it is read when a priority is first set.
    std::atomic<int> normalNice{unknownNice};
    static constexpr int unknownNice = 1000;

private:
    ThreadRecord(pthread_key_t key, LPTHREAD_START_ROUTINE routine, void* argument) noexcept;
    ~ThreadRecord() = default;

    static void* enter(void* record);
    static void leave(void* value) noexcept;

    int make(std::size_t stackSize) noexcept;
    void run();
    void publishEnd() noexcept;
    bool sleepWhile(std::uint32_t state, const SleepLimit& limit) noexcept;
    bool joinAlone() noexcept;
    void release() noexcept;

    static constexpr std::uint32_t awaited = 1;  // somebody may be asleep on the word
    static constexpr std::uint32_t ended = 2;

    static constexpr std::uint32_t notJoined = 0;
    static constexpr std::uint32_t joining = 1;
    static constexpr std::uint32_t joined = 2;

    std::atomic<std::uint32_t> life{0};
    std::atomic<std::uint32_t> joinState{notJoined};
    std::atomic<int> owners{2};
    std::atomic<pid_t> id{0};
    std::atomic<bool> endRequested{false};
    bool endedByForce = false;
    unsigned endRounds = 0;
    int timer = noTimer;  // the kernel's number of what meetAgain sets
    static constexpr int noTimer = -1;
    std::atomic<int> numberUsers{0};
    const pid_t process;
    pthread_t thread{};
    const pthread_key_t key;
    const LPTHREAD_START_ROUTINE routine;
    void* const argument;
#if SORVEX_THREAD_SANITIZER
    sigjmp_buf wayOut;
#endif
};

}  // namespace Sorvex::platform
