// The state of one event, in memory that one process or several look at.
#ifndef SORVEX_PLATFORM_POSIX_EVENTS_EVENT_STATE_H
#define SORVEX_PLATFORM_POSIX_EVENTS_EVENT_STATE_H

#include <atomic>
#include <cstdint>

#include "platform/posix/base/futex.h"
#include "platform/posix/base/handles.h"
#include "platform/posix/base/types.h"
#include "platform/posix/events/process_fence.h"

namespace Sorvex::platform {

/// A manual-reset event in one 64-bit word.
///
/// Bit 0 says that the event is posted, bits 1 to 31 count its generations. The upper half counts
/// the threads that sleep on the lower one, and how often the event was posted anew. A generation
/// ends when a posted event is reset and at each pulse: a waiter passes when it finds the event
/// posted or its generation over, and so it can't miss a post that is taken back before it runs.
/// The count is 31 bits wide; a waiter would have to stand still for exactly two thousand million
/// pulses to be deceived.
///
/// Whoever finds sleepers leaves the change and the waking to the kernel as one step; nothing else
/// is ever half done when a process is killed. A sleeper that is killed stays counted, which costs
/// later posts a system call and nothing more.
///
/// Whoever resets an event must afterwards see what was written before any post that found it
/// posted. So such a post writes as well, which orders it before the reset, until it has been done
/// so often that the writing costs more than the other way: from then on posts only look, and the
/// one reset at the end has the kernel fence all threads.
///
/// All zero bytes are an event that is not posted.
class EventState {
public:
    /// Sets the event to posted. Touches nothing once the event can be seen as posted, so that a
    /// thread that it lets through may release the memory.
    void post(Sharing sharing) noexcept {
        // The fence for those who only look is the resetter's. The compiler has to keep the order.
        std::atomic_signal_fence(std::memory_order_seq_cst);
        std::uint64_t seen = word.load(std::memory_order_relaxed);
        do {
            if (postsOnlyLook(seen))
                return;
            // While the event is posted nobody goes to sleep, and those who slept are awake.
            if (!isPosted(seen) && hasSleepers(seen)) {
                futexChangeAndWakeAll(lowerHalf(), WordChange::setBits, posted, sharing);
                return;
            }
        } while (!word.compare_exchange_weak(seen, (seen | posted) + counted(seen, sharing),
                                             std::memory_order_seq_cst, std::memory_order_relaxed));
    }

    /// Sets the event to not posted; who was waiting while it was posted passes none the less.
    void reset() noexcept {
        std::uint64_t seen = word.load(std::memory_order_acquire);
        while (isPosted(seen) && !endGeneration(seen)) {}
    }

    /// Lets through the threads that wait at this moment and leaves the event not posted.
    void pulse(Sharing sharing) noexcept {
        std::uint64_t seen = word.load(std::memory_order_acquire);
        do {
            if (!isPosted(seen) && hasSleepers(seen)) {
                futexChangeAndWakeAll(lowerHalf(), WordChange::add, oneGeneration, sharing);
                return;
            }
        } while (!endGeneration(seen));
    }

    /// Waits until the event is posted or pulsed.
    ///
    /// @return WAIT_OBJECT_0 or WAIT_TIMEOUT
    DWORD wait(DWORD milliseconds, Sharing sharing) noexcept {
        const std::uint64_t seen = word.load(std::memory_order_acquire);
        if (isPosted(seen)) [[likely]]
            return WAIT_OBJECT_0;
        return waitForEnd(lower(seen), milliseconds, sharing);
    }

private:
    static constexpr std::uint32_t posted = 1;
    static constexpr std::uint32_t oneGeneration = 2;
    static constexpr std::uint64_t oneSleeper = std::uint64_t{1} << 32U;
    // More than the kernel makes threads.
    static constexpr std::uint64_t allSleepers = std::uint64_t{0x7FFFFF} << 32U;

    // What follows is 0 while the event is not posted.
    //
    // Posts write again, but threads that have only looked before may still be behind with what
    // they wrote.
    static constexpr std::uint64_t fenceDue = std::uint64_t{1} << 55U;
    // After 128 the count runs into the bit that says that posts only look. So many locked writes
    // take about as long as the kernel's fence.
    static constexpr std::uint64_t oneRepeat = std::uint64_t{1} << 56U;
    static constexpr std::uint64_t onlyLook = std::uint64_t{1} << 63U;
    static constexpr std::uint64_t lastRepeat = onlyLook - oneRepeat;

    static constexpr std::uint32_t lower(std::uint64_t word) noexcept {
        return static_cast<std::uint32_t>(word);
    }
    static constexpr bool isPosted(std::uint64_t word) noexcept { return (word & posted) != 0; }
    static constexpr bool hasSleepers(std::uint64_t word) noexcept {
        return (word & allSleepers) != 0;
    }
    static constexpr bool postsOnlyLook(std::uint64_t word) noexcept {
        return (word & onlyLook) != 0;
    }

    // The word in its next generation and not posted. The lower half wraps by itself.
    static constexpr std::uint64_t nextGeneration(std::uint64_t word) noexcept {
        const std::uint32_t next = (lower(word) & ~posted) + oneGeneration;
        return (word & allSleepers) | next;
    }

    // What a post adds to the word for having been made. Posts never come to only look where other
    // processes use the event, or where this one can't be fenced; that is asked so late because the
    // answer can take milliseconds.
    static std::uint64_t counted(std::uint64_t seen, Sharing sharing) noexcept {
        if (sharing == Sharing::machine || (seen & fenceDue) != 0)
            return 0;
        return seen < lastRepeat || canFenceProcess() ? oneRepeat : 0;
    }

    // Tries once to end the generation as it was seen; if in vain, takes another look.
    bool endGeneration(std::uint64_t& seen) noexcept {
        if ((seen & (onlyLook | fenceDue)) != 0 && !fencePosts(seen))
            return false;
        return word.compare_exchange_strong(seen, nextGeneration(seen), std::memory_order_seq_cst,
                                            std::memory_order_acquire);
    }

    // Makes sure that all who only looked until now have done so, and that nobody goes on.
    bool fencePosts(std::uint64_t& seen) noexcept;

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
