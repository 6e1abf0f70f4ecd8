// How an operation of the service manager ends early: an error number that travels up to the
// operation and becomes the thread's last error there. It never leaves the layer.
#pragma once

#include <cerrno>
#include <exception>
#include <new>

#include "platform/posix/base/errors.h"

namespace Sorvex::platform::services {

struct Refusal {
    DWORD error;
};

[[noreturn]] inline void refuse(DWORD error) {
    throw Refusal{error};
}

[[noreturn]] inline void refuseWithErrno() {
    throw Refusal{errorFromErrno(errno)};
}

/// Passes on a failure for want of resources, which tells nothing of what was looked at.
inline void passOnShortage(const Refusal& refusal) {
    if (refusal.error == ERROR_TOO_MANY_OPEN_FILES || refusal.error == ERROR_NOT_ENOUGH_MEMORY)
        throw refusal;
}

/// Runs the body of an operation; what leaves it early becomes the last error.
template <typename Result, typename Body>
Result answering(Result failed, Body body) {
    try {
        return body();
    } catch (const Refusal& refusal) {
        SetLastError(refusal.error);
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    } catch (const std::exception&) {
        // The standard library's threads and locks fail for want of resources alone.
        SetLastError(ERROR_NO_SYSTEM_RESOURCES);
    }
    return failed;
}

}  // namespace Sorvex::platform::services
