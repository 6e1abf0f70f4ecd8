#include "platform/posix/events/event_state.h"

#include <algorithm>
#include <bit>

namespace Sorvex::platform {

namespace {

// Processes of both widths map the same word, and nothing may be locked behind it.
static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
static_assert(sizeof(EventState) == 8);
static_assert(alignof(EventState) == 8);
static_assert(std::endian::native == std::endian::little);

// How often in a row this thread has looked in vain before it slept.
[[gnu::tls_model("initial-exec")]] constinit thread_local unsigned lookedInVain = 0;

// Looking pays where the poster runs on another processor at the same time. Where it does not, it
// keeps the poster from running, so a thread that has no luck tries again ever more rarely; then
// for as long as it takes to wake the poster, since two threads that both sleep each time would
// never find each other awake.
unsigned worthwhileLooks() noexcept {
    constexpr unsigned patience = 4;
    constexpr unsigned shortestInterval = 64;
    constexpr unsigned longestInterval = 4096;
    constexpr unsigned retryLength = 8;
    if (lookedInVain < patience)
        return spinLimit();
    const unsigned interval =
        std::bit_floor(std::clamp(lookedInVain, shortestInterval, longestInterval));
    return lookedInVain % interval == 0 ? retryLength * spinLimit() : 0;
}

}  // namespace

bool EventState::fencePosts(std::uint64_t& seen) noexcept {
    if (postsOnlyLook(seen)) {
        const std::uint64_t stopped = (seen & ~onlyLook) | fenceDue;
        if (!word.compare_exchange_strong(seen, stopped, std::memory_order_seq_cst,
                                          std::memory_order_acquire))
            return false;
        seen = stopped;
    }
    // Others who end the generation meanwhile don't rely on this fence, whose thread may be killed
    // on the way, but make their own.
    fenceProcess();
    return true;
}

DWORD EventState::waitForEnd(std::uint32_t generation, DWORD milliseconds,
                             Sharing sharing) noexcept {
    if (milliseconds == 0)
        return WAIT_TIMEOUT;
    const Deadline deadline(milliseconds);
    return overWhileLooking(generation) ? WAIT_OBJECT_0 : sleep(generation, deadline, sharing);
}

DWORD EventState::sleep(std::uint32_t generation, const Deadline& deadline,
                        Sharing sharing) noexcept {
    word.fetch_add(oneSleeper, std::memory_order_seq_cst);
    if (over(generation))
        lookedInVain = 0;  // a moment more would have been enough
    bool inTime = true;
    while (inTime && !over(generation))
        inTime = futexWait(lowerHalf(), generation, sharing, deadline);
    const std::uint64_t last = word.fetch_sub(oneSleeper, std::memory_order_acq_rel);
    return lower(last) != generation ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

bool EventState::over(std::uint32_t generation) const noexcept {
    return lower(word.load(std::memory_order_acquire)) != generation;
}

bool EventState::overWhileLooking(std::uint32_t generation) const noexcept {
    for (unsigned left = worthwhileLooks(); left != 0; --left) {
        if (over(generation)) {
            lookedInVain = 0;
            return true;
        }
        spinPause();
    }
    ++lookedInVain;
    return false;
}

}  // namespace Sorvex::platform
