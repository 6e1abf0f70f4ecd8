// Rights that are asked for when a handle is opened and looked at when it is used.
#pragma once

#include "platform/posix/base/types.h"

namespace Sorvex::platform::services {

inline constexpr DWORD deleteAccess = 0x10000;

/// The rights that a handle on the manager gets: generic ones spelled out, and always the one to
/// connect. ERROR_ACCESS_DENIED for rights that don't exist.
DWORD grantedOnManager(DWORD asked);

/// The rights that a handle on a service gets.
DWORD grantedOnService(DWORD asked);

/// ERROR_ACCESS_DENIED unless all the rights needed are among those granted.
void demand(DWORD granted, DWORD needed);

}  // namespace Sorvex::platform::services
