// The platform's clocks.
#ifndef SORVEX_PLATFORM_POSIX_TIME_H
#define SORVEX_PLATFORM_POSIX_TIME_H

#include "platform/posix/types.h"

namespace Sorvex::platform {

/// Suspends the calling thread; 0 ms gives up the rest of its turn, INFINITE never returns.
void Sleep(DWORD milliseconds);

}  // namespace Sorvex::platform

#endif
