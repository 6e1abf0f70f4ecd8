#include "platform/posix/events/process_fence.h"

#include <atomic>
#include <ctime>

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Sorvex::platform {

namespace {

bool membarrier(int command) noexcept {
    return syscall(SYS_membarrier, command, 0, 0) == 0;
}

}  // namespace

bool canFenceProcess() noexcept {
    enum : int { unknown, no, yes };
    static constinit std::atomic<int> answer{unknown};
    int known = answer.load(std::memory_order_relaxed);
    if (known == unknown) {
        known = membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED) ? yes : no;
        answer.store(known, std::memory_order_relaxed);
    }
    return known == yes;
}

void fenceProcess() noexcept {
    if (membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED))
        return;
    // A process can deny itself the call later on. What a processor holds back reaches the others
    // by itself within a fraction of this time.
    constexpr timespec longEnough{0, 1000000};
    clock_nanosleep(CLOCK_MONOTONIC, 0, &longEnough, nullptr);
}

}  // namespace Sorvex::platform
