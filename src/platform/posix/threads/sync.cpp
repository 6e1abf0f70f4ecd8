#include "platform/posix/threads/sync.h"

#include "platform/posix/base/futex.h"
#include "platform/posix/base/handles.h"

namespace Sorvex::platform {

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
    // A thread that has slept can't know whether others still do, so it takes the lock as awaited;
    // the wake that may be one too many costs less than one too few.
    while (state.exchange(criticalSectionAwaited, std::memory_order_acquire) != criticalSectionFree)
        futexWait(wordOf(state), criticalSectionAwaited, Sharing::process, never);
}

void wakeCriticalSection(const std::atomic<std::uint32_t>& state) noexcept {
    futexWakeOne(wordOf(state));
}

}  // namespace Sorvex::platform
