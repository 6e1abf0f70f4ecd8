// The platform's service manager, without a process of its own: a database of services on the disk,
// and run-time files through which controlling programs and services find each other.
#pragma once

#include <sorvex/service_record.h>

#include "platform/posix/base/types.h"

namespace Sorvex::platform {

using SC_HANDLE = HANDLE;
using SERVICE_STATUS_HANDLE = HANDLE;
using SERVICE_STATUS = ::_SERVICE_STATUS;
using LPSERVICE_MAIN_FUNCTIONA = void (*)(DWORD count, const char** arguments);
using LPHANDLER_FUNCTION = void (*)(DWORD code);

/// A service of a process. A null name ends a table of them.
struct SERVICE_TABLE_ENTRYA {
    char* lpServiceName;
    LPSERVICE_MAIN_FUNCTIONA lpServiceProc;
};

/// Opens the database of the calling user, and makes it when it isn't there.
///
/// @return null with the last error set: RPC_S_SERVER_UNAVAILABLE for another machine,
///     ERROR_DATABASE_DOES_NOT_EXIST for another database, ERROR_ACCESS_DENIED for rights that
///     don't exist and for directories that aren't the user's own
SC_HANDLE OpenSCManagerA(const char* machineName, const char* databaseName, DWORD access);

/// Closes a handle on the manager or on a service. A service that is marked for deletion goes with
/// the last handle on it.
BOOL CloseServiceHandle(SC_HANDLE handle);

/// Gives the name that a service is shown under.
///
/// @param size bytes of the buffer; becomes the length of the name
/// @return 0 with the last error set: ERROR_SERVICE_DOES_NOT_EXIST, ERROR_INSUFFICIENT_BUFFER
BOOL GetServiceDisplayNameA(SC_HANDLE manager, const char* serviceName, char* buffer, DWORD* size);

/// Gives the name that a service is registered under, for the one that it is shown under.
BOOL GetServiceKeyNameA(SC_HANDLE manager, const char* displayName, char* buffer, DWORD* size);

SC_HANDLE OpenServiceA(SC_HANDLE manager, const char* serviceName, DWORD access);

/// Installs a service and opens it. The tag has to be null, and the password isn't kept.
SC_HANDLE CreateServiceA(SC_HANDLE manager, const char* serviceName, const char* displayName,
                         DWORD access, DWORD serviceType, DWORD startType, DWORD errorControl,
                         const char* binaryPathName, const char* loadOrderGroup, DWORD* tag,
                         const char* dependencies, const char* serviceStartName,
                         const char* password);

/// Marks a service for deletion. It goes when it is stopped and the last handle is closed.
BOOL DeleteService(SC_HANDLE service);

/// Starts a service, those that it depends on first. Returns when its entry point has been called.
BOOL StartServiceA(SC_HANDLE service, DWORD count, const char** arguments);

/// Sends a control code and receives the status after the handler has run.
///
/// The status is also given when the state of the service is the reason for the failure:
/// ERROR_INVALID_SERVICE_CONTROL, ERROR_SERVICE_CANNOT_ACCEPT_CTRL, ERROR_SERVICE_NOT_ACTIVE.
BOOL ControlService(SC_HANDLE service, DWORD code, SERVICE_STATUS* status);

/// Gives the status of a service without asking the service.
BOOL QueryServiceStatus(SC_HANDLE service, SERVICE_STATUS* status);

/// Changes what a service was created with; null and SERVICE_NO_CHANGE leave a value as it is.
BOOL ChangeServiceConfigA(SC_HANDLE service, DWORD serviceType, DWORD startType, DWORD errorControl,
                          const char* binaryPathName, const char* loadOrderGroup, DWORD* tag,
                          const char* dependencies, const char* serviceStartName,
                          const char* password, const char* displayName);

/// Runs the services of this process until all of them have reported that they are stopped.
///
/// @param table the services, with a null entry at the end
/// @return 0 with ERROR_FAILED_SERVICE_CONTROLLER_CONNECT at once when no manager started this
///     process
BOOL StartServiceCtrlDispatcherA(const SERVICE_TABLE_ENTRYA* table);

/// Names the function that takes the controls of a service of this process.
///
/// @return the handle that SetServiceStatus takes, valid as long as the process; null with the last
///     error set
SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerA(const char* serviceName,
                                                  LPHANDLER_FUNCTION handler);

/// Reports the status of a service of this process.
BOOL SetServiceStatus(SERVICE_STATUS_HANDLE service, SERVICE_STATUS* status);

}  // namespace Sorvex::platform
