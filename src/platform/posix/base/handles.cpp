#include "platform/posix/base/handles.h"

#include "platform/posix/base/errors.h"

namespace Sorvex::platform {

HandleObject::~HandleObject() = default;

DWORD HandleObject::wait(DWORD /*milliseconds*/) {
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}

BOOL CloseHandle(HANDLE handle) {
    if (handle == nullptr)
        return failWith(ERROR_INVALID_HANDLE);
    delete static_cast<HandleObject*>(handle);
    return TRUE;
}

}  // namespace Sorvex::platform
