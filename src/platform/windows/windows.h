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

using ::_access;
using ::_chmod;
using ::_ftime;
using ::_fullpath;
using ::_mkdir;
using ::_rmdir;
using ::_stat;
using ::_timeb;
using ::BOOL;
using ::BYTE;
using ::ChangeServiceConfigA;
using ::CloseHandle;
using ::CloseServiceHandle;
using ::ControlService;
using ::CopyFileA;
using ::CreateEventA;
using ::CreateServiceA;
using ::CreateThread;
using ::CRITICAL_SECTION;
using ::DeleteCriticalSection;
using ::DeleteService;
using ::DWORD;
using ::EnterCriticalSection;
using ::fclose;
using ::feof;
using ::ferror;
using ::fflush;
using ::FILE;
using ::FILETIME;
using ::FileTimeToLocalFileTime;
using ::FileTimeToSystemTime;
using ::FindClose;
using ::fopen;
using ::FormatMessageA;
using ::fread;
using ::fseek;
using ::ftell;
using ::fwrite;
using ::GetCurrentThreadId;
using ::GetFileVersionInfoA;
using ::GetFileVersionInfoSizeA;
using ::GetLastError;
using ::GetModuleFileNameA;
using ::GetServiceDisplayNameA;
using ::GetServiceKeyNameA;
using ::GetSystemTime;
using ::GetThreadPriority;
using ::GetThreadTimes;
using ::HANDLE;
using ::HMODULE;
using ::InitializeCriticalSection;
using ::LARGE_INTEGER;
using ::LeaveCriticalSection;
using ::LocalFree;
using ::LogonUserA;
using ::MEMORY_BASIC_INFORMATION;
using ::MultiByteToWideChar;
using ::NET_API_STATUS;
using ::NetApiBufferFree;
using ::NetUserGetGroups;
using ::NetUserGetLocalGroups;
using ::OpenEventA;
using ::OpenSCManagerA;
using ::OpenServiceA;
using ::PulseEvent;
using ::QueryPerformanceCounter;
using ::QueryServiceStatus;
using ::RegisterServiceCtrlHandlerA;
using ::remove;
using ::rename;
using ::ResetEvent;
using ::SC_HANDLE;
using ::SERVICE_STATUS_HANDLE;
using ::SERVICE_TABLE_ENTRYA;
using ::SetEvent;
using ::SetLastError;
using ::SetServiceStatus;
using ::SetThreadPriority;
using ::Sleep;
using ::StartServiceA;
using ::StartServiceCtrlDispatcherA;
using ::SYSTEMTIME;
using ::SystemTimeToFileTime;
using ::TerminateThread;
using ::timeGetTime;
using ::UINT;
using ::VerQueryValueA;
using ::VirtualQuery;
using ::VS_FIXEDFILEINFO;
using ::WaitForSingleObject;
using ::WCHAR;
using ::WideCharToMultiByte;
using ::WIN32_FIND_DATAA;

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
