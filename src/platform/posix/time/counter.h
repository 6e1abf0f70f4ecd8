// The platform's finest counter.
#ifndef SORVEX_PLATFORM_POSIX_TIME_COUNTER_H
#define SORVEX_PLATFORM_POSIX_TIME_COUNTER_H

#include <cstdint>

#include "platform/posix/base/types.h"

namespace Sorvex::platform {

struct LARGE_INTEGER {
    std::int64_t QuadPart;
};

/// Reads a counter that runs up steadily, in the same ticks on every processor: the processor's own
/// where the host trusts it, else the nanoseconds of the clock that nobody can set.
BOOL QueryPerformanceCounter(LARGE_INTEGER* counter) noexcept;

}  // namespace Sorvex::platform

#endif
