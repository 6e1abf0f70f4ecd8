// The platform's threads.
#pragma once

#include <cstddef>

#include "platform/posix/base/types.h"
#include "platform/posix/threads/thread_id.h"
#include "platform/posix/threads/thread_types.h"
#include "platform/posix/time/file_times.h"

namespace Sorvex::platform {

/// Starts a thread, which runs at once.
///
/// The thread goes on when its handle is closed. It ends when the routine returns, when it leaves
/// through pthread_exit, or by TerminateThread; an exception that leaves the routine ends the
/// process.
///
/// @param securityAttributes null
/// @param stackSize in bytes, 0 for the process's default; less than 64 KiB count as that
/// @param flags 0
/// @param threadId where the thread's id goes
/// @return null with the last error set on failure
HANDLE CreateThread(const void* securityAttributes, std::size_t stackSize,
                    LPTHREAD_START_ROUTINE routine, void* argument, DWORD flags, DWORD* threadId);

/// Ends a thread wherever it stands, and returns when it can't run any more; never, when the thread
/// is the calling one. Nothing of the thread is unwound and what it has locked stays locked.
///
/// @param exitCode not kept, since nothing asks for it
/// @return 0 with ERROR_INVALID_HANDLE for what is no thread; a thread that has already ended is a
///     success
BOOL TerminateThread(HANDLE thread, DWORD exitCode);

/// The thread's priority, also after its end; THREAD_PRIORITY_ERROR_RETURN with
/// ERROR_INVALID_HANDLE for what is no thread.
int GetThreadPriority(HANDLE thread);

/// Sets one of the seven priorities, by the thread's nice value.
///
/// @return 0 with ERROR_INVALID_PARAMETER for another number, with ERROR_ACCESS_DENIED when the
///     host refuses it
BOOL SetThreadPriority(HANDLE thread, int priority);

/// Gives the times of a thread, also after its end. The exit time of a running one is 0.
BOOL GetThreadTimes(HANDLE thread, FILETIME* creation, FILETIME* exit, FILETIME* kernel,
                    FILETIME* user);

}  // namespace Sorvex::platform
