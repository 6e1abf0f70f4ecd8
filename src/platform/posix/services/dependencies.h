// Which services a service depends on.
#ifndef SORVEX_PLATFORM_POSIX_SERVICES_DEPENDENCIES_H
#define SORVEX_PLATFORM_POSIX_SERVICES_DEPENDENCIES_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/services/store.h"

namespace Sorvex::platform::services {

/// Stands before the name of a group in a list of dependencies.
inline constexpr char groupMark = '+';

/// The groups of all services, as they are when the first one is asked for.
class Groups {
public:
    explicit Groups(const Database& opened) noexcept : database(opened) {}

    /// The keys of the services that belong to a group, in order. Damaged services belong to none.
    const std::vector<std::string>& membersOf(std::string_view group);

private:
    const Database& database;
    std::optional<std::map<std::string, std::vector<std::string>>> members;  // by folded name
};

/// Whether a service with this configuration would have to wait for itself.
bool isCircular(const Database& database, const Configuration& configuration);

/// Leaves word with the services that this one depends on, but for groups, so that their stop finds
/// it without a look at all others. To be called before they are started or it is changed.
void announceDependent(const Store& store, const Configuration& configuration);

/// Whether a service is active that names this one among its dependencies and has left word.
bool hasActiveDependents(const Store& store, const std::string& key);

/// Removes the run-time directory of a service that goes. While others that depend on it are
/// active their words stay, for a service that comes back under the name.
void removeRuntime(const Store& store, const std::string& key);

}  // namespace Sorvex::platform::services

#endif
