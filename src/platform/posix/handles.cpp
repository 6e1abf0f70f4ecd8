#include "platform/posix/handles.h"

#include "platform/posix/errors.h"

namespace Sorvex::platform {

HandleObject::~HandleObject() = default;

DWORD HandleObject::wait(DWORD /*milliseconds*/) {
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    if (handle == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    return static_cast<HandleObject*>(handle)->wait(milliseconds);
}

BOOL CloseHandle(HANDLE handle) {
    if (handle == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    delete static_cast<HandleObject*>(handle);
    return TRUE;
}

}  // namespace Sorvex::platform
