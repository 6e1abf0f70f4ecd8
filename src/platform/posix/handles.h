// What a HANDLE stands for, and the operations that take any of them.
#ifndef SORVEX_PLATFORM_POSIX_HANDLES_H
#define SORVEX_PLATFORM_POSIX_HANDLES_H

#include <cstdint>

#include "platform/posix/types.h"

namespace Sorvex {

constexpr platform::DWORD INFINITE = 0xFFFFFFFF;
constexpr platform::DWORD WAIT_OBJECT_0 = 0;
constexpr platform::DWORD WAIT_TIMEOUT = 258;
constexpr platform::DWORD WAIT_FAILED = 0xFFFFFFFF;

}  // namespace Sorvex

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

/// Waits until the object is signalled, at most the given milliseconds (INFINITE: without limit).
///
/// @return WAIT_OBJECT_0, WAIT_TIMEOUT, or WAIT_FAILED with the last error set
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

/// Gives up a handle; 0 with ERROR_INVALID_HANDLE for null.
BOOL CloseHandle(HANDLE handle);

}  // namespace Sorvex::platform

#endif
