// The wait for anything that can be waited for.
#pragma once

#include "platform/posix/base/types.h"

namespace Sorvex::platform {

/// Waits until the object is signalled, at most the given milliseconds (INFINITE: without limit).
///
/// @return WAIT_OBJECT_0, WAIT_TIMEOUT, or WAIT_FAILED with the last error set
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

}  // namespace Sorvex::platform
