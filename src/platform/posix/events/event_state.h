// The state of one event, in memory that one process or several look at.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/posix/base/futex.h"
#include "platform/posix/base/handles.h"
#include "platform/posix/base/types.h"

namespace Sorvex::platform {

/// A manual-reset event in one 32-bit word, the futex that its waiters sleep on:
///
///     bit 0          the event is posted
///     bit 1          awaited: threads may be asleep on the word
///     bits 2 to 31   the number of the generation
///
/// A generation ends when a posted event is reset and at each pulse. A waiter passes when it finds
/// the event posted or its generation over, and so it can't miss a post that is taken back before
/// it runs; it would have to stand still for exactly a thousand million pulses to be deceived.
///
/// Every change is one compare-and-swap, or, where threads may be asleep, one step of the kernel
/// that changes the word and wakes them all. So nothing is ever half done when a process is killed.
/// A sleeper whose time is over, or that is killed, leaves the event awaited: the next post or
/// pulse makes a system call that nobody needs.
///
/// Processors that reorder need no more, since nothing hangs on a second word: a waiter goes to
/// sleep by a compare-and-swap too, so all agree whether that or a post came first. Every change
/// releases what was written before it, the kernel's (FUTEX_WAKE_OP) as a full barrier, and every
/// look that lets a thread through acquires it.
///
/// All zero bytes are an event that is not posted.
class EventState {
public:
    /// Sets the event to posted. Touches nothing once the event can be seen as posted, so that a
    /// thread that it lets through may release the memory.
    void post(Sharing sharing) noexcept {
        std::uint32_t seen = word.load(std::memory_order_relaxed);
        do {
            // While the event is posted nobody goes to sleep, and those who slept are awake.
            if ((seen & (posted | awaited)) == awaited) {
                futexChangeAndWakeAll(wordOf(word), WordChange::setBits, posted, sharing);
                return;
            }
            // A posted event is written again: whoever resets it afterwards has to see what was
            // written before this post.
        } while (!word.compare_exchange_weak(seen, seen | posted, std::memory_order_seq_cst,
                                             std::memory_order_relaxed));
    }

    /// Sets the event to not posted; who was waiting while it was posted passes none the less.
    void reset() noexcept {
        std::uint32_t seen = word.load(std::memory_order_acquire);
        while ((seen & posted) != 0 && !endGeneration(seen)) {}
    }

    /// Lets through the threads that wait at this moment and leaves the event not posted.
    void pulse(Sharing sharing) noexcept {
        std::uint32_t seen = word.load(std::memory_order_acquire);
        do {
            if ((seen & (posted | awaited)) == awaited) {
                // The carry clears the bit and begins the next generation. Where another thread has
                // changed the word meanwhile, it has let through whom this pulse was for.
                futexChangeAndWakeAll(wordOf(word), WordChange::add, awaited, sharing);
                return;
            }
        } while (!endGeneration(seen));
    }

    /// Waits until the event is posted or pulsed.
    ///
    /// @return WAIT_OBJECT_0 or WAIT_TIMEOUT
    DWORD wait(DWORD milliseconds, Sharing sharing) noexcept {
        const std::uint32_t seen = word.load(std::memory_order_acquire);
        if ((seen & posted) != 0) [[likely]]
            return WAIT_OBJECT_0;
        return waitForEnd(seen & ~awaited, milliseconds, sharing);
    }

private:
    static constexpr std::uint32_t posted = 1;
    static constexpr std::uint32_t awaited = 2;
    static constexpr std::uint32_t oneGeneration = 4;

    // Tries once to end the generation as it was seen; if in vain, takes another look.
    bool endGeneration(std::uint32_t& seen) noexcept {
        const std::uint32_t next = (seen & ~(posted | awaited)) + oneGeneration;
        return word.compare_exchange_strong(seen, next, std::memory_order_seq_cst,
                                            std::memory_order_acquire);
    }

    // Waits until the word is another than that of a generation that is not posted.
    DWORD waitForEnd(std::uint32_t generation, DWORD milliseconds, Sharing sharing) noexcept;
    DWORD sleep(std::uint32_t generation, const SleepLimit& limit, Sharing sharing) noexcept;
    bool over(std::uint32_t generation) const noexcept {
        return (word.load(std::memory_order_acquire) & ~awaited) != generation;
    }
    bool overWhileLooking(std::uint32_t generation) const noexcept;

    std::atomic<std::uint32_t> word{0};
};

}  // namespace Sorvex::platform
