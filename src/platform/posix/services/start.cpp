#include "platform/posix/services/start.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "platform/posix/services/account.h"
#include "platform/posix/services/channel.h"
#include "platform/posix/services/command_line.h"
#include "platform/posix/services/dependencies.h"
#include "platform/posix/services/disk_steps.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/launch.h"
#include "platform/posix/services/private_files.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

// Between two starts of programs with several services, one lock for each command line.
constexpr const char* sharedDirectory = ".shared";

constexpr int pauseBetweenLooks = 10;  // ms

SERVICE_STATUS startingStatus(DWORD type) noexcept {
    SERVICE_STATUS status{};
    status.dwServiceType = type;
    status.dwCurrentState = SERVICE_START_PENDING;
    status.dwWaitHint = 2000;
    return status;
}

Descriptor copyOf(int descriptor) {
    Descriptor copy(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    if (!copy)
        refuseWithErrno();
    return copy;
}

void offer(int connection, const Configuration& configuration, const RunState& state) {
    Request request;
    request.kind = RequestKind::start;
    request.number = configuration.type;
    request.name = configuration.name;
    request.state = copyOf(state.get());
    if (!send(connection, request))
        refuse(ERROR_SERVICE_REQUEST_TIMEOUT);
}

// Sockets that starters which were killed have left; their processes have gone too, or are about
// to.
void clearOldSockets(int directory) {
    for (const std::string& name : visibleEntries(directory)) {
        pid_t process = 0;
        std::from_chars(name.data(), name.data() + name.size(), process);
        if (process <= 0 || (::kill(process, 0) != 0 && errno == ESRCH))
            removeEntry(directory, name.c_str(), 0);
    }
}

// The socket that a process being started connects to, for the time of its start.
class StartSocket {
public:
    StartSocket(int runtime, pid_t process)
        : directory(ensurePrivateDirectory(runtime, startingDirectory)),
          name(std::to_string(process)) {
        clearOldSockets(directory.get());
        listener = listenAt(directory.get(), name.c_str());
    }
    ~StartSocket() { unlinkat(directory.get(), name.c_str(), 0); }

    StartSocket(const StartSocket&) = delete;
    StartSocket& operator=(const StartSocket&) = delete;

    int get() const noexcept { return listener.get(); }

private:
    Descriptor directory;
    std::string name;
    Descriptor listener;
};

// Waits for the process to connect; one that ends, or whose program can't be run, fails at once.
Descriptor awaitConnection(const StartSocket& socket, Launch& launch, const Deadline& deadline) {
    constexpr int pauseWithoutHandle = 20;  // ms
    for (;;) {
        pollfd watched[] = {
            {socket.get(), POLLIN, 0}, {launch.report(), POLLIN, 0}, {launch.end(), POLLIN, 0}};
        const int limit =
            launch.end() >= 0 ? deadline.left() : std::min(deadline.left(), pauseWithoutHandle);
        if (poll(watched, std::size(watched), limit) < 0 && errno != EINTR)
            refuseWithErrno();
        if (watched[1].revents != 0)
            if (const int error = launch.programError(); error != 0)
                refuse(errorFromErrno(error));
        if (Descriptor connection = acceptFrom(geteuid(), socket.get());
            connection && peerOf(connection.get()) == launch.process().id)
            return connection;
        if (deadline.isOver() || launch.hasEnded())
            refuse(ERROR_SERVICE_REQUEST_TIMEOUT);
    }
}

}  // namespace

void Starter::start(const KeptService& service, const std::vector<std::string>& arguments) {
    const Configuration configuration = service.entry.configuration();
    if (service.entry.isMarked())
        refuse(ERROR_SERVICE_MARKED_FOR_DELETE);
    if (configuration.startType == SERVICE_DISABLED)
        refuse(ERROR_SERVICE_DISABLED);
    if (!isOwnAccount(configuration.account))
        refuse(ERROR_SERVICE_LOGON_FAILED);

    const Descriptor directory = ensurePrivateDirectory(store.runtime(), service.key.c_str());
    const FileLock starting = tryLock(reopenDirectory(directory.get()), LOCK_EX);
    if (!starting || store.observe(service.key).isActive)
        refuse(ERROR_SERVICE_ALREADY_RUNNING);
    underway.push_back(service.key);
    startDependencies(configuration);
    underway.pop_back();

    RunState state(directory.get(), startingStatus(configuration.type));
    try {
        state.putArguments(arguments);
        handOver(configuration, state);
    } catch (const Refusal& refusal) {
        state.setStatus(stoppedStatus(configuration.type, refusal.error));
        state.end();
        throw;
    }
    state.leaveToService();
}

void Starter::startDependencies(const Configuration& configuration) {
    for (const std::string& dependency : configuration.dependencies) {
        const bool runs = dependency.front() == groupMark ? ensureGroupRuns(dependency.substr(1))
                                                          : ensureRuns(fileKey(dependency));
        if (!runs)
            refuse(ERROR_SERVICE_DEPENDENCY_FAIL);
    }
}

// All members are started, and one that runs is enough.
bool Starter::ensureGroupRuns(const std::string& group) {
    bool runs = false;
    for (const std::string& member : membersOf(store.database(), group)) {
        try {
            runs = ensureRuns(member) || runs;
        } catch (const Refusal& refusal) {
            if (refusal.error == ERROR_CIRCULAR_DEPENDENCY)
                throw;
        }
    }
    return runs;
}

bool Starter::ensureRuns(const std::string& key) {
    if (std::find(underway.begin(), underway.end(), key) != underway.end())
        refuse(ERROR_CIRCULAR_DEPENDENCY);
    if (store.observe(key).status.dwCurrentState == SERVICE_RUNNING)
        return true;
    try {
        start(store.keep(key), {});
    } catch (const Refusal& refusal) {
        if (refusal.error == ERROR_SERVICE_DOES_NOT_EXIST ||
            refusal.error == ERROR_SERVICE_MARKED_FOR_DELETE)
            refuse(ERROR_SERVICE_DEPENDENCY_DELETED);
        if (refusal.error == ERROR_CIRCULAR_DEPENDENCY)
            throw;
        if (refusal.error != ERROR_SERVICE_ALREADY_RUNNING)
            return false;
    }
    return awaitRunning(key);
}

// A service that is starting, perhaps on another's request, is given time as long as it reports
// progress.
bool Starter::awaitRunning(const std::string& key) const {
    DWORD checkPoint = 0;
    Deadline deadline(responseLimit());
    for (;;) {
        const SERVICE_STATUS status = store.observe(key).status;
        if (status.dwCurrentState == SERVICE_RUNNING)
            return true;
        if (status.dwCheckPoint != checkPoint) {
            checkPoint = status.dwCheckPoint;
            deadline =
                Deadline(std::max(responseLimit(), std::chrono::milliseconds(status.dwWaitHint)));
        }
        if (status.dwCurrentState != SERVICE_START_PENDING || deadline.isOver())
            return false;
        poll(nullptr, 0, pauseBetweenLooks);
    }
}

void Starter::handOver(const Configuration& configuration, RunState& state) const {
    if (!configuration.sharesProcess()) {
        handToNewProcess(configuration, state);
        return;
    }
    const Descriptor directory = ensurePrivateDirectory(store.runtime(), sharedDirectory);
    const Descriptor lockDirectory =
        ensurePrivateDirectory(directory.get(), fileKey(configuration.commandLine).c_str());
    const FileLock alone = waitForLock(reopenDirectory(lockDirectory.get()), LOCK_EX);
    if (!handToSibling(configuration, state))
        handToNewProcess(configuration, state);
}

// Hands the service to the process of another one of the same program.
bool Starter::handToSibling(const Configuration& configuration, RunState& state) const {
    for (const std::string& key : store.database().keys()) {
        const Observation sibling = store.observe(key);
        const Entry entry = sibling.isActive ? store.database().find(key) : Entry();
        if (!entry)
            continue;
        const Configuration other = entry.configuration();
        if (!other.sharesProcess() || other.commandLine != configuration.commandLine)
            continue;

        const Deadline deadline(responseLimit());
        const Descriptor directory = openPrivateDirectory(store.runtime(), key.c_str());
        const Descriptor connection =
            directory ? connectTo(directory.get(), controlSocket, deadline) : Descriptor();
        if (!connection)
            continue;
        state.setProcess(sibling.process);
        offer(connection.get(), configuration, state);
        const Answer answer =
            awaitReply(connection.get(), watchProcess(sibling.process.id).get(), deadline);
        if (answer.isTimedOut)
            refuse(ERROR_SERVICE_REQUEST_TIMEOUT);
        if (!answer.reply)
            continue;
        if (answer.reply->error != ERROR_SUCCESS)
            refuse(answer.reply->error);
        return true;
    }
    return false;
}

void Starter::handToNewProcess(const Configuration& configuration, RunState& state) const {
    const Deadline deadline(responseLimit());
    Launch launch(findCommand(configuration.commandLine));
    const StartSocket socket(store.runtime(), launch.process().id);
    state.setProcess(launch.process());
    launch.go();
    const Descriptor connection = awaitConnection(socket, launch, deadline);
    offer(connection.get(), configuration, state);
    const Answer answer = awaitReply(connection.get(), launch.end(), deadline);
    if (!answer.reply)
        refuse(ERROR_SERVICE_REQUEST_TIMEOUT);
    // A process that can't run the service is told so, and ends by itself.
    launch.leaveAlone();
    if (answer.reply->error != ERROR_SUCCESS)
        refuse(answer.reply->error);
}

}  // namespace Sorvex::platform::services
