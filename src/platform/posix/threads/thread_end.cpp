// How a thread is ended from outside.
//
// A signal runs a handler in the thread, and the handler makes the system call that ends this one
// thread: nothing is unwound, so functions that let no exception out and catch-all clauses don't
// matter. The handler has a stack of its own, so the thread's may be full.
//
// The signal is one of the two that the C library keeps for itself and therefore blocks for no
// program, whatever set of signals the program gives. The C library too refuses to install a
// handler for it, so the system call is made here. The C library's own use of this signal, the
// cancelling of threads, is passed on to its handler.
//
// A thread that may hold a lock of the whole process, by the place where the signal meets it, goes
// on and is met again a moment later, by a timer of its own: on a busy machine the thread that
// wants the end would come too seldom.
#include "platform/posix/threads/thread_end.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>

#include <sys/syscall.h>
#include <unistd.h>

#include "platform/posix/base/futex.h"
#include "platform/posix/base/termination_shield.h"
#include "platform/posix/threads/shared_code.h"

namespace Sorvex::platform {

namespace {

constexpr int endSignal = 32;

using Handler = void (*)(int, siginfo_t*, void*);

// As the kernel takes it, which is not as the C library does.
struct KernelAction {
    Handler handler;
    unsigned long flags;
    void (*restorer)();
    std::uint32_t mask[2];
};

constinit std::atomic<Handler> previousHandler{nullptr};

}  // namespace

// What a handler returns to. The debugger and the unwinder know these very bytes, which is why
// nothing is told about the frame.
#if defined(__x86_64__)
extern "C" [[gnu::visibility("hidden")]] void sorvexReturnFromSignal();
asm(".pushsection .text\n"
    ".p2align 4\n"
    "nop\n"  // the unwinder looks up the address before the one returned to
    ".hidden sorvexReturnFromSignal\n"
    ".globl sorvexReturnFromSignal\n"
    ".type sorvexReturnFromSignal, @function\n"
    "sorvexReturnFromSignal:\n"
    "movq $15, %rax\n"
    "syscall\n"
    ".size sorvexReturnFromSignal, . - sorvexReturnFromSignal\n"
    ".popsection\n");
#endif

namespace {

// How long the calling thread has put off its end, in nanoseconds of its own work, since signals
// can meet it many times in one place on a busy machine.
std::int64_t workSinceFirstMeeting() noexcept {
    [[gnu::tls_model("initial-exec")]] static constinit thread_local std::int64_t first = 0;
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    const std::int64_t work = std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
    if (first == 0)
        first = work;
    return work - first;
}

void handleEndSignal(int number, siginfo_t* information, void* context) {
    ThreadRecord* const record = currentThread;
    if (record != nullptr && record->isToEnd()) {
        const int error = errno;
        if (!TerminationShield::putsOff(endThisThread)) {
            // At last any place is good enough.
            constexpr std::int64_t patience = 10'000'000'000;
            const std::int64_t work = workSinceFirstMeeting();
            if (!mayHoldSharedLock(context) || work > patience)
                endThisThread();
            // Ever later: where a signal takes as long as the thread has between two, it never gets
            // on.
            record->meetAgain(endSignal, static_cast<long>(20'000 + work / 50'000));
        }
        errno = error;
        return;
    }
    if (const Handler previous = previousHandler.load(std::memory_order_acquire);
        previous != nullptr)
        previous(number, information, context);
}

long kernelAction(const KernelAction* wanted, KernelAction* present) noexcept {
    return syscall(SYS_rt_sigaction, endSignal, wanted, present, sizeof KernelAction::mask);
}

bool isFunction(Handler handler) noexcept {
    const auto value = reinterpret_cast<std::uintptr_t>(handler);
    return value != reinterpret_cast<std::uintptr_t>(SIG_DFL) &&
           value != reinterpret_cast<std::uintptr_t>(SIG_IGN);
}

void ensureHandler() noexcept {
    KernelAction present{};
    if (kernelAction(nullptr, &present) != 0 || present.handler == handleEndSignal)
        return;
    if (isFunction(present.handler))
        previousHandler.store(present.handler, std::memory_order_release);

    KernelAction action{};
    action.handler = handleEndSignal;
    // Without SA_RESTART, so that a thread that was asleep can be told from one that wasn't.
    action.flags = SA_SIGINFO | SA_ONSTACK;
#if defined(__x86_64__)
    constexpr unsigned long flagRestorer = 0x04000000;
    action.flags |= flagRestorer;
    action.restorer = sorvexReturnFromSignal;
#endif
    kernelAction(&action, nullptr);
}

void sendEndSignal(pid_t thread) noexcept {
    // Looked at each time: the C library installs its handler when a thread is first cancelled.
    ensureHandler();
    siginfo_t information{};
    information.si_signo = endSignal;
    // The C library's handler takes signals of another origin for a cancellation.
    information.si_code = SI_QUEUE;
    information.si_pid = getpid();
    information.si_uid = getuid();
    syscall(SYS_rt_tgsigqueueinfo, information.si_pid, thread, endSignal, &information);
}

}  // namespace

void endThread(ThreadRecord& thread) noexcept {
    // How long a thread is given to answer a signal before the next one, in milliseconds.
    constexpr DWORD longestAnswer = 10;

    findSharedCode();
    thread.requestEnd();
    // The request is repeated for a thread that hasn't begun, for the moment in which the C library
    // puts its own handler in place, and for a full queue of signals.
    do
        thread.withHostId(sendEndSignal);
    while (!thread.waitForEnd(SleepLimit(longestAnswer)));
    thread.join();
}

void endThisThread() noexcept {
    currentThread->endNow();
}

}  // namespace Sorvex::platform
