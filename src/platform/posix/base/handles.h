// What a HANDLE stands for, and its end.
#pragma once

#include "platform/posix/base/types.h"

namespace Sorvex::platform {

/// The object behind a HANDLE: a HANDLE is a pointer to this base. Its destructor closes it.
class HandleObject {
public:
    HandleObject() = default;
    virtual ~HandleObject();

    HandleObject(const HandleObject&) = delete;
    HandleObject& operator=(const HandleObject&) = delete;

    /// Waits as WaitForSingleObject tells. What can't be waited for fails with
    /// ERROR_INVALID_HANDLE.
    virtual DWORD wait(DWORD milliseconds);
};

/// Gives up a handle; 0 with ERROR_INVALID_HANDLE for null.
BOOL CloseHandle(HANDLE handle);

}  // namespace Sorvex::platform
