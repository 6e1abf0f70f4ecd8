// The calling thread's last error, and the system's texts for error numbers.
#pragma once

#include <cerrno>

#include "platform/posix/base/error_codes.h"
#include "platform/posix/base/types.h"

namespace Sorvex {

constexpr platform::DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x100;
constexpr platform::DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x200;
constexpr platform::DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;

}  // namespace Sorvex

namespace Sorvex::platform {

/// The last error of the calling thread. A successful operation leaves it as it was.
DWORD GetLastError() noexcept;

void SetLastError(DWORD error) noexcept;

/// The platform's number for a value of errno.
DWORD errorFromErrno(int number) noexcept;

/// What an operation gives when it fails: 0, false or null.
struct NoResult {
    template <typename Result>
    constexpr operator Result() const noexcept {
        return Result{};
    }
};

/// Sets the last error on the way out of an operation.
inline NoResult failWith(DWORD error) noexcept {
    SetLastError(error);
    return {};
}

/// The same by the present errno, which stays as it is.
inline NoResult failWithErrno() noexcept {
    return failWith(errorFromErrno(errno));
}

/// Gives the system's English text for an error number in a block that LocalFree releases.
///
/// @param buffer in truth a char**, as on the platform, since the text is always allocated
/// @return the length of the text; 0 with the last error set when the number is unknown
///     (ERROR_MR_MID_NOT_FOUND), memory is short, or the flags are not the three above
DWORD FormatMessageA(DWORD flags, const void* source, DWORD error, DWORD language, char* buffer,
                     DWORD size, void* arguments);

/// Releases a block that the platform allocated for its caller, and returns null.
void* LocalFree(void* block);

}  // namespace Sorvex::platform
