#include "platform/posix/handles.h"

#include "platform/posix/errors.h"
#include "platform/posix/events.h"

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
    auto& object = *static_cast<HandleObject*>(handle);
    // A wait for a posted event takes less time than the way through the table.
    if (object.objectKind == HandleObject::Kind::event) [[likely]]
        return waitForEvent(object, milliseconds);
    return object.wait(milliseconds);
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
