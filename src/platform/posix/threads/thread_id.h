// The number of the calling thread.
#ifndef SORVEX_PLATFORM_POSIX_THREADS_THREAD_ID_H
#define SORVEX_PLATFORM_POSIX_THREADS_THREAD_ID_H

#include "platform/posix/base/types.h"

namespace Sorvex::platform {

/// The host's number of the calling thread.
DWORD GetCurrentThreadId() noexcept;

}  // namespace Sorvex::platform

#endif
