// Which controls a service takes in which state.
#pragma once

#include "platform/posix/services/services.h"

namespace Sorvex::platform::services {

/// The right that a handle needs to send a control code; ERROR_INVALID_PARAMETER for a code that
/// can't be sent.
DWORD accessForControl(DWORD code);

/// Why a service with this status doesn't take a control code: ERROR_SERVICE_NOT_ACTIVE,
/// ERROR_SERVICE_CANNOT_ACCEPT_CTRL or ERROR_INVALID_SERVICE_CONTROL; ERROR_SUCCESS when it does.
DWORD refusalOf(const SERVICE_STATUS& status, DWORD code) noexcept;

}  // namespace Sorvex::platform::services
