// Where the services of a user are kept.
#ifndef SORVEX_PLATFORM_POSIX_SERVICES_PLACES_H
#define SORVEX_PLATFORM_POSIX_SERVICES_PLACES_H

#include <string>
#include <vector>

#include "platform/posix/services/locks.h"

namespace Sorvex::platform::services {

/// A private directory: below one that exists, each step of the way made when it is missing.
struct Place {
    std::string base;
    std::vector<std::string> steps;
};

struct Places {
    Place database;  // survives the machine's restart
    Place runtime;
};

/// The places of the calling process's user: fixed ones for root, else below the home directory
/// that the account database tells. The environment has no part in it.
Places placesOfUser();

/// Opens a place and makes what is missing of it.
Descriptor ensurePlace(const Place& place);

/// Opens a place; an owner of nothing when it isn't there.
Descriptor openPlace(const Place& place);

}  // namespace Sorvex::platform::services

#endif
