// Starting a program as a process that has nothing to do with the one that starts it.
#pragma once

#include "platform/posix/services/command_line.h"
#include "platform/posix/services/host.h"
#include "platform/posix/services/run_state.h"

namespace Sorvex::platform::services {

/// Both ends of a pipe. Who writes keeps the reading end too, so that a process that has died at
/// the other end raises no signal.
struct Pipe {
    Descriptor reading;
    Descriptor writing;
};

/// Which streams the process of a service gets: the service's log as its output, or the starter's.
enum class StreamsOf { log, starter };

/// A process that is nobody's child, in a session of its own, in the root directory, with default
/// signals, a fixed environment, and the null device as its standard input. It waits before it runs
/// its program, and ends with this object unless it has been left on its own.
class Launch {
public:
    /// @param streams the starter's for all three of them as they are
    /// @param log otherwise where its standard output and error go; the null device when it is none
    Launch(const Command& command, StreamsOf streams, const Descriptor& log);
    ~Launch();

    Launch(const Launch&) = delete;
    Launch& operator=(const Launch&) = delete;

    const ProcessIdentity& process() const noexcept { return identity; }

    void go() const;  ///< Lets it run its program.

    /// A descriptor that becomes readable when the program can't be run and when it runs; negative
    /// once programError has told which.
    int report() const noexcept { return reports.get(); }

    /// Why the program can't be run, as an error of the host; 0 when that isn't so, or not known
    /// yet. To be called when report() is readable.
    int programError();

    /// A descriptor that becomes readable when the process has ended; negative on a host that has
    /// none.
    int end() const noexcept { return handle.get(); }

    bool hasEnded() const;

    void leaveAlone() noexcept { isLeftAlone = true; }

private:
    void kill() const noexcept;

    bool isLeftAlone = false;
    ProcessIdentity identity;
    Descriptor handle;
    Descriptor reports;
    Pipe commands;
};

/// A descriptor that becomes readable when a process has ended (pidfd); of nothing on a host that
/// has none, and when the process has ended already.
Descriptor watchProcess(pid_t process) noexcept;

/// The same for the process of a service; of nothing when its number means nothing here.
Descriptor watchProcess(const Observation& service) noexcept;

}  // namespace Sorvex::platform::services
