#include "platform/posix/threads/thread_record.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <new>

#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/posix/base/errors.h"
#include "platform/posix/base/handles.h"
#include "platform/posix/base/termination_shield.h"
#include "platform/posix/threads/thread_id.h"
#include "platform/posix/time/file_times.h"

namespace Sorvex::platform {

constinit thread_local ThreadRecord* currentThread = nullptr;

namespace {

// Room for the frame of a signal, which grows with the processor's registers, and for handlers of
// the application that ask for a stack of their own. What isn't used is never touched.
constexpr std::size_t signalStackSize = std::size_t{64} * 1024;

constexpr std::size_t smallestStack = std::size_t{64} * 1024;

std::uint64_t now() noexcept {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return fileTimeTicks(fileTimeFromHost(time.tv_sec, static_cast<std::uint32_t>(time.tv_nsec)));
}

std::uint64_t ticksOf(const timeval& time) noexcept {
    return static_cast<std::uint64_t>(time.tv_sec) * 10000000U +
           static_cast<std::uint64_t>(time.tv_usec) * 10U;
}

// The end of a thread is noticed through the value of a key that the thread holds.
struct EndKey {
    explicit EndKey(void (*leave)(void*)) noexcept : error(pthread_key_create(&key, leave)) {}

    pthread_key_t key{};
    const int error;
};

#if SORVEX_THREAD_SANITIZER
// Nobody may jump to where a thread began when that place is no more.
struct WayOut {
    ~WayOut() { currentThread = nullptr; }
};
#else
// The C library hands the memory of an ended thread to a new one, and counts on the end to have
// emptied the values of all keys. Setting none allocates nothing; unused keys are refused.
void forgetKeys() noexcept {
    for (pthread_key_t key = 0; key < PTHREAD_KEYS_MAX; ++key)
        pthread_setspecific(key, nullptr);
}
#endif

// Gives the calling thread a stack for signal handlers. A sanitizer may have given one before,
// which it will want back.
class SignalStack {
public:
    explicit SignalStack(std::byte* area) noexcept : start(area) {
        stack_t own{};
        own.ss_sp = area;
        own.ss_size = signalStackSize;
        stack_t previous{};
        sigaltstack(&own, &previous);
        if ((previous.ss_flags & SS_DISABLE) == 0)
            sigaltstack(&previous, nullptr);
    }

    ~SignalStack() {
        stack_t none{};
        none.ss_flags = SS_DISABLE;
        stack_t present{};
        sigaltstack(&none, &present);
        if (present.ss_sp != start && (present.ss_flags & SS_DISABLE) == 0)
            sigaltstack(&present, nullptr);
    }

    SignalStack(const SignalStack&) = delete;
    SignalStack& operator=(const SignalStack&) = delete;

private:
    const std::byte* const start;
};

class Attributes {
public:
    Attributes() noexcept { pthread_attr_init(&attributes); }
    ~Attributes() { pthread_attr_destroy(&attributes); }

    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    int setStackSize(std::size_t size) noexcept {
        if (size == 0)
            pthread_attr_getstacksize(&attributes, &size);
        if (size < smallestStack)
            size = smallestStack;
        if (size > std::numeric_limits<std::size_t>::max() - signalStackSize)
            return ENOMEM;
        return pthread_attr_setstacksize(&attributes, size + signalStackSize);
    }

    const pthread_attr_t* get() const noexcept { return &attributes; }

private:
    pthread_attr_t attributes{};
};

// The host's number of a thread that was just made and can't have been joined yet, without a wait
// until it runs: it is part of the number of the thread's processor clock. 0 when it has ended.
pid_t hostIdOf(pthread_t thread) noexcept {
    clockid_t clock{};
    return pthread_getcpuclockid(thread, &clock) == 0 ? static_cast<pid_t>(~(clock >> 3)) : 0;
}

}  // namespace

ProcessorTimes ownProcessorTimes() noexcept {
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return {ticksOf(usage.ru_stime), ticksOf(usage.ru_utime)};
}

ThreadRecord::ThreadRecord(pthread_key_t endKey, LPTHREAD_START_ROUTINE startRoutine,
                           void* startArgument) noexcept
    : creationTime(now()),
      process(getpid()),
      key(endKey),
      routine(startRoutine),
      argument(startArgument) {}

ThreadRecord* ThreadRecord::start(std::size_t stackSize, LPTHREAD_START_ROUTINE routine,
                                  void* argument) noexcept {
    static const EndKey endKey(leave);
    auto* const record = endKey.error == 0 ? new (std::nothrow)
                                                 ThreadRecord(endKey.key, routine, argument)
                                           : nullptr;
    if (record == nullptr)
        return failWith(ERROR_NOT_ENOUGH_MEMORY);
    if (const int error = record->make(stackSize); error != 0) {
        delete record;
        return failWith(errorFromErrno(error));
    }
    return record;
}

int ThreadRecord::make(std::size_t stackSize) noexcept {
    Attributes attributes;
    if (const int error = attributes.setStackSize(stackSize); error != 0)
        return error;
    if (const int error = pthread_create(&thread, attributes.get(), enter, this); error != 0)
        return error;
    // A thread that is already at its end has stored its number itself.
    if (const pid_t host = hostIdOf(thread); host != 0)
        id.store(host, std::memory_order_relaxed);
    return 0;
}

// A frame that lasts as long as the thread's work holds the stack for signals.
void* ThreadRecord::enter(void* record) {
    alignas(std::max_align_t) std::byte area[signalStackSize];
    const SignalStack signalStack(area);
    static_cast<ThreadRecord*>(record)->run();
    return nullptr;
}

void ThreadRecord::run() {
    id.store(gettid(), std::memory_order_relaxed);
    // Only a program that holds dozens of keys makes this allocate.
    if (pthread_setspecific(key, this) != 0)
        std::abort();
#if SORVEX_THREAD_SANITIZER
    const WayOut wayOutExists;
    if (sigsetjmp(wayOut, 1) != 0)
        return;
#endif
    currentThread = this;
    // A signal that came before this found no record and did nothing.
    if (!isToEnd())
        routine(argument);
}

// Runs when all that the language destroys at the end of a thread is destroyed. The last round but
// one is taken, so that other keys had theirs before; a sanitizer takes the last.
void ThreadRecord::leave(void* value) noexcept {
    ThreadRecord& record = *static_cast<ThreadRecord*>(value);
    if (++record.endRounds < PTHREAD_DESTRUCTOR_ITERATIONS - 1 &&
        pthread_setspecific(record.key, &record) == 0)
        return;
    currentThread = nullptr;
    record.publishEnd();
    record.release();
}

void ThreadRecord::publishEnd() noexcept {
    exitTime = now();
    finalTimes = ownProcessorTimes();
    if ((life.fetch_or(ended) & awaited) != 0)
        futexWakeAll(wordOf(life));
    // A forked child has no timers, and nobody there uses the number.
    if (process != getpid())
        return;
    if (timer != noTimer)
        syscall(SYS_timer_delete, timer);
    // The number stays this thread's as long as somebody uses it.
    while (numberUsers != 0)
        sched_yield();
}

bool ThreadRecord::hasEnded() const noexcept {
    return (life.load() & ended) != 0 || (process != getpid() && this != currentThread);
}

void ThreadRecord::endNow() noexcept {
    // Signals that are still on their way do nothing any more.
    currentThread = nullptr;
#if SORVEX_THREAD_SANITIZER
    // The sanitizer knows of the end of a thread only when its first function returns.
    siglongjmp(wayOut, 1);
#else
    endedByForce = true;
    publishEnd();
    forgetKeys();
    for (;;)
        syscall(SYS_exit, 0);
#endif
}

void ThreadRecord::meetAgain(int signal, long nanoseconds) noexcept {
    if (timer == noTimer) {
        sigevent event{};
        event.sigev_notify = SIGEV_THREAD_ID;
        event.sigev_signo = signal;
        event._sigev_un._tid = gettid();
        // Without a timer the thread is met again by who wants the end.
        if (syscall(SYS_timer_create, CLOCK_MONOTONIC, &event, &timer) != 0)
            return;
    }
    // An interval, which there is none, and the first time; the system call takes long everywhere.
    const long soon[] = {0, 0, 0, nanoseconds};
    syscall(SYS_timer_settime, timer, 0, soon, nullptr);
}

bool ThreadRecord::sleepWhile(std::uint32_t state, const SleepLimit& limit) noexcept {
    if ((state & awaited) == 0 && !life.compare_exchange_strong(state, state | awaited))
        return true;
    return futexWait(wordOf(life), state | awaited, Sharing::process, limit);
}

bool ThreadRecord::waitForEnd(const SleepLimit& limit) noexcept {
    std::uint32_t state = life.load(std::memory_order_acquire);
    while ((state & ended) == 0 && sleepWhile(state, limit))
        state = life.load(std::memory_order_acquire);
    return hasEnded();
}

bool ThreadRecord::joinAtOnce() noexcept {
    return process == getpid() && currentThread == nullptr && joinAlone();
}

void ThreadRecord::join() noexcept {
    // The C library has forgotten the threads of another process.
    if (process != getpid())
        return;
    const SleepLimit never(INFINITE);
    std::uint32_t state = joinState.load(std::memory_order_acquire);
    while (state != joined) {
        if (state == joining)
            futexWait(wordOf(joinState), joining, Sharing::process, never);
        else if (joinAlone())
            return;
        state = joinState.load(std::memory_order_acquire);
    }
}

bool ThreadRecord::joinAlone() noexcept {
    // The C library remembers who joins and takes locks of its own.
    const TerminationShield shield;
    std::uint32_t state = notJoined;
    if (!joinState.compare_exchange_strong(state, joining))
        return false;
    // A waiter can't be cancelled, which would leave the others waiting for it.
    int cancelState = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
    pthread_join(thread, nullptr);
    pthread_setcancelstate(cancelState, nullptr);
    joinState.store(joined, std::memory_order_release);
    futexWakeAll(wordOf(joinState));
    return true;
}

void ThreadRecord::closeHandle() noexcept {
    const TerminationShield shield;
    // The C library takes no notice of the end of a thread that was ended by force.
    const bool isGone = joinState.load(std::memory_order_acquire) == joined ||
                        (process != getpid() && this != currentThread);
    if (isGone || (hasEnded() && endedByForce)) {
        join();
        delete this;
        return;
    }
    pthread_detach(thread);
    release();
}

void ThreadRecord::release() noexcept {
    if (owners.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

}  // namespace Sorvex::platform
