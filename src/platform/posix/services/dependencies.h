// Which services a service depends on.
#ifndef SORVEX_PLATFORM_POSIX_SERVICES_DEPENDENCIES_H
#define SORVEX_PLATFORM_POSIX_SERVICES_DEPENDENCIES_H

#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/services/database.h"

namespace Sorvex::platform::services {

/// Stands before the name of a group in a list of dependencies.
inline constexpr char groupMark = '+';

/// The keys of the services that belong to a group. Damaged services belong to none.
std::vector<std::string> membersOf(const Database& database, std::string_view group);

/// Whether a service with this configuration would have to wait for itself.
bool isCircular(const Database& database, const Configuration& configuration);

/// The keys of the services that name this one among their dependencies.
std::vector<std::string> dependentsOf(const Database& database, const std::string& key);

}  // namespace Sorvex::platform::services

#endif
