// Which services a service depends on.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/services/database.h"

namespace Sorvex::platform::services {

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

}  // namespace Sorvex::platform::services
