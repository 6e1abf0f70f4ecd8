#include "platform/posix/events/event_state.h"

#include <algorithm>
#include <bit>

namespace Sorvex::platform {

namespace {

// Other processes map the same word, and nothing may be locked behind it.
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);
static_assert(sizeof(EventState) == sizeof(std::uint32_t));

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

DWORD EventState::waitForEnd(std::uint32_t generation, DWORD milliseconds,
                             Sharing sharing) noexcept {
    if (milliseconds == 0)
        return WAIT_TIMEOUT;
    const SleepLimit limit(milliseconds);
    if (overWhileLooking(generation))
        return WAIT_OBJECT_0;
    if (over(generation))
        lookedInVain = 0;  // a moment more would have been enough
    return sleep(generation, limit, sharing);
}

DWORD EventState::sleep(std::uint32_t generation, const SleepLimit& limit,
                        Sharing sharing) noexcept {
    std::uint32_t seen = word.load(std::memory_order_acquire);
    for (bool inTime = true; (seen & ~awaited) == generation;) {
        if (!inTime)
            return WAIT_TIMEOUT;
        if ((seen & awaited) == 0 &&
            !word.compare_exchange_weak(seen, seen | awaited, std::memory_order_seq_cst,
                                        std::memory_order_acquire))
            continue;
        inTime = futexWait(wordOf(word), generation | awaited, sharing, limit);
        seen = word.load(std::memory_order_acquire);
    }
    return WAIT_OBJECT_0;
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
