#include "platform/posix/services/locks.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

#include "platform/posix/base/retried.h"
#include "platform/posix/services/limits.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

FileLock tryLock(Descriptor file, int kind) {
    if (retried([&] { return flock(file.get(), kind | LOCK_NB); }) == 0)
        return FileLock(std::move(file));
    if (errno != EWOULDBLOCK)
        refuseWithErrno();
    return {};
}

FileLock waitForLock(Descriptor file, int kind) {
    constexpr std::chrono::microseconds longestPause{4000};
    std::chrono::microseconds pause{100};
    const TimeLimit deadline(responseLimit());
    while (retried([&] { return flock(file.get(), kind | LOCK_NB); }) != 0) {
        if (errno != EWOULDBLOCK)
            refuseWithErrno();
        if (deadline.isOver())
            refuse(ERROR_SERVICE_DATABASE_LOCKED);
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, longestPause);
    }
    return FileLock(std::move(file));
}

}  // namespace Sorvex::platform::services
