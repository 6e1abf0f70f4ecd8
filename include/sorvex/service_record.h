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
constexpr ServiceNumber SERVICE_WIN32_OWN_PROCESS = 0x10;
constexpr ServiceNumber SERVICE_WIN32_SHARE_PROCESS = 0x20;
constexpr ServiceNumber SERVICE_INTERACTIVE_PROCESS = 0x100;

// States.
constexpr ServiceNumber SERVICE_STOPPED = 1;
constexpr ServiceNumber SERVICE_START_PENDING = 2;
constexpr ServiceNumber SERVICE_STOP_PENDING = 3;
constexpr ServiceNumber SERVICE_RUNNING = 4;
constexpr ServiceNumber SERVICE_CONTINUE_PENDING = 5;
constexpr ServiceNumber SERVICE_PAUSE_PENDING = 6;
constexpr ServiceNumber SERVICE_PAUSED = 7;

// Controls that a service takes, as bits of its status. Every service takes the question for its
// status and the codes 128 to 255 of its own.
constexpr ServiceNumber SERVICE_ACCEPT_STOP = 0x1;
constexpr ServiceNumber SERVICE_ACCEPT_PAUSE_CONTINUE = 0x2;
constexpr ServiceNumber SERVICE_ACCEPT_SHUTDOWN = 0x4;
constexpr ServiceNumber SERVICE_ACCEPT_PARAMCHANGE = 0x8;
constexpr ServiceNumber SERVICE_ACCEPT_NETBINDCHANGE = 0x10;

// Control codes.
constexpr ServiceNumber SERVICE_CONTROL_STOP = 1;
constexpr ServiceNumber SERVICE_CONTROL_PAUSE = 2;
constexpr ServiceNumber SERVICE_CONTROL_CONTINUE = 3;
constexpr ServiceNumber SERVICE_CONTROL_INTERROGATE = 4;
constexpr ServiceNumber SERVICE_CONTROL_SHUTDOWN = 5;
constexpr ServiceNumber SERVICE_CONTROL_PARAMCHANGE = 6;
constexpr ServiceNumber SERVICE_CONTROL_NETBINDADD = 7;
constexpr ServiceNumber SERVICE_CONTROL_NETBINDREMOVE = 8;
constexpr ServiceNumber SERVICE_CONTROL_NETBINDENABLE = 9;
constexpr ServiceNumber SERVICE_CONTROL_NETBINDDISABLE = 10;

// When a service starts, and how grave its failure is.
constexpr ServiceNumber SERVICE_AUTO_START = 2;
constexpr ServiceNumber SERVICE_DEMAND_START = 3;
constexpr ServiceNumber SERVICE_DISABLED = 4;
constexpr ServiceNumber SERVICE_ERROR_IGNORE = 0;
constexpr ServiceNumber SERVICE_ERROR_NORMAL = 1;
constexpr ServiceNumber SERVICE_ERROR_SEVERE = 2;
constexpr ServiceNumber SERVICE_ERROR_CRITICAL = 3;
constexpr ServiceNumber SERVICE_NO_CHANGE = 0xFFFFFFFF;

// Rights that are asked for with a handle on the manager.
constexpr ServiceNumber SC_MANAGER_CONNECT = 0x1;
constexpr ServiceNumber SC_MANAGER_CREATE_SERVICE = 0x2;
constexpr ServiceNumber SC_MANAGER_ENUMERATE_SERVICE = 0x4;
constexpr ServiceNumber SC_MANAGER_LOCK = 0x8;
constexpr ServiceNumber SC_MANAGER_QUERY_LOCK_STATUS = 0x10;
constexpr ServiceNumber SC_MANAGER_MODIFY_BOOT_CONFIG = 0x20;
constexpr ServiceNumber SC_MANAGER_ALL_ACCESS = 0xF003F;

// Rights that are asked for with a handle on a service.
constexpr ServiceNumber SERVICE_QUERY_CONFIG = 0x1;
constexpr ServiceNumber SERVICE_CHANGE_CONFIG = 0x2;
constexpr ServiceNumber SERVICE_QUERY_STATUS = 0x4;
constexpr ServiceNumber SERVICE_ENUMERATE_DEPENDENTS = 0x8;
constexpr ServiceNumber SERVICE_START = 0x10;
constexpr ServiceNumber SERVICE_STOP = 0x20;
constexpr ServiceNumber SERVICE_PAUSE_CONTINUE = 0x40;
constexpr ServiceNumber SERVICE_INTERROGATE = 0x80;
constexpr ServiceNumber SERVICE_USER_DEFINED_CONTROL = 0x100;
constexpr ServiceNumber SERVICE_ALL_ACCESS = 0xF01FF;

}  // namespace Sorvex

#endif

#endif
