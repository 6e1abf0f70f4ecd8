#include "platform/posix/base/errors.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace Sorvex::platform {

namespace {

// Reached without a call into the loader, since many cheap operations set it. It is small enough
// for the room that the loader keeps for libraries loaded later.
[[gnu::tls_model("initial-exec")]] thread_local DWORD lastError = ERROR_SUCCESS;

struct ErrnoMapping {
    int number;
    DWORD error;
};

constexpr ErrnoMapping errnoMappings[] = {
    {0, ERROR_SUCCESS},
    {EPERM, ERROR_ACCESS_DENIED},
    {ENOENT, ERROR_FILE_NOT_FOUND},
    {EIO, ERROR_IO_DEVICE},
    {ENXIO, ERROR_FILE_NOT_FOUND},
    {ENOEXEC, ERROR_BAD_EXE_FORMAT},
    {EBADF, ERROR_INVALID_HANDLE},
    {EAGAIN, ERROR_NO_SYSTEM_RESOURCES},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {EACCES, ERROR_ACCESS_DENIED},
    {EFAULT, ERROR_NOACCESS},
    {EBUSY, ERROR_BUSY},
    {EEXIST, ERROR_ALREADY_EXISTS},
    {EXDEV, ERROR_NOT_SAME_DEVICE},
    {ENODEV, ERROR_NOT_SUPPORTED},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {EISDIR, ERROR_ACCESS_DENIED},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ETXTBSY, ERROR_SHARING_VIOLATION},
    {EFBIG, ERROR_FILE_TOO_LARGE},
    {ENOSPC, ERROR_DISK_FULL},
    {EDQUOT, ERROR_DISK_FULL},
    {EROFS, ERROR_WRITE_PROTECT},
    {EMLINK, ERROR_TOO_MANY_LINKS},
    {EPIPE, ERROR_BROKEN_PIPE},
    {ERANGE, ERROR_INSUFFICIENT_BUFFER},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
    {ENOSYS, ERROR_NOT_SUPPORTED},
    {EOPNOTSUPP, ERROR_NOT_SUPPORTED},
    {ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
    {ELOOP, ERROR_CANT_RESOLVE_FILENAME},
    {EOVERFLOW, ERROR_ARITHMETIC_OVERFLOW},
    {ETIMEDOUT, ERROR_TIMEOUT},
};

struct SystemText {
    DWORD error;
    const char* text;
};

// In rising order of the numbers, since it is searched by halves.
constexpr SystemText systemTexts[] = {
    {0, "The operation completed successfully.\r\n"},
    {1, "Incorrect function.\r\n"},
    {2, "The system cannot find the file specified.\r\n"},
    {3, "The system cannot find the path specified.\r\n"},
    {4, "The system cannot open the file.\r\n"},
    {5, "Access is denied.\r\n"},
    {6, "The handle is invalid.\r\n"},
    {8, "Not enough memory resources are available to process this command.\r\n"},
    {12, "The access code is invalid.\r\n"},
    {13, "The data is invalid.\r\n"},
    {14, "Not enough memory resources are available to complete this operation.\r\n"},
    {15, "The system cannot find the drive specified.\r\n"},
    {16, "The directory cannot be removed.\r\n"},
    {17, "The system cannot move the file to a different disk drive.\r\n"},
    {18, "There are no more files.\r\n"},
    {19, "The media is write protected.\r\n"},
    {31, "A device attached to the system is not functioning.\r\n"},
    {32, "The process cannot access the file because it is being used by another process.\r\n"},
    {38, "Reached the end of the file.\r\n"},
    {39, "The disk is full.\r\n"},
    {50, "The request is not supported.\r\n"},
    {53, "The network path was not found.\r\n"},
    {80, "The file exists.\r\n"},
    {82, "The directory or file cannot be created.\r\n"},
    {87, "The parameter is incorrect.\r\n"},
    {109, "The pipe has been ended.\r\n"},
    {111, "The file name is too long.\r\n"},
    {112, "There is not enough space on the disk.\r\n"},
    {122, "The data area passed to a system call is too small.\r\n"},
    {123, "The filename, directory name, or volume label syntax is incorrect.\r\n"},
    {126, "The specified module could not be found.\r\n"},
    {127, "The specified procedure could not be found.\r\n"},
    {145, "The directory is not empty.\r\n"},
    {161, "The specified path is invalid.\r\n"},
    {170, "The requested resource is in use.\r\n"},
    {183, "Cannot create a file when that file already exists.\r\n"},
    {193, "%1 is not a valid Win32 application.\r\n"},
    {206, "The filename or extension is too long.\r\n"},
    {223, "The file size exceeds the limit allowed and cannot be saved.\r\n"},
    {234, "More data is available.\r\n"},
    {258, "The wait operation timed out.\r\n"},
    {259, "No more data is available.\r\n"},
    {267, "The directory name is invalid.\r\n"},
    {317,
     "The system cannot find message text for message number 0x%1 in the message file for %2.\r\n"},
    {487, "Attempt to access invalid address.\r\n"},
    {534, "Arithmetic result exceeded 32 bits.\r\n"},
    {998, "Invalid access to memory location.\r\n"},
    {1051,
     "A stop control has been sent to a service that other running services are dependent on.\r\n"},
    {1052, "The requested control is not valid for this service.\r\n"},
    {1053, "The service did not respond to the start or control request in a timely fashion.\r\n"},
    {1054, "A thread could not be created for the service.\r\n"},
    {1055, "The service database is locked.\r\n"},
    {1056, "An instance of the service is already running.\r\n"},
    {1057,
     "The account name is invalid or does not exist, or the password is invalid for the account "
     "name specified.\r\n"},
    {1058,
     "The service cannot be started, either because it is disabled or because it has no enabled "
     "devices associated with it.\r\n"},
    {1059, "Circular service dependency was specified.\r\n"},
    {1060, "The specified service does not exist as an installed service.\r\n"},
    {1061, "The service cannot accept control messages at this time.\r\n"},
    {1062, "The service has not been started.\r\n"},
    {1063, "The service process could not connect to the service controller.\r\n"},
    {1064, "An exception occurred in the service when handling the control request.\r\n"},
    {1065, "The database specified does not exist.\r\n"},
    {1066, "The service has returned a service-specific error code.\r\n"},
    {1067, "The process terminated unexpectedly.\r\n"},
    {1068, "The dependency service or group failed to start.\r\n"},
    {1069, "The service did not start due to a logon failure.\r\n"},
    {1070, "After starting, the service hung in a start-pending state.\r\n"},
    {1072, "The specified service has been marked for deletion.\r\n"},
    {1073, "The specified service already exists.\r\n"},
    {1075, "The dependency service does not exist or has been marked for deletion.\r\n"},
    {1077, "No attempts to start the service have been made since the last boot.\r\n"},
    {1078, "The name is already in use as either a service name or a service display name.\r\n"},
    {1079,
     "The account specified for this service is different from the account specified for other "
     "services running in the same process.\r\n"},
    {1083,
     "The executable program that this service is configured to run in does not implement the "
     "service.\r\n"},
    {1113, "No mapping for the Unicode character exists in the target multi-byte code page.\r\n"},
    {1117, "The request could not be performed because of an I/O device error.\r\n"},
    {1142, "An attempt was made to create more links on a file than the file system supports.\r\n"},
    {1314, "A required privilege is not held by the client.\r\n"},
    {1317, "The specified account does not exist.\r\n"},
    {1326, "The user name or password is incorrect.\r\n"},
    {1327,
     "Account restrictions are preventing this user from signing in. For example: blank passwords "
     "aren't allowed, sign-in times are limited, or a policy restriction has been enforced.\r\n"},
    {1330, "The password for this account has expired.\r\n"},
    {1331, "This user can't sign in because this account is currently disabled.\r\n"},
    {1332, "No mapping between account names and security IDs was done.\r\n"},
    {1359, "An internal error occurred.\r\n"},
    {1392, "The file or directory is corrupted and unreadable.\r\n"},
    {1450, "Insufficient system resources exist to complete the requested service.\r\n"},
    {1460, "This operation returned because the timeout period expired.\r\n"},
    {1722, "The RPC server is unavailable.\r\n"},
    {1793, "The user's account has expired.\r\n"},
    {1812, "The specified image file did not contain a resource section.\r\n"},
    {1813, "The specified resource type cannot be found in the image file.\r\n"},
    {1814, "The specified resource name cannot be found in the image file.\r\n"},
    {1815, "The specified resource language ID cannot be found in the image file.\r\n"},
    {1920, "The file cannot be accessed by the system.\r\n"},
    {1921, "The name of the file cannot be resolved by the system.\r\n"},
    {2202, "The specified username is invalid.\r\n"},
    {2221, "The user name could not be found.\r\n"},
};

const char* systemText(DWORD error) noexcept {
    const SystemText* found = std::lower_bound(
        std::begin(systemTexts), std::end(systemTexts), error,
        [](const SystemText& entry, DWORD number) { return entry.error < number; });
    return found != std::end(systemTexts) && found->error == error ? found->text : nullptr;
}

constexpr DWORD supportedFlags =
    FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;

}  // namespace

DWORD GetLastError() noexcept {
    return lastError;
}

void SetLastError(DWORD error) noexcept {
    lastError = error;
}

DWORD errorFromErrno(int number) noexcept {
    const ErrnoMapping* found =
        std::find_if(std::begin(errnoMappings), std::end(errnoMappings),
                     [number](const ErrnoMapping& mapping) { return mapping.number == number; });
    return found != std::end(errnoMappings) ? found->error : ERROR_GEN_FAILURE;
}

DWORD FormatMessageA(DWORD flags, const void* /*source*/, DWORD error, DWORD /*language*/,
                     char* buffer, DWORD /*size*/, void* /*arguments*/) {
    if (flags != supportedFlags)
        return failWith(ERROR_INVALID_PARAMETER);
    const char* text = systemText(error);
    if (text == nullptr)
        return failWith(ERROR_MR_MID_NOT_FOUND);
    const std::size_t length = std::strlen(text);
    auto* block = static_cast<char*>(std::malloc(length + 1));
    if (block == nullptr)
        return failWith(ERROR_NOT_ENOUGH_MEMORY);
    std::memcpy(block, text, length + 1);
    *reinterpret_cast<char**>(buffer) = block;
    return static_cast<DWORD>(length);
}

void* LocalFree(void* block) {
    std::free(block);
    return nullptr;
}

}  // namespace Sorvex::platform
