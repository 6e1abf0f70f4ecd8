// Facts about this machine and its processes.
#pragma once

#include <cstdint>
#include <string>

#include <sys/types.h>

namespace Sorvex::platform::services {

std::string hostName();

/// What tells this machine apart from others that share a home directory, also when it is renamed:
/// the identifier that its installation has made (machine-id), else its host name.
std::string machineName();

/// A number for the time since the machine was started; another one after each start.
std::uint64_t bootNumber();

/// A number for the PID namespace of the calling process: the numbers of processes mean something
/// only in the same one.
std::uint64_t processNamespace();

/// A number for the PID namespace and the time namespace: identities mean something only in the
/// same ones, since the kernel tells times by the clock of whoever asks.
std::uint64_t identityNamespaces();

/// A process, told apart from a later one of the same number by when it was started.
struct ProcessIdentity {
    pid_t id = 0;
    std::uint64_t startTime = 0;  // ticks since the machine was started

    bool operator==(const ProcessIdentity&) const = default;
};

/// The process that has this number now; a start time of 0 when there is none, or one that has
/// ended and only waits for its parent to notice. ERROR_TOO_MANY_OPEN_FILES when nobody can look.
ProcessIdentity identityOf(pid_t process);

}  // namespace Sorvex::platform::services
