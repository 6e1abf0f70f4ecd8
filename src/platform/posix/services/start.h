// Starting services, from the side of the program that wants them started.
#ifndef SORVEX_PLATFORM_POSIX_SERVICES_START_H
#define SORVEX_PLATFORM_POSIX_SERVICES_START_H

#include <string>
#include <vector>

#include "platform/posix/services/store.h"

namespace Sorvex::platform::services {

/// Names of the run-time directory: sockets that processes being started connect to, one for each
/// process number, and the socket of a service that controls go to.
inline constexpr const char* startingDirectory = ".starting";
inline constexpr const char* controlSocket = "control";

/// Starts services one by one.
class Starter {
public:
    explicit Starter(const Store& opened) noexcept : store(opened) {}

    /// Starts a service behind those that it depends on, and returns when its process has called
    /// its entry point.
    void start(const KeptService& service, const std::vector<std::string>& arguments);

private:
    void startDependencies(const Configuration& configuration);
    bool ensureGroupRuns(const std::string& group);
    bool ensureRuns(const std::string& key);
    bool awaitRunning(const std::string& key) const;
    void handOver(const Configuration& configuration, RunState& state) const;
    bool handToSibling(const Configuration& configuration, RunState& state) const;
    void handToNewProcess(const Configuration& configuration, RunState& state) const;

    const Store& store;
    std::vector<std::string> underway;  // keys, outermost first
};

}  // namespace Sorvex::platform::services

#endif
