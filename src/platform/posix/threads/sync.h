// Locks inside one process.
#pragma once

#include <atomic>
#include <cstdint>

namespace Sorvex::platform {

/// A recursive lock. Its owner is known by a number that no two threads of a process have, one
/// after the other neither: what an ended thread had locked stays locked.
struct CRITICAL_SECTION {
    std::atomic<std::uint32_t> state;  // free, taken, or taken with threads that may sleep
    std::uint32_t depth;  // how often the owner has entered; only the owner looks at it
    std::atomic<std::uint64_t> owner;  // 0 when there is none
};

constexpr std::uint32_t criticalSectionFree = 0;
constexpr std::uint32_t criticalSectionTaken = 1;
constexpr std::uint32_t criticalSectionAwaited = 2;

/// Takes a lock that was not free at the first look.
void enterTakenCriticalSection(std::atomic<std::uint32_t>& state) noexcept;

/// Gives back a lock that threads may sleep for, and wakes one of them.
void leaveAwaitedCriticalSection(std::atomic<std::uint32_t>& state) noexcept;

/// The number of the calling thread; 0 before numberThisThread.
[[gnu::tls_model("initial-exec")]] extern constinit thread_local std::uint64_t lockOwnerNumber;

void numberThisThread() noexcept;

inline void InitializeCriticalSection(CRITICAL_SECTION* section) noexcept {
    section->state.store(criticalSectionFree, std::memory_order_relaxed);
    section->owner.store(0, std::memory_order_relaxed);
    section->depth = 0;
}

inline void DeleteCriticalSection(CRITICAL_SECTION* /*section*/) noexcept {}

/// Takes the lock, waiting without limit; the owner takes it once more at once.
inline void EnterCriticalSection(CRITICAL_SECTION* section) noexcept {
    if (lockOwnerNumber == 0) [[unlikely]]
        numberThisThread();
    const std::uint64_t self = lockOwnerNumber;
    // Nobody but this thread itself ever stores its number, so no order is needed to find it.
    if (section->owner.load(std::memory_order_relaxed) == self) {
        ++section->depth;
        return;
    }
    std::uint32_t expected = criticalSectionFree;
    if (!section->state.compare_exchange_strong(
            expected, criticalSectionTaken, std::memory_order_acquire, std::memory_order_relaxed))
        enterTakenCriticalSection(section->state);
    section->owner.store(self, std::memory_order_relaxed);
    section->depth = 1;
}

/// Gives back one level of the lock; only for its owner.
inline void LeaveCriticalSection(CRITICAL_SECTION* section) noexcept {
    if (--section->depth != 0)
        return;
    section->owner.store(0, std::memory_order_relaxed);
    std::uint32_t expected = criticalSectionTaken;
    if (!section->state.compare_exchange_strong(
            expected, criticalSectionFree, std::memory_order_release, std::memory_order_relaxed))
        leaveAwaitedCriticalSection(section->state);
}

}  // namespace Sorvex::platform
