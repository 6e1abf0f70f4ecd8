#include "platform/posix/services/dependencies.h"

#include <algorithm>
#include <optional>
#include <set>

#include "platform/posix/services/file_key.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

// Nothing for a service that is missing or damaged.
std::optional<Configuration> configurationOf(const Database& database, const std::string& key) {
    try {
        const Entry entry = database.find(key);
        return entry ? std::optional(entry.configuration()) : std::nullopt;
    } catch (const Refusal&) {
        return std::nullopt;
    }
}

template <typename Predicate>
std::vector<std::string> keysWhere(const Database& database, Predicate predicate) {
    std::vector<std::string> found;
    for (std::string& key : database.keys()) {
        const auto configuration = configurationOf(database, key);
        if (configuration && predicate(*configuration))
            found.push_back(std::move(key));
    }
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace

std::vector<std::string> membersOf(const Database& database, std::string_view group) {
    const std::string wanted = foldCase(group);
    return keysWhere(database, [&](const Configuration& configuration) {
        return foldCase(configuration.group) == wanted;
    });
}

bool isCircular(const Database& database, const Configuration& configuration) {
    const std::string self = fileKey(configuration.name);
    const std::string ownGroup = foldCase(configuration.group);
    std::set<std::string> seen;
    std::vector<std::string> waiting;
    const auto follow = [&](const Configuration& follower) {
        for (const std::string& dependency : follower.dependencies) {
            if (dependency.front() != groupMark) {
                waiting.push_back(fileKey(dependency));
                continue;
            }
            const std::string group = foldCase(dependency.substr(1));
            if (group == ownGroup)
                waiting.push_back(self);
            for (std::string& member : membersOf(database, group))
                if (member != self)
                    waiting.push_back(std::move(member));
        }
    };

    follow(configuration);
    while (!waiting.empty()) {
        const std::string key = std::move(waiting.back());
        waiting.pop_back();
        if (key == self)
            return true;
        if (!seen.insert(key).second)
            continue;
        if (const auto next = configurationOf(database, key))
            follow(*next);
    }
    return false;
}

std::vector<std::string> dependentsOf(const Database& database, const std::string& key) {
    return keysWhere(database, [&](const Configuration& configuration) {
        return std::any_of(configuration.dependencies.begin(), configuration.dependencies.end(),
                           [&](const std::string& dependency) {
                               return dependency.front() != groupMark && fileKey(dependency) == key;
                           });
    });
}

}  // namespace Sorvex::platform::services
