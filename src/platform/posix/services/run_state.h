// What is known of a service that runs: a file that the process of the service keeps locked, so
// that its death shows at once and without anybody watching.
//
// Each start makes a new file. The starter locks it (flock) and hands the open file to the
// service's process; the lock stays as long as that process has it. The file holds two copies of
// the record, written in turn, so that a reader always finds a whole one and never waits for a
// writer.
//
// The lock says more than the record: it is seen from other PID and time namespaces, where the
// number and the start time of the process mean nothing, and beside a record that is damaged or by
// another version.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/services/host.h"
#include "platform/posix/services/locks.h"
#include "platform/posix/services/services.h"

namespace Sorvex::platform::services {

/// The status of a service that does not run.
SERVICE_STATUS stoppedStatus(DWORD type, DWORD exitCode) noexcept;

/// The file of one start, in the hands of the starter or of the service's process.
class RunState {
public:
    RunState() = default;

    /// Makes the file of a new start in the run-time directory of a service and locks it. Queries
    /// see the status from here on.
    RunState(int directory, const SERVICE_STATUS& first);

    /// Takes over a file that a starter has handed over. ERROR_INVALID_DATA when it is none.
    explicit RunState(Descriptor handedOver);

    explicit operator bool() const noexcept { return static_cast<bool>(file); }
    int get() const noexcept { return file.get(); }

    const SERVICE_STATUS& currentStatus() const noexcept { return status; }

    /// Tells which process is to run the service, while it is still being started.
    void setProcess(const ProcessIdentity& process);

    void takeOver();  ///< Makes this process the one that runs the service.

    void setStatus(const SERVICE_STATUS& status);

    /// The arguments of the start, which go with the file. They are gone once taken.
    void putArguments(const std::vector<std::string>& arguments);
    std::vector<std::string> takeArguments();

    /// Ends the run: the lock is given back.
    void end() noexcept { file.release(); }

    /// Leaves the run to the process that the file was handed to.
    void leaveToService() noexcept { file.leaveToOthers(); }

private:
    void write();

    FileLock file;
    ProcessIdentity process;
    std::uint64_t started = 0;
    std::uint64_t changed = 0;
    SERVICE_STATUS status{};
    bool isBeingStarted = false;
    std::uint32_t sequence = 0;
};

/// What a query finds.
struct Observation {
    SERVICE_STATUS status{};
    bool isActive = false;     // a process lives that has not reported that the service is stopped
    bool isUnderstood = true;  // false: it is active, and nothing else is known
    bool isBeingStarted = false;  // no process has taken the service over from its starter yet
    bool isProcessKnown = false;  // the process has this identity here
    ProcessIdentity process;
    std::uint64_t started = 0;  // ns since 1970; tells one start from the next
    std::uint64_t changed = 0;  // when it came into its state, likewise; 0 when nobody knows
};

/// Looks at a service. One that nobody has started since the machine was is not active and has the
/// exit code ERROR_SERVICE_NEVER_STARTED.
///
/// @param runtime the run-time directory of all services
Observation observe(int runtime, const std::string& key);

}  // namespace Sorvex::platform::services
