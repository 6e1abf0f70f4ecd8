// System calls that signals interrupt.
#pragma once

#include <cerrno>

namespace Sorvex::platform {

/// Makes a system call again as long as a signal interrupts it (EINTR). Not for close, which has
/// done its work none the less.
template <typename Call>
auto retried(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}

}  // namespace Sorvex::platform
