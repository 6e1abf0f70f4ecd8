// The platform's own types of the service interface: its status record and its numbers.
//
// On Windows they come from the system's header. Elsewhere the record is declared here, in the
// global namespace and laid out as the system's, with the values of its fields under the system's
// names in the namespace Sorvex.
#ifndef SORVEX_SERVICE_RECORD_H
#define SORVEX_SERVICE_RECORD_H

#ifdef _WIN32

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <winsvc.h>

namespace Sorvex {

/// An unsigned 32-bit number as the platform passes it to entry points and handlers.
using ServiceNumber = DWORD;

}  // namespace Sorvex

#else

#include <cstdint>

/// What a service reports of itself.
struct _SERVICE_STATUS {
    std::uint32_t dwServiceType;              ///< one of the types below
    std::uint32_t dwCurrentState;             ///< one of the states below
    std::uint32_t dwControlsAccepted;         ///< the controls it takes, as bits
    std::uint32_t dwWin32ExitCode;            ///< why it stopped; 1066: see the next field
    std::uint32_t dwServiceSpecificExitCode;  ///< an error number of the service's own
    std::uint32_t dwCheckPoint;               ///< grows while a lengthy step makes progress
    std::uint32_t dwWaitHint;                 ///< milliseconds to the next step
};

namespace Sorvex {

/// An unsigned 32-bit number as the platform passes it to entry points and handlers.
using ServiceNumber = std::uint32_t;

// Types of a service: alone in its process, or one of several.
constexpr ServiceNumber SERVICE_WIN32_OWN_PROCESS = 0x10;     ///< alone in its process
constexpr ServiceNumber SERVICE_WIN32_SHARE_PROCESS = 0x20;   ///< one of several in its process
constexpr ServiceNumber SERVICE_INTERACTIVE_PROCESS = 0x100;  ///< added to a type: may show windows

// States.
constexpr ServiceNumber SERVICE_STOPPED = 1;           ///< is stopped
constexpr ServiceNumber SERVICE_START_PENDING = 2;     ///< is starting
constexpr ServiceNumber SERVICE_STOP_PENDING = 3;      ///< is stopping
constexpr ServiceNumber SERVICE_RUNNING = 4;           ///< runs
constexpr ServiceNumber SERVICE_CONTINUE_PENDING = 5;  ///< is resuming
constexpr ServiceNumber SERVICE_PAUSE_PENDING = 6;     ///< is pausing
constexpr ServiceNumber SERVICE_PAUSED = 7;            ///< is paused

// Controls that a service takes, as bits of its status. Every service takes the question for its
// status and the codes 128 to 255 of its own.
constexpr ServiceNumber SERVICE_ACCEPT_STOP = 0x1;            ///< may be stopped
constexpr ServiceNumber SERVICE_ACCEPT_PAUSE_CONTINUE = 0x2;  ///< may be paused and resumed
constexpr ServiceNumber SERVICE_ACCEPT_SHUTDOWN = 0x4;        ///< is told of the end of the system
constexpr ServiceNumber SERVICE_ACCEPT_PARAMCHANGE = 0x8;     ///< is told of new parameters
constexpr ServiceNumber SERVICE_ACCEPT_NETBINDCHANGE = 0x10;  ///< is told of new network bindings

// Control codes.
constexpr ServiceNumber SERVICE_CONTROL_STOP = 1;             ///< stop
constexpr ServiceNumber SERVICE_CONTROL_PAUSE = 2;            ///< pause
constexpr ServiceNumber SERVICE_CONTROL_CONTINUE = 3;         ///< resume
constexpr ServiceNumber SERVICE_CONTROL_INTERROGATE = 4;      ///< report the status
constexpr ServiceNumber SERVICE_CONTROL_SHUTDOWN = 5;         ///< the system ends
constexpr ServiceNumber SERVICE_CONTROL_PARAMCHANGE = 6;      ///< the parameters have changed
constexpr ServiceNumber SERVICE_CONTROL_NETBINDADD = 7;       ///< a network binding was added
constexpr ServiceNumber SERVICE_CONTROL_NETBINDREMOVE = 8;    ///< a network binding was removed
constexpr ServiceNumber SERVICE_CONTROL_NETBINDENABLE = 9;    ///< a network binding was enabled
constexpr ServiceNumber SERVICE_CONTROL_NETBINDDISABLE = 10;  ///< a network binding was disabled

// When a service starts, and how grave its failure is.
constexpr ServiceNumber SERVICE_AUTO_START = 2;          ///< with the machine
constexpr ServiceNumber SERVICE_DEMAND_START = 3;        ///< when a program starts it
constexpr ServiceNumber SERVICE_DISABLED = 4;            ///< never
constexpr ServiceNumber SERVICE_ERROR_IGNORE = 0;        ///< a failed start is ignored
constexpr ServiceNumber SERVICE_ERROR_NORMAL = 1;        ///< a failed start is noted
constexpr ServiceNumber SERVICE_ERROR_SEVERE = 2;        ///< a failed start is severe
constexpr ServiceNumber SERVICE_ERROR_CRITICAL = 3;      ///< a failed start is critical
constexpr ServiceNumber SERVICE_NO_CHANGE = 0xFFFFFFFF;  ///< leaves a number as it is

// Rights that are asked for with a handle on the manager.
constexpr ServiceNumber SC_MANAGER_CONNECT = 0x1;              ///< to connect
constexpr ServiceNumber SC_MANAGER_CREATE_SERVICE = 0x2;       ///< to install services
constexpr ServiceNumber SC_MANAGER_ENUMERATE_SERVICE = 0x4;    ///< to list services
constexpr ServiceNumber SC_MANAGER_LOCK = 0x8;                 ///< to lock the database
constexpr ServiceNumber SC_MANAGER_QUERY_LOCK_STATUS = 0x10;   ///< to ask for that lock
constexpr ServiceNumber SC_MANAGER_MODIFY_BOOT_CONFIG = 0x20;  ///< to change how the system starts
constexpr ServiceNumber SC_MANAGER_ALL_ACCESS = 0xF003F;       ///< all of these

// Rights that are asked for with a handle on a service.
constexpr ServiceNumber SERVICE_QUERY_CONFIG = 0x1;   ///< to ask what it was installed with
constexpr ServiceNumber SERVICE_CHANGE_CONFIG = 0x2;  ///< to change what it was installed with
constexpr ServiceNumber SERVICE_QUERY_STATUS = 0x4;   ///< to ask for its status
constexpr ServiceNumber SERVICE_ENUMERATE_DEPENDENTS = 0x8;    ///< to list what depends on it
constexpr ServiceNumber SERVICE_START = 0x10;                  ///< to start it
constexpr ServiceNumber SERVICE_STOP = 0x20;                   ///< to stop it
constexpr ServiceNumber SERVICE_PAUSE_CONTINUE = 0x40;         ///< to pause and resume it
constexpr ServiceNumber SERVICE_INTERROGATE = 0x80;            ///< to have it report its status
constexpr ServiceNumber SERVICE_USER_DEFINED_CONTROL = 0x100;  ///< to send it codes of its own
constexpr ServiceNumber SERVICE_ALL_ACCESS = 0xF01FF;          ///< all of these, and to delete it

// Rights that either handle knows.
constexpr ServiceNumber DELETE = 0x10000;                    ///< to delete the service
constexpr ServiceNumber READ_CONTROL = 0x20000;              ///< to read who may do what
constexpr ServiceNumber WRITE_DAC = 0x40000;                 ///< to change who may do what
constexpr ServiceNumber WRITE_OWNER = 0x80000;               ///< to change the owner
constexpr ServiceNumber STANDARD_RIGHTS_REQUIRED = 0xF0000;  ///< these four
constexpr ServiceNumber MAXIMUM_ALLOWED = 0x2000000;         ///< what the caller can get
constexpr ServiceNumber GENERIC_ALL = 0x10000000;            ///< all that the handle knows
constexpr ServiceNumber GENERIC_EXECUTE = 0x20000000;        ///< to use what is there
constexpr ServiceNumber GENERIC_WRITE = 0x40000000;          ///< to change what is there
constexpr ServiceNumber GENERIC_READ = 0x80000000;           ///< to ask for what is there

}  // namespace Sorvex

#endif

#endif
