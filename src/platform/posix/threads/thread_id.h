// The number of the calling thread.
#pragma once

#include "platform/posix/base/types.h"

namespace Sorvex::platform {

/// The host's number of the calling thread.
DWORD GetCurrentThreadId() noexcept;

}  // namespace Sorvex::platform
