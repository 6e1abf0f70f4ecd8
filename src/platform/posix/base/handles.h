// What a HANDLE stands for, and its end.
#pragma once

#include <cstdint>

#include "platform/posix/base/types.h"

namespace Sorvex::platform {

/// The object behind a HANDLE: a HANDLE is a pointer to this base. Its destructor closes it.
class HandleObject {
public:
    /// Tells events from the rest faster than the type information does.
    enum class Kind : std::uint8_t { other, event };

    explicit HandleObject(Kind ofObject = Kind::other) noexcept : objectKind(ofObject) {}
    virtual ~HandleObject();

    HandleObject(const HandleObject&) = delete;
    HandleObject& operator=(const HandleObject&) = delete;

    /// Waits as WaitForSingleObject tells. What can't be waited for fails with
    /// ERROR_INVALID_HANDLE.
    virtual DWORD wait(DWORD milliseconds);

    const Kind objectKind;
};

/// Gives up a handle; 0 with ERROR_INVALID_HANDLE for null.
BOOL CloseHandle(HANDLE handle);

}  // namespace Sorvex::platform
