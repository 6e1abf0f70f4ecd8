// Starting services, from the side of the program that wants them started.
#pragma once

#include <string>
#include <vector>

#include "platform/posix/services/dependencies.h"
#include "platform/posix/services/launch.h"
#include "platform/posix/services/store.h"

namespace Sorvex::platform::services {

/// Names of the run-time directory: sockets that processes being started connect to, and the socket
/// of a service that controls go to.
inline constexpr const char* startingDirectory = ".starting";
inline constexpr const char* controlSocket = "control";

/// The name of the socket that a process being started connects to. Its number counts in its own
/// PID namespace only.
std::string startingSocket(pid_t process);

/// Starts services one by one.
class Starter {
public:
    explicit Starter(const Store& opened) noexcept : store(opened), groups(opened.database()) {}

    /// Starts a service behind those that it depends on, and returns when its process has called
    /// its entry point.
    ///
    /// @param streams of its process, where it gets one of its own; those that it depends on write
    ///     to their logs
    void start(const KeptService& service, const std::vector<std::string>& arguments,
               StreamsOf streams = StreamsOf::log);

private:
    // A start that is under way.
    struct Run {
        std::string key;
        Configuration configuration;
        std::vector<std::string> arguments;
        StreamsOf streams;
        Descriptor directory;
        RunState state;

        void begin();  ///< Makes the file of its state, as that of a service that is being started.
    };

    void startDependencies(const Configuration& configuration);
    bool ensureGroupRuns(const std::string& group);
    bool ensureRuns(const std::string& key);
    bool tryStart(const std::string& key);
    bool isPartOfCircle() const;
    void handOver(Run& run) const;
    bool handToSibling(Run& run) const;
    void handToNewProcess(Run& run) const;

    const Store& store;
    Groups groups;
    std::vector<std::string> underway;  // keys, outermost first
};

}  // namespace Sorvex::platform::services
