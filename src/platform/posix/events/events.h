// Events: flags that threads and processes wait on.
#pragma once

#include "platform/posix/base/types.h"

namespace Sorvex {

constexpr platform::DWORD EVENT_ALL_ACCESS = 0x1F0003;

}  // namespace Sorvex

namespace Sorvex::platform {

/// Creates an event, or joins the one of that name, which keeps its state.
///
/// @param attributes not looked at
/// @param manualReset has to be set: the layer has no events that reset themselves
///     (ERROR_NOT_SUPPORTED)
/// @param name at most 259 characters of any kind; null or empty makes an event without a name
/// @return null on failure; the last error is 0 when the event is new and ERROR_ALREADY_EXISTS when
///     it was there
HANDLE CreateEventA(const void* attributes, BOOL manualReset, BOOL initialState, const char* name);

/// Joins the event of that name, with full access; null with ERROR_FILE_NOT_FOUND when there is
/// none.
HANDLE OpenEventA(DWORD access, BOOL inherit, const char* name);

/// Sets the event to posted.
BOOL SetEvent(HANDLE event);

/// Sets the event to not posted. Who was waiting while it was posted passes none the less.
BOOL ResetEvent(HANDLE event);

/// Lets through the threads that wait at this moment, and leaves the event not posted.
BOOL PulseEvent(HANDLE event);

/// Waits until an event, a thread or whatever can be waited for is signalled, at most the given
/// milliseconds (INFINITE: without limit).
///
/// @return WAIT_OBJECT_0, WAIT_TIMEOUT, or WAIT_FAILED with the last error set
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

}  // namespace Sorvex::platform
