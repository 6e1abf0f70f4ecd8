#include "platform/posix/threads/sync.h"

#include "platform/posix/base/futex.h"
#include "platform/posix/base/termination_shield.h"

namespace Sorvex::platform {

constinit thread_local std::uint64_t lockOwnerNumber = 0;

namespace {

// Looks less and less often, so that the owner keeps the word in its own cache meanwhile.
bool takenWhileSpinning(std::atomic<std::uint32_t>& state) noexcept {
    const unsigned limit = spinLimit();
    for (unsigned pauses = 4; pauses <= limit; pauses *= 2) {
        for (unsigned left = pauses; left != 0; --left)
            spinPause();
        std::uint32_t seen = state.load(std::memory_order_relaxed);
        if (seen == criticalSectionFree &&
            state.compare_exchange_strong(seen, criticalSectionTaken, std::memory_order_acquire,
                                          std::memory_order_relaxed))
            return true;
    }
    return false;
}

}  // namespace

void enterTakenCriticalSection(std::atomic<std::uint32_t>& state) noexcept {
    if (takenWhileSpinning(state))
        return;
    const SleepLimit never(INFINITE);
    const TerminationShield shield;
    // A thread that has slept can't know whether others still do, so it takes the lock as awaited;
    // the wake that may be one too many costs less than one too few.
    while (state.exchange(criticalSectionAwaited, std::memory_order_acquire) !=
           criticalSectionFree) {
        futexWait(wordOf(state), criticalSectionAwaited, Sharing::process, never);
        if (!shield.endsTheThread())
            continue;
        // It may have been woken for a lock that it doesn't take any more.
        futexWakeOne(wordOf(state));
        return;
    }
}

void leaveAwaitedCriticalSection(std::atomic<std::uint32_t>& state) noexcept {
    const TerminationShield shield;
    state.store(criticalSectionFree, std::memory_order_release);
    futexWakeOne(wordOf(state));
}

void numberThisThread() noexcept {
    static constinit std::atomic<std::uint64_t> lastNumber{0};
    lockOwnerNumber = ++lastNumber;
}

}  // namespace Sorvex::platform
