// Brings the system's own operations into the library's namespace.
#pragma once

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <direct.h>
#include <io.h>
#include <lm.h>
#include <mmsystem.h>
#include <sys/stat.h>
#include <sys/timeb.h>
#include <winsvc.h>
#include <winver.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace Sorvex::platform {

// Types.
using ::BOOL, ::BYTE, ::CRITICAL_SECTION, ::DWORD, ::FILE, ::FILETIME, ::HANDLE, ::HMODULE,
    ::LARGE_INTEGER, ::MEMORY_BASIC_INFORMATION, ::NET_API_STATUS, ::SC_HANDLE,
    ::SERVICE_STATUS_HANDLE, ::SERVICE_TABLE_ENTRYA, ::SYSTEMTIME, ::UINT, ::VS_FIXEDFILEINFO,
    ::WCHAR, ::WIN32_FIND_DATAA, ::_timeb;

// Operations of the C runtime.
using ::_access, ::_chmod, ::_ftime, ::_fullpath, ::_mkdir, ::_rmdir, ::_stat, ::fclose, ::feof,
    ::ferror, ::fflush, ::fopen, ::fread, ::fseek, ::ftell, ::fwrite, ::remove, ::rename;

// Operations of the system.
using ::ChangeServiceConfigA, ::CloseHandle, ::CloseServiceHandle, ::ControlService, ::CopyFileA,
    ::CreateEventA, ::CreateServiceA, ::CreateThread, ::DeleteCriticalSection, ::DeleteService,
    ::EnterCriticalSection, ::FileTimeToLocalFileTime, ::FileTimeToSystemTime, ::FindClose,
    ::FormatMessageA, ::GetCurrentThreadId, ::GetFileVersionInfoA, ::GetFileVersionInfoSizeA,
    ::GetLastError, ::GetModuleFileNameA, ::GetServiceDisplayNameA, ::GetServiceKeyNameA,
    ::GetSystemTime, ::GetThreadPriority, ::GetThreadTimes, ::InitializeCriticalSection,
    ::LeaveCriticalSection, ::LocalFree, ::LogonUserA, ::MultiByteToWideChar, ::NetApiBufferFree,
    ::NetUserGetGroups, ::NetUserGetLocalGroups, ::OpenEventA, ::OpenSCManagerA, ::OpenServiceA,
    ::PulseEvent, ::QueryPerformanceCounter, ::QueryServiceStatus, ::RegisterServiceCtrlHandlerA,
    ::ResetEvent, ::SetEvent, ::SetLastError, ::SetServiceStatus, ::SetThreadPriority, ::Sleep,
    ::StartServiceA, ::StartServiceCtrlDispatcherA, ::SystemTimeToFileTime, ::TerminateThread,
    ::timeGetTime, ::VerQueryValueA, ::VirtualQuery, ::WaitForSingleObject, ::WideCharToMultiByte;

using StatRecord = struct ::_stat;

/// Tells whether anything has a name, be it a link that leads nowhere.
inline bool isTaken(const char* name) {
    return _access(name, 0) == 0;
}

/// Tells whether two names are those of one entry, however they are spelled.
inline bool leadsTo(const char* first, const char* second) {
    char firstName[MAX_PATH];
    char secondName[MAX_PATH];
    return _fullpath(firstName, first, sizeof firstName) != nullptr &&
           _fullpath(secondName, second, sizeof secondName) != nullptr &&
           _stricmp(firstName, secondName) == 0;
}

/// Appends what stands before the next line feed, without carriage returns and form feeds, and
/// takes the line feed too.
///
/// @return whether there was a line feed; otherwise the file has ended or a read has failed
inline bool appendLine(FILE* file, std::string& line) {
    _lock_file(file);
    int character = _getc_nolock(file);
    for (; character != EOF && character != '\n'; character = _getc_nolock(file))
        if (character != '\r' && character != '\f')
            line += static_cast<char>(character);
    _unlock_file(file);
    return character == '\n';
}

}  // namespace Sorvex::platform
