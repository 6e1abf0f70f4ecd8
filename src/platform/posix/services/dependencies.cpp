#include "platform/posix/services/dependencies.h"

#include <algorithm>
#include <set>

#include "platform/posix/services/file_key.h"

namespace Sorvex::platform::services {

const std::vector<std::string>& Groups::membersOf(std::string_view group) {
    if (!members) {
        members.emplace();
        std::vector<std::string> keys = database.keys();
        std::sort(keys.begin(), keys.end());
        for (const std::string& key : keys)
            if (const auto configuration = database.configurationOf(key))
                (*members)[foldCase(configuration->group)].push_back(key);
    }
    return (*members)[foldCase(group)];
}

bool isCircular(const Database& database, const Configuration& configuration) {
    const std::string self = fileKey(configuration.name);
    const std::string ownGroup = foldCase(configuration.group);
    Groups groups(database);
    std::set<std::string> seenGroups;
    std::set<std::string> seen;
    std::vector<std::string> waiting;
    const auto follow = [&](const Configuration& follower) {
        for (const std::string& dependency : follower.dependencies) {
            if (dependency.front() != groupMark) {
                waiting.push_back(fileKey(dependency));
                continue;
            }
            const std::string group = foldCase(dependency.substr(1));
            if (!seenGroups.insert(group).second)
                continue;
            if (group == ownGroup)
                waiting.push_back(self);
            for (const std::string& member : groups.membersOf(group))
                if (member != self)
                    waiting.push_back(member);
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
        if (const auto next = database.configurationOf(key))
            follow(*next);
    }
    return false;
}

}  // namespace Sorvex::platform::services
