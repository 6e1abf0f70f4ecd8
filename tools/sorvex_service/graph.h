// Which services wait for which, and doing something with all of them in that order.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/services/administration.h"

namespace Sorvex::tools {

using platform::services::ServiceFacts;

/// A service or a group that has to run first.
struct Dependency {
    std::string name;                  // as it was given
    bool isGroup = false;              // one member that runs is enough
    std::vector<std::size_t> members;  // places in the list of services; none for a missing one
};

/// The dependencies within a list of services, which has to outlive the graph.
class Graph {
public:
    explicit Graph(const std::vector<ServiceFacts>& listed);

    std::size_t size() const noexcept { return services.size(); }
    std::optional<std::size_t> find(const std::string& name) const;
    const std::vector<Dependency>& dependenciesOf(std::size_t service) const {
        return dependencies[service];
    }

    /// The services that name this one or its group among their dependencies.
    const std::vector<std::size_t>& dependentsOf(std::size_t service) const {
        return dependents[service];
    }

    /// The service and all that depend on it, directly or not, those first that nobody waits for.
    std::vector<std::size_t> withDependents(std::size_t service) const;

private:
    const std::vector<ServiceFacts>& services;
    std::map<std::string, std::size_t> places;  // by key
    std::vector<std::vector<Dependency>> dependencies;
    std::vector<std::vector<std::size_t>> dependents;
};

/// Does something with each of the chosen, side by side, with each one when all that stand before
/// it are done. A circle is broken where nothing else is left to be done.
///
/// @param before for each of all services those that have to be done ahead of it; what isn't chosen
///     is passed over
void doInOrder(const std::vector<std::size_t>& chosen,
               const std::vector<std::vector<std::size_t>>& before,
               const std::function<void(std::size_t)>& task);

}  // namespace Sorvex::tools
