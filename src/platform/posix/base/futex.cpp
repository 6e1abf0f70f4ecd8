#include "platform/posix/base/futex.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <ctime>

#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/posix/base/handles.h"

namespace Sorvex::platform {

namespace {

int flagFor(Sharing sharing) noexcept {
    return sharing == Sharing::process ? FUTEX_PRIVATE_FLAG : 0;
}

// About the time of one sleep and wake on current processors.
constexpr unsigned spinsWithCompany = 200;

unsigned measuredSpinLimit() noexcept {
    cpu_set_t allowed;
    const bool alone =
        sched_getaffinity(0, sizeof(allowed), &allowed) == 0 && CPU_COUNT(&allowed) == 1;
    return alone ? 0 : spinsWithCompany;
}

}  // namespace

SleepLimit::SleepLimit(DWORD milliseconds) noexcept : limited(milliseconds != INFINITE) {
    if (!limited)
        return;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    moment.seconds = static_cast<long>(now.tv_sec) + static_cast<long>(milliseconds / 1000);
    moment.nanoseconds = now.tv_nsec + static_cast<long>(milliseconds % 1000) * 1000000L;
    if (moment.nanoseconds >= 1000000000L) {
        moment.nanoseconds -= 1000000000L;
        ++moment.seconds;
    }
}

bool futexWait(const std::uint32_t* word, std::uint32_t expected, Sharing sharing,
               const SleepLimit& limit) noexcept {
    // The form with a bit set takes the moment itself, so that an interrupted wait can be taken up
    // again without measuring what is left of it.
    const long result = syscall(SYS_futex, word, FUTEX_WAIT_BITSET | flagFor(sharing), expected,
                                limit.kernelTime(), nullptr, FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno != ETIMEDOUT;
}

void futexWakeOne(const std::uint32_t* word) noexcept {
    syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

void futexWakeAll(const std::uint32_t* word) noexcept {
    syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

void futexChangeAndWakeAll(const std::uint32_t* word, WordChange change, int operand,
                           Sharing sharing) noexcept {
    const auto operation =
        static_cast<unsigned>(change == WordChange::setBits ? FUTEX_OP_OR : FUTEX_OP_ADD);
    // The operation can wake at a second word, under a condition; here it is the same word, whose
    // sleepers are all awake by then.
    const unsigned encoded = operation << 28U | static_cast<unsigned>(FUTEX_OP_CMP_EQ) << 24U |
                             static_cast<unsigned>(operand) << 12U;
    syscall(SYS_futex, word, FUTEX_WAKE_OP | flagFor(sharing), INT_MAX, 0L, word, encoded);
}

unsigned spinLimit() noexcept {
    constexpr unsigned unknown = UINT_MAX;
    static constinit std::atomic<unsigned> limit{unknown};
    unsigned known = limit.load(std::memory_order_relaxed);
    if (known == unknown) {
        known = measuredSpinLimit();
        limit.store(known, std::memory_order_relaxed);
    }
    return known;
}

}  // namespace Sorvex::platform
