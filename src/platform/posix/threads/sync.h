// Locks inside one process.
#ifndef SORVEX_PLATFORM_POSIX_THREADS_SYNC_H
#define SORVEX_PLATFORM_POSIX_THREADS_SYNC_H

#include <atomic>
#include <cstdint>

namespace Sorvex::platform {

/// A recursive lock. Its owner is known by the address of the thread's own storage.
struct CRITICAL_SECTION {
    std::atomic<std::uint32_t> state;  // free, taken, or taken with threads that may sleep
    std::atomic<const void*> owner;
    std::uint32_t depth;  // how often the owner has entered; only the owner looks at it
};

constexpr std::uint32_t criticalSectionFree = 0;
constexpr std::uint32_t criticalSectionTaken = 1;
constexpr std::uint32_t criticalSectionAwaited = 2;

/// Takes a lock that was not free at the first look.
void enterTakenCriticalSection(std::atomic<std::uint32_t>& state) noexcept;

/// Wakes one thread that sleeps for the lock.
void wakeCriticalSection(const std::atomic<std::uint32_t>& state) noexcept;

inline void InitializeCriticalSection(CRITICAL_SECTION* section) noexcept {
    section->state.store(criticalSectionFree, std::memory_order_relaxed);
    section->owner.store(nullptr, std::memory_order_relaxed);
    section->depth = 0;
}

inline void DeleteCriticalSection(CRITICAL_SECTION* /*section*/) noexcept {}

/// Takes the lock, waiting without limit; the owner takes it once more at once.
inline void EnterCriticalSection(CRITICAL_SECTION* section) noexcept {
    const void* self = __builtin_thread_pointer();
    // Nobody but this thread itself ever stores its address, so no order is needed to find it.
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
    section->owner.store(nullptr, std::memory_order_relaxed);
    if (section->state.exchange(criticalSectionFree, std::memory_order_release) ==
        criticalSectionAwaited)
        wakeCriticalSection(section->state);
}

}  // namespace Sorvex::platform

#endif
