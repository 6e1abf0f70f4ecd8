// The platform's error numbers, the calling thread's last one, and the system's texts for them.
#pragma once

#include <cerrno>

#include "platform/posix/base/types.h"

namespace Sorvex {

constexpr platform::DWORD ERROR_SUCCESS = 0;
constexpr platform::DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr platform::DWORD ERROR_PATH_NOT_FOUND = 3;
constexpr platform::DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr platform::DWORD ERROR_ACCESS_DENIED = 5;
constexpr platform::DWORD ERROR_INVALID_HANDLE = 6;
constexpr platform::DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr platform::DWORD ERROR_INVALID_DATA = 13;
constexpr platform::DWORD ERROR_NOT_SAME_DEVICE = 17;
constexpr platform::DWORD ERROR_NO_MORE_FILES = 18;
constexpr platform::DWORD ERROR_WRITE_PROTECT = 19;
constexpr platform::DWORD ERROR_GEN_FAILURE = 31;
constexpr platform::DWORD ERROR_SHARING_VIOLATION = 32;
constexpr platform::DWORD ERROR_NOT_SUPPORTED = 50;
constexpr platform::DWORD ERROR_FILE_EXISTS = 80;
constexpr platform::DWORD ERROR_INVALID_PARAMETER = 87;
constexpr platform::DWORD ERROR_BROKEN_PIPE = 109;
constexpr platform::DWORD ERROR_DISK_FULL = 112;
constexpr platform::DWORD ERROR_INSUFFICIENT_BUFFER = 122;
constexpr platform::DWORD ERROR_INVALID_NAME = 123;
constexpr platform::DWORD ERROR_MOD_NOT_FOUND = 126;
constexpr platform::DWORD ERROR_PROC_NOT_FOUND = 127;
constexpr platform::DWORD ERROR_DIR_NOT_EMPTY = 145;
constexpr platform::DWORD ERROR_BUSY = 170;
constexpr platform::DWORD ERROR_ALREADY_EXISTS = 183;
constexpr platform::DWORD ERROR_BAD_EXE_FORMAT = 193;
constexpr platform::DWORD ERROR_FILENAME_EXCED_RANGE = 206;
constexpr platform::DWORD ERROR_FILE_TOO_LARGE = 223;
constexpr platform::DWORD ERROR_MORE_DATA = 234;
constexpr platform::DWORD ERROR_MR_MID_NOT_FOUND = 317;
constexpr platform::DWORD ERROR_ARITHMETIC_OVERFLOW = 534;
constexpr platform::DWORD ERROR_NOACCESS = 998;
constexpr platform::DWORD ERROR_DEPENDENT_SERVICES_RUNNING = 1051;
constexpr platform::DWORD ERROR_INVALID_SERVICE_CONTROL = 1052;
constexpr platform::DWORD ERROR_SERVICE_REQUEST_TIMEOUT = 1053;
constexpr platform::DWORD ERROR_SERVICE_NO_THREAD = 1054;
constexpr platform::DWORD ERROR_SERVICE_DATABASE_LOCKED = 1055;
constexpr platform::DWORD ERROR_SERVICE_ALREADY_RUNNING = 1056;
constexpr platform::DWORD ERROR_SERVICE_DISABLED = 1058;
constexpr platform::DWORD ERROR_CIRCULAR_DEPENDENCY = 1059;
constexpr platform::DWORD ERROR_SERVICE_DOES_NOT_EXIST = 1060;
constexpr platform::DWORD ERROR_SERVICE_CANNOT_ACCEPT_CTRL = 1061;
constexpr platform::DWORD ERROR_SERVICE_NOT_ACTIVE = 1062;
constexpr platform::DWORD ERROR_FAILED_SERVICE_CONTROLLER_CONNECT = 1063;
constexpr platform::DWORD ERROR_DATABASE_DOES_NOT_EXIST = 1065;
constexpr platform::DWORD ERROR_SERVICE_SPECIFIC_ERROR = 1066;
constexpr platform::DWORD ERROR_PROCESS_ABORTED = 1067;
constexpr platform::DWORD ERROR_SERVICE_DEPENDENCY_FAIL = 1068;
constexpr platform::DWORD ERROR_SERVICE_LOGON_FAILED = 1069;
constexpr platform::DWORD ERROR_SERVICE_MARKED_FOR_DELETE = 1072;
constexpr platform::DWORD ERROR_SERVICE_EXISTS = 1073;
constexpr platform::DWORD ERROR_SERVICE_DEPENDENCY_DELETED = 1075;
constexpr platform::DWORD ERROR_SERVICE_NEVER_STARTED = 1077;
constexpr platform::DWORD ERROR_DUPLICATE_SERVICE_NAME = 1078;
constexpr platform::DWORD ERROR_SERVICE_NOT_IN_EXE = 1083;
constexpr platform::DWORD ERROR_IO_DEVICE = 1117;
constexpr platform::DWORD ERROR_TOO_MANY_LINKS = 1142;
constexpr platform::DWORD ERROR_PRIVILEGE_NOT_HELD = 1314;
constexpr platform::DWORD ERROR_LOGON_FAILURE = 1326;
constexpr platform::DWORD ERROR_ACCOUNT_RESTRICTION = 1327;
constexpr platform::DWORD ERROR_PASSWORD_EXPIRED = 1330;
constexpr platform::DWORD ERROR_ACCOUNT_DISABLED = 1331;
constexpr platform::DWORD ERROR_NO_SYSTEM_RESOURCES = 1450;
constexpr platform::DWORD ERROR_TIMEOUT = 1460;
constexpr platform::DWORD RPC_S_SERVER_UNAVAILABLE = 1722;
constexpr platform::DWORD ERROR_ACCOUNT_EXPIRED = 1793;
constexpr platform::DWORD ERROR_RESOURCE_DATA_NOT_FOUND = 1812;
constexpr platform::DWORD ERROR_RESOURCE_TYPE_NOT_FOUND = 1813;
constexpr platform::DWORD ERROR_RESOURCE_NAME_NOT_FOUND = 1814;
constexpr platform::DWORD ERROR_RESOURCE_LANG_NOT_FOUND = 1815;
constexpr platform::DWORD ERROR_CANT_RESOLVE_FILENAME = 1921;
constexpr platform::DWORD NERR_Success = 0;
constexpr platform::DWORD NERR_UserNotFound = 2221;

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
