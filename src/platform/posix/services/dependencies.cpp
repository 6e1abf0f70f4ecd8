#include "platform/posix/services/dependencies.h"

#include <algorithm>
#include <set>

#include <fcntl.h>

#include "platform/posix/services/disk_steps.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/private_files.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

// Empty files in the run-time directory of a service, named after those that depend on it.
constexpr std::string_view dependentPrefix = "dependent.";

bool isMark(const std::string& name) {
    return name.compare(0, dependentPrefix.size(), dependentPrefix) == 0;
}

bool namesAsDependency(const Configuration& configuration, const std::string& key) {
    const auto& names = configuration.dependencies;
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
        return name.front() != groupMark && fileKey(name) == key;
    });
}

}  // namespace

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

void announceDependent(const Store& store, const Configuration& configuration) {
    const std::string mark = std::string(dependentPrefix) + fileKey(configuration.name);
    for (const std::string& dependency : configuration.dependencies) {
        const std::string key = fileKey(dependency);
        if (dependency.front() == groupMark || !store.database().find(key))
            continue;
        const Descriptor directory = ensurePrivateDirectory(store.runtime(), key.c_str());
        if (!openAt(directory.get(), mark.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW,
                    S_IRUSR | S_IWUSR))
            refuseWithErrno();
    }
}

bool hasActiveDependents(const Store& store, const std::string& key) {
    const Descriptor directory = openPrivateDirectory(store.runtime(), key.c_str());
    if (!directory)
        return false;
    for (const std::string& name : visibleEntries(directory.get())) {
        if (!isMark(name))
            continue;
        const std::string dependent = name.substr(dependentPrefix.size());
        if (dependent.empty() || dependent.front() == '.' ||
            !store.observeOther(dependent).isActive)
            continue;
        const auto configuration = store.database().configurationOf(dependent);
        if (configuration && namesAsDependency(*configuration, key))
            return true;
    }
    return false;
}

void removeRuntime(const Store& store, const std::string& key) {
    if (!hasActiveDependents(store, key)) {
        removeTree(store.runtime(), key.c_str());
        return;
    }
    const Descriptor directory = openPrivateDirectory(store.runtime(), key.c_str());
    for (const std::string& name : visibleEntries(directory.get()))
        if (!isMark(name))
            removeTree(directory.get(), name.c_str());
}

}  // namespace Sorvex::platform::services
