#include "sorvex_service/boot.h"

#include <algorithm>
#include <iostream>
#include <mutex>
#include <set>

#include "sorvex_service/graph.h"

namespace Sorvex::tools {

namespace {

std::vector<ServiceFacts> listed() {
    auto all = platform::services::allServices();
    if (!all)
        fail("the services can't be reached", platform::GetLastError());
    return std::move(*all);
}

void ignoreProgress(const std::string& /*line*/) {}

// What became of each, told as it happens. All threads use it.
class Report {
public:
    explicit Report(std::size_t count) : outcomes(count) {}

    void add(std::size_t service, Outcome outcome) {
        const std::lock_guard lock(mutex);
        (outcome.isGood() ? std::cout : std::cerr) << onOneLine(outcome.text) << std::endl;
        std::cerr << outcome.log << std::flush;
        outcomes[service] = std::move(outcome);
    }

    bool hasFailed(std::size_t service) const {
        const std::lock_guard lock(mutex);
        return outcomes[service] && !outcomes[service]->isGood();
    }

    /// Tells how many of them came to a good end.
    int close(const std::vector<std::size_t>& chosen, const char* what) const {
        const auto good = std::count_if(chosen.begin(), chosen.end(), [&](std::size_t service) {
            return outcomes[service] && outcomes[service]->isGood();
        });
        std::cout << good << " of " << chosen.size() << " services " << what << std::endl;
        return static_cast<std::size_t>(good) == chosen.size() ? exitDone : exitFailed;
    }

private:
    mutable std::mutex mutex;
    std::vector<std::optional<Outcome>> outcomes;
};

Outcome tried(const std::function<Outcome()>& attempt) {
    try {
        return attempt();
    } catch (const Failure& failure) {
        return {failure.exitCode, failure.what(), ""};
    } catch (const std::exception& failure) {
        return {exitFailed, failure.what(), ""};
    }
}

// The automatic services that others wait for, also by way of services that are started for them.
class Prerequisites {
public:
    Prerequisites(const Graph& dependencies, const std::set<std::size_t>& chosenServices)
        : graph(dependencies), chosen(chosenServices) {}

    std::vector<std::size_t> of(std::size_t service) const {
        std::set<std::size_t> seen{service};
        std::vector<std::size_t> found;
        collect(service, seen, found);
        return found;
    }

    /// The dependency that keeps a service from being started; empty when there is none.
    std::string missingFor(std::size_t service, const Report& report) const {
        std::set<std::size_t> seen{service};
        return missing(service, report, seen);
    }

private:
    void collect(std::size_t service, std::set<std::size_t>& seen,
                 std::vector<std::size_t>& found) const {
        for (const Dependency& dependency : graph.dependenciesOf(service))
            for (const std::size_t member : dependency.members) {
                if (!seen.insert(member).second)
                    continue;
                if (chosen.count(member) != 0)
                    found.push_back(member);
                else
                    collect(member, seen, found);
            }
    }

    std::string missing(std::size_t service, const Report& report,
                        std::set<std::size_t>& seen) const {
        const auto isMissing = [&](std::size_t member) {
            if (chosen.count(member) != 0)
                return report.hasFailed(member);
            return seen.insert(member).second && !missing(member, report, seen).empty();
        };
        // What doesn't exist is for the start to tell.
        for (const Dependency& dependency : graph.dependenciesOf(service))
            if (!dependency.members.empty() &&
                std::all_of(dependency.members.begin(), dependency.members.end(), isMissing))
                return dependency.name;
        return "";
    }

    const Graph& graph;
    const std::set<std::size_t>& chosen;
};

Outcome startAtBoot(const ServiceFacts& service, milliseconds patience) {
    const std::string& name = service.configuration.name;
    if (service.isDamaged)
        return {exitFailed, name + " did not start: " + errorText(ERROR_INVALID_DATA), ""};
    return tried(
        [&] { return startService(name, {}, WhenRunning::isGood, patience, ignoreProgress); });
}

}  // namespace

int startAutomatic(milliseconds patience) {
    const std::vector<ServiceFacts> all = listed();
    const Graph graph(all);
    std::vector<std::size_t> chosen;
    for (std::size_t index = 0; index < all.size(); ++index)
        if (!all[index].isMarked &&
            (all[index].isDamaged || all[index].configuration.startType == SERVICE_AUTO_START))
            chosen.push_back(index);

    const std::set<std::size_t> chosenSet(chosen.begin(), chosen.end());
    const Prerequisites prerequisites(graph, chosenSet);
    std::vector<std::vector<std::size_t>> before(all.size());
    for (const std::size_t service : chosen)
        before[service] = prerequisites.of(service);

    Report report(all.size());
    doInOrder(chosen, before, [&](std::size_t service) {
        const std::string missing = prerequisites.missingFor(service, report);
        report.add(service, missing.empty() ? startAtBoot(all[service], patience)
                                            : Outcome{exitFailed,
                                                      all[service].configuration.name +
                                                          " was not started, since " + missing +
                                                          " does not run",
                                                      ""});
    });
    return report.close(chosen, "run");
}

int stopAll(std::optional<milliseconds> killAfter, milliseconds patience) {
    const std::vector<ServiceFacts> all = listed();
    const Graph graph(all);
    std::vector<std::size_t> chosen;
    std::vector<std::vector<std::size_t>> before(all.size());
    for (std::size_t index = 0; index < all.size(); ++index)
        if (all[index].run.isActive) {
            chosen.push_back(index);
            before[index] = graph.dependentsOf(index);
        }

    Report report(all.size());
    doInOrder(chosen, before, [&](std::size_t service) {
        const std::string& name = all[service].configuration.name;
        Outcome outcome =
            tried([&] { return stopService(name, killAfter, patience, ignoreProgress); });
        // Another one has stopped it, or it has ended by itself. A damaged one may not even have
        // told its name.
        const auto now = platform::services::serviceNamed(name);
        if (!outcome.isGood() && (now ? !now->run.isActive : !all[service].isDamaged))
            outcome = {exitDone, name + " is stopped", ""};
        report.add(service, std::move(outcome));
    });
    return report.close(chosen, "stopped");
}

Outcome stopWithDependents(const std::string& name, std::optional<milliseconds> killAfter,
                           milliseconds patience, const Progress& progress, Words& stopped) {
    const std::vector<ServiceFacts> all = listed();
    const Graph graph(all);
    const auto own = graph.find(name);
    for (const std::size_t service :
         own ? graph.withDependents(*own) : std::vector<std::size_t>()) {
        if (service == *own || !all[service].run.isActive)
            continue;
        const std::string& dependent = all[service].configuration.name;
        const Outcome outcome = stopService(dependent, killAfter, patience, progress);
        if (!outcome.isGood())
            return outcome;
        progress(outcome.text);
        stopped.insert(stopped.begin(), dependent);
    }
    return stopService(name, killAfter, patience, progress);
}

}  // namespace Sorvex::tools
