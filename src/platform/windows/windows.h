// Brings the system's own operations into the library's namespace.
#ifndef SORVEX_PLATFORM_WINDOWS_WINDOWS_H
#define SORVEX_PLATFORM_WINDOWS_WINDOWS_H

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

namespace Sorvex::platform {

using ::BOOL;
using ::CloseHandle;
using ::DWORD;
using ::FILETIME;
using ::FileTimeToLocalFileTime;
using ::FileTimeToSystemTime;
using ::FormatMessageA;
using ::GetLastError;
using ::HANDLE;
using ::LocalFree;
using ::SetLastError;
using ::Sleep;
using ::SYSTEMTIME;
using ::SystemTimeToFileTime;
using ::WaitForSingleObject;

}  // namespace Sorvex::platform

#endif
