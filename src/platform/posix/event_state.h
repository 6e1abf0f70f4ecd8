// The state of one event, in memory that one process or several look at.
#ifndef SORVEX_PLATFORM_POSIX_EVENT_STATE_H
#define SORVEX_PLATFORM_POSIX_EVENT_STATE_H

#include <atomic>
#include <cstdint>

#include "platform/posix/futex.h"
#include "platform/posix/handles.h"
#include "platform/posix/types.h"

namespace Sorvex::platform {

/// A manual-reset event in one 64-bit word.
///
/// Bit 0 says that the event is posted, bits 1 to 31 count its generations, the upper half counts
/// the threads that sleep on the lower one. A generation ends when a posted event is reset and at
/// each pulse: a waiter passes when it finds the event posted or its generation over, and so it
/// can't miss a post that is taken back before it runs. The count is 31 bits wide; a waiter would
/// have to stand still for exactly two thousand million pulses to be deceived.
///
/// Whoever finds sleepers leaves the change and the waking to the kernel as one step; nothing else
/// is ever half done when a process is killed. A sleeper that is killed stays counted, which costs
/// later posts a system call and nothing more.
///
/// All zero bytes are an event that is not posted.
class EventState {
public:
    /// Sets the event to posted. Touches nothing once the event can be seen as posted, so that a
    /// thread that it lets through may release the memory.
    void post(Sharing sharing) noexcept {
        // A posted event is written again all the same: whoever resets it afterwards must also see
        // what the poster wrote before, and a load alone would not order the two.
        std::uint64_t seen = word.load(std::memory_order_relaxed);
        do {
            // While the event is posted nobody goes to sleep, and those who slept are awake.
            if (!isPosted(seen) && hasSleepers(seen)) {
                futexChangeAndWakeAll(lowerHalf(), WordChange::setBits, posted, sharing);
                return;
            }
        } while (!word.compare_exchange_weak(seen, seen | posted, std::memory_order_seq_cst,
                                             std::memory_order_relaxed));
    }

    /// Sets the event to not posted; who was waiting while it was posted passes none the less.
    void reset() noexcept {
        std::uint64_t seen = word.load(std::memory_order_acquire);
        while (isPosted(seen)) {
            if (word.compare_exchange_weak(seen, nextGeneration(seen), std::memory_order_seq_cst,
                                           std::memory_order_acquire))
                return;
        }
    }

    /// Lets through the threads that wait at this moment and leaves the event not posted.
    void pulse(Sharing sharing) noexcept {
        std::uint64_t seen = word.load(std::memory_order_relaxed);
        do {
            if (!isPosted(seen) && hasSleepers(seen)) {
                futexChangeAndWakeAll(lowerHalf(), WordChange::add, oneGeneration, sharing);
                return;
            }
        } while (!word.compare_exchange_weak(seen, nextGeneration(seen), std::memory_order_seq_cst,
                                             std::memory_order_relaxed));
    }

    /// Waits until the event is posted or pulsed.
    ///
    /// @return WAIT_OBJECT_0 or WAIT_TIMEOUT
    DWORD wait(DWORD milliseconds, Sharing sharing) noexcept {
        const std::uint64_t seen = word.load(std::memory_order_acquire);
        return isPosted(seen) ? WAIT_OBJECT_0 : waitForEnd(lower(seen), milliseconds, sharing);
    }

private:
    static constexpr std::uint32_t posted = 1;
    static constexpr std::uint32_t oneGeneration = 2;
    static constexpr std::uint64_t oneSleeper = std::uint64_t{1} << 32U;

    static constexpr std::uint32_t lower(std::uint64_t word) noexcept {
        return static_cast<std::uint32_t>(word);
    }
    static constexpr bool isPosted(std::uint64_t word) noexcept { return (word & posted) != 0; }
    static constexpr bool hasSleepers(std::uint64_t word) noexcept { return word >= oneSleeper; }

    // The word in its next generation and not posted. The lower half wraps by itself.
    static constexpr std::uint64_t nextGeneration(std::uint64_t word) noexcept {
        const std::uint32_t next = (lower(word) & ~posted) + oneGeneration;
        return (word & ~std::uint64_t{0xFFFFFFFF}) | next;
    }

    // Waits until the lower half is no longer what it was in a generation that is not posted.
    DWORD waitForEnd(std::uint32_t generation, DWORD milliseconds, Sharing sharing) noexcept;
    DWORD sleep(std::uint32_t generation, const Deadline& deadline, Sharing sharing) noexcept;
    bool over(std::uint32_t generation) const noexcept;
    bool overWhileLooking(std::uint32_t generation) const noexcept;

    // Only the kernel looks at this half alone; the threads always take the word whole.
    const std::uint32_t* lowerHalf() const noexcept {
        return reinterpret_cast<const std::uint32_t*>(&word);
    }

    std::atomic<std::uint64_t> word{0};
};

}  // namespace Sorvex::platform

#endif
