// Where the services of a user are kept.
#pragma once

#include "platform/posix/services/private_files.h"

namespace Sorvex::platform::services {

struct Places {
    PrivatePlace database;  // survives the machine's restart
    PrivatePlace runtime;
    PrivatePlace logs;  // what services write to their standard streams
};

/// The places of the calling process's user: fixed ones for root, else below the home directory
/// that the account database tells. The environment has no part in it.
Places placesOfUser();

}  // namespace Sorvex::platform::services
