#include "sorvex_service/graph.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>

#include "platform/posix/services/dependencies.h"
#include "platform/posix/services/file_key.h"

namespace Sorvex::tools {

namespace {

using platform::services::fileKey;
using platform::services::foldCase;
using platform::services::groupMark;

// Most of the time of a start is spent waiting, but each takes a thread and several descriptors.
constexpr std::size_t mostAtOnce = 32;

}  // namespace

Graph::Graph(const std::vector<ServiceFacts>& listed)
    : services(listed), dependencies(listed.size()), dependents(listed.size()) {
    std::map<std::string, std::vector<std::size_t>> groups;
    for (std::size_t index = 0; index < services.size(); ++index) {
        places[services[index].key] = index;
        groups[foldCase(services[index].configuration.group)].push_back(index);
    }
    for (std::size_t index = 0; index < services.size(); ++index) {
        for (const std::string& name : services[index].configuration.dependencies) {
            Dependency dependency{name, name.front() == groupMark, {}};
            if (dependency.isGroup) {
                if (const auto group = groups.find(foldCase(name.substr(1))); group != groups.end())
                    dependency.members = group->second;
            } else if (const auto place = places.find(fileKey(name)); place != places.end()) {
                dependency.members = {place->second};
            }
            for (const std::size_t member : dependency.members)
                dependents[member].push_back(index);
            dependencies[index].push_back(std::move(dependency));
        }
    }
}

std::optional<std::size_t> Graph::find(const std::string& name) const {
    const auto place = places.find(fileKey(name));
    return place == places.end() ? std::nullopt : std::optional(place->second);
}

std::vector<std::size_t> Graph::withDependents(std::size_t service) const {
    std::vector<std::size_t> ordered;
    std::set<std::size_t> seen;
    const std::function<void(std::size_t)> follow = [&](std::size_t next) {
        if (!seen.insert(next).second)
            return;
        for (const std::size_t dependent : dependents[next])
            follow(dependent);
        ordered.push_back(next);
    };
    follow(service);
    return ordered;
}

void doInOrder(const std::vector<std::size_t>& chosen,
               const std::vector<std::vector<std::size_t>>& before,
               const std::function<void(std::size_t)>& task) {
    std::mutex mutex;
    std::condition_variable changed;
    std::set<std::size_t> waiting(chosen.begin(), chosen.end());
    std::set<std::size_t> unfinished = waiting;
    const auto isReady = [&](std::size_t index) {
        return std::none_of(before[index].begin(), before[index].end(), [&](std::size_t earlier) {
            return earlier != index && unfinished.count(earlier) != 0;
        });
    };
    // The next to be done; nobody while all that is left waits for what is being done.
    const auto next = [&]() -> std::optional<std::size_t> {
        const auto ready = std::find_if(waiting.begin(), waiting.end(), isReady);
        if (ready != waiting.end())
            return *ready;
        return waiting.size() == unfinished.size() ? std::optional(*waiting.begin()) : std::nullopt;
    };
    const auto work = [&] {
        std::unique_lock lock(mutex);
        while (!waiting.empty()) {
            const auto index = next();
            if (!index) {
                changed.wait(lock);
                continue;
            }
            waiting.erase(*index);
            lock.unlock();
            task(*index);
            lock.lock();
            unfinished.erase(*index);
            changed.notify_all();
        }
    };

    std::vector<std::thread> workers;
    workers.reserve(mostAtOnce);
    try {
        while (workers.size() + 1 < std::min(chosen.size(), mostAtOnce))
            workers.emplace_back(work);
    } catch (const std::system_error&) {
        // Fewer do it as well.
    }
    work();
    for (std::thread& worker : workers)
        worker.join();
}

}  // namespace Sorvex::tools
