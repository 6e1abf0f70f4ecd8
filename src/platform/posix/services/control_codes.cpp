#include "platform/posix/services/control_codes.h"

#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

constexpr DWORD firstOwnCode = 128;
constexpr DWORD lastOwnCode = 255;

bool isOwnCode(DWORD code) noexcept {
    return code >= firstOwnCode && code <= lastOwnCode;
}

// The bit of dwControlsAccepted; 0 for a code that every service takes.
DWORD acceptanceFor(DWORD code) noexcept {
    switch (code) {
        case SERVICE_CONTROL_STOP:
            return SERVICE_ACCEPT_STOP;
        case SERVICE_CONTROL_PAUSE:
        case SERVICE_CONTROL_CONTINUE:
            return SERVICE_ACCEPT_PAUSE_CONTINUE;
        case SERVICE_CONTROL_SHUTDOWN:
            return SERVICE_ACCEPT_SHUTDOWN;
        case SERVICE_CONTROL_PARAMCHANGE:
            return SERVICE_ACCEPT_PARAMCHANGE;
        case SERVICE_CONTROL_NETBINDADD:
        case SERVICE_CONTROL_NETBINDREMOVE:
        case SERVICE_CONTROL_NETBINDENABLE:
        case SERVICE_CONTROL_NETBINDDISABLE:
            return SERVICE_ACCEPT_NETBINDCHANGE;
        default:
            return 0;
    }
}

}  // namespace

DWORD accessForControl(DWORD code) {
    if (code == SERVICE_CONTROL_STOP)
        return SERVICE_STOP;
    if (code == SERVICE_CONTROL_INTERROGATE)
        return SERVICE_INTERROGATE;
    if (isOwnCode(code))
        return SERVICE_USER_DEFINED_CONTROL;
    // The system alone tells that the machine shuts down.
    if (code != SERVICE_CONTROL_SHUTDOWN && acceptanceFor(code) != 0)
        return SERVICE_PAUSE_CONTINUE;
    refuse(ERROR_INVALID_PARAMETER);
}

DWORD refusalOf(const SERVICE_STATUS& status, DWORD code) noexcept {
    const DWORD state = status.dwCurrentState;
    if (state == SERVICE_STOPPED)
        return ERROR_SERVICE_NOT_ACTIVE;
    if (state == SERVICE_STOP_PENDING ||
        (state == SERVICE_START_PENDING && code != SERVICE_CONTROL_STOP))
        return ERROR_SERVICE_CANNOT_ACCEPT_CTRL;
    const DWORD acceptance = acceptanceFor(code);
    if (acceptance != 0 && (status.dwControlsAccepted & acceptance) == 0)
        return ERROR_INVALID_SERVICE_CONTROL;
    return ERROR_SUCCESS;
}

}  // namespace Sorvex::platform::services
