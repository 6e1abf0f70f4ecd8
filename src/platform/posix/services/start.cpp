#include "platform/posix/services/start.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/services/channel.h"
#include "platform/posix/services/command_line.h"
#include "platform/posix/services/disk_steps.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/launch.h"
#include "platform/posix/services/logs.h"
#include "platform/posix/services/private_files.h"
#include "platform/posix/services/refusal.h"
#include "platform/posix/services/service_user.h"

namespace Sorvex::platform::services {

namespace {

// Of the starts of programs with several services, one lock file for each command line.
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

bool offer(int connection, const Configuration& configuration, const RunState& state) {
    Request request;
    request.kind = RequestKind::start;
    request.number = configuration.type;
    request.name = configuration.name;
    request.state = copyOf(state.get());
    return send(connection, request);
}

std::string socketPrefix() {
    return asHexadecimal(processNamespace()) + "-";
}

// Sockets that starters which were killed have left; their processes have gone too, or are about
// to. Those of other PID namespaces are left alone.
void clearOldSockets(int directory) {
    const std::string prefix = socketPrefix();
    for (const std::string& name : visibleEntries(directory)) {
        if (name.compare(0, prefix.size(), prefix) != 0)
            continue;
        pid_t process = 0;
        std::from_chars(name.data() + prefix.size(), name.data() + name.size(), process);
        if (process <= 0 || (::kill(process, 0) != 0 && errno == ESRCH))
            removeEntry(directory, name.c_str(), 0);
    }
}

// The socket that a process being started connects to, for the time of its start.
class StartSocket {
public:
    StartSocket(int runtime, pid_t process)
        : directory(ensurePrivateDirectory(runtime, startingDirectory)),
          name(startingSocket(process)) {
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
Descriptor awaitConnection(const StartSocket& socket, Launch& launch, const TimeLimit& limit) {
    constexpr int pauseWithoutHandle = 20;  // ms
    for (;;) {
        pollfd watched[] = {
            {socket.get(), POLLIN, 0}, {launch.report(), POLLIN, 0}, {launch.end(), POLLIN, 0}};
        const int pause =
            launch.end() >= 0 ? limit.left() : std::min(limit.left(), pauseWithoutHandle);
        if (poll(watched, std::size(watched), pause) < 0 && errno != EINTR)
            refuseWithErrno();
        if (watched[1].revents != 0)
            if (const int error = launch.programError(); error != 0)
                refuse(errorFromErrno(error));
        if (Descriptor connection = acceptFrom(geteuid(), socket.get());
            connection && peerOf(connection.get()) == launch.process().id)
            return connection;
        if (limit.isOver() || launch.hasEnded())
            refuse(ERROR_SERVICE_REQUEST_TIMEOUT);
    }
}

// Keeps two starts of the same program apart, so that one of them makes the process and the other
// finds it. The file goes with its last user; whoever was waiting for it then makes a new one.
class SharedStart {
public:
    SharedStart(int runtime, const std::string& commandLine)
        : directory(ensurePrivateDirectory(runtime, sharedDirectory)), name(fileKey(commandLine)) {
        for (bool isCurrent = false; !isCurrent;) {
            Descriptor file = openAt(directory.get(), name.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW,
                                     S_IRUSR | S_IWUSR);
            if (!file)
                refuseWithErrno();
            held = waitForLock(std::move(file), LOCK_EX);
            struct stat facts {};
            isCurrent = fstat(held.get(), &facts) == 0 && facts.st_nlink > 0;
        }
    }
    ~SharedStart() { unlinkat(directory.get(), name.c_str(), 0); }

    SharedStart(const SharedStart&) = delete;
    SharedStart& operator=(const SharedStart&) = delete;

private:
    TerminationShield shield;
    Descriptor directory;
    std::string name;
    FileLock held;
};

// What a service may be to count as running for those that depend on it.
bool countsAsRunning(const Observation& found) noexcept {
    if (!found.isUnderstood)
        return found.isActive;
    const DWORD state = found.status.dwCurrentState;
    return found.isActive && (state == SERVICE_RUNNING || state == SERVICE_PAUSED ||
                              state == SERVICE_PAUSE_PENDING || state == SERVICE_CONTINUE_PENDING);
}

}  // namespace

std::string startingSocket(pid_t process) {
    return socketPrefix() + std::to_string(process);
}

void Starter::Run::begin() {
    state = RunState(directory.get(), startingStatus(configuration.type));
    state.putArguments(arguments);
}

void Starter::start(const KeptService& service, const std::vector<std::string>& arguments,
                    StreamsOf streams) {
    Run run{service.key, {}, arguments, streams, {}, {}};
    const TerminationShield shield;
    FileLock starting;
    {
        // A change of the configuration comes before all this, or finds the service active. Others
        // find it so while it still waits for what it depends on, so that those who depend on it
        // wait as well.
        const ScopedFileLock unchanged = store.database().lock(LOCK_SH);
        run.configuration = service.entry.configuration();
        if (service.entry.isMarked())
            refuse(ERROR_SERVICE_MARKED_FOR_DELETE);
        if (run.configuration.startType == SERVICE_DISABLED)
            refuse(ERROR_SERVICE_DISABLED);

        run.directory = ensurePrivateDirectory(store.runtime(), run.key.c_str());
        starting = tryLock(reopenDirectory(run.directory.get()), LOCK_EX);
        if (!starting || store.observe(run.key).isActive)
            refuse(ERROR_SERVICE_ALREADY_RUNNING);
        announceDependent(store, run.configuration);
        run.begin();
    }
    const std::size_t depth = underway.size();
    try {
        if (!isOwnAccount(run.configuration.account))
            refuse(ERROR_SERVICE_LOGON_FAILED);
        underway.push_back(run.key);
        startDependencies(run.configuration);
        underway.pop_back();
        handOver(run);
    } catch (const Refusal& refusal) {
        underway.resize(depth);
        run.state.setStatus(stoppedStatus(run.configuration.type, refusal.error));
        run.state.end();
        throw;
    }
    run.state.leaveToService();
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
    const std::vector<std::string> members = groups.membersOf(group);
    for (const std::string& member : members) {
        try {
            runs = ensureRuns(member) || runs;
        } catch (const Refusal& refusal) {
            if (refusal.error == ERROR_CIRCULAR_DEPENDENCY)
                throw;
        }
    }
    return runs;
}

// Starts a service unless somebody else does, and waits as long as its start goes on: without limit
// while somebody is at it, who has limits of his own, and then as long as the service reports
// progress.
bool Starter::ensureRuns(const std::string& key) {
    if (std::find(underway.begin(), underway.end(), key) != underway.end())
        refuse(ERROR_CIRCULAR_DEPENDENCY);
    bool hasBegun = false;
    DWORD checkPoint = 0;
    TimeLimit limit(responseLimit());
    for (;;) {
        const Observation found = store.observe(key);
        if (countsAsRunning(found))
            return true;
        if (found.isActive && found.status.dwCurrentState != SERVICE_START_PENDING)
            return false;
        if (!found.isActive && hasBegun)
            return false;
        if (!found.isActive && tryStart(key)) {
            hasBegun = true;
            continue;
        }
        // Two starters that wait for each other would do so for ever.
        if (found.isBeingStarted && found.isActive && !hasBegun && isPartOfCircle())
            refuse(ERROR_CIRCULAR_DEPENDENCY);
        hasBegun = hasBegun || found.isActive;
        if (found.isBeingStarted || found.status.dwCheckPoint != checkPoint) {
            checkPoint = found.status.dwCheckPoint;
            limit = TimeLimit(
                std::max(responseLimit(), std::chrono::milliseconds(found.status.dwWaitHint)));
        }
        if (limit.isOver())
            return false;
        poll(nullptr, 0, pauseBetweenLooks);
    }
}

// Starts a service that others need; false when somebody else is just about to.
bool Starter::tryStart(const std::string& key) {
    try {
        start(store.keep(key), {});
        return true;
    } catch (const Refusal& refusal) {
        switch (refusal.error) {
            case ERROR_SERVICE_ALREADY_RUNNING:
                return false;
            case ERROR_SERVICE_DOES_NOT_EXIST:
            case ERROR_SERVICE_MARKED_FOR_DELETE:
                refuse(ERROR_SERVICE_DEPENDENCY_DELETED);
            case ERROR_CIRCULAR_DEPENDENCY:
                throw;
            default:
                refuse(ERROR_SERVICE_DEPENDENCY_FAIL);
        }
    }
}

// Whether the start that waits is part of a circle, which only a damaged database can have.
bool Starter::isPartOfCircle() const {
    const auto waiting = store.database().configurationOf(underway.back());
    return waiting && isCircular(store.database(), *waiting);
}

void Starter::handOver(Run& run) const {
    if (!run.configuration.sharesProcess()) {
        handToNewProcess(run);
        return;
    }
    const SharedStart alone(store.runtime(), run.configuration.commandLine);
    if (!handToSibling(run))
        handToNewProcess(run);
}

// Hands the service to the process of another one of the same program. One that ends meanwhile, or
// can't take it since it has given up rights or has no threads left, may have begun with it, so the
// next attempt gets a file of its own.
bool Starter::handToSibling(Run& run) const {
    for (const std::string& key : store.database().keys()) {
        const Observation sibling = store.observeOther(key);
        if (!sibling.isActive || sibling.isBeingStarted || key == run.key)
            continue;
        const auto other = store.database().configurationOf(key);
        if (!other || !other->sharesProcess() ||
            other->commandLine != run.configuration.commandLine)
            continue;

        const TimeLimit limit(responseLimit());
        const Descriptor directory = openPrivateDirectory(store.runtime(), key.c_str());
        const Descriptor connection =
            directory ? connectTo(directory.get(), controlSocket, limit) : Descriptor();
        if (!connection)
            continue;
        if (sibling.isProcessKnown)
            run.state.setProcess(sibling.process);
        Answer answer;
        if (offer(connection.get(), run.configuration, run.state))
            answer = awaitReply(connection.get(), watchProcess(sibling).get(), limit);
        if (answer.isTimedOut)
            refuse(ERROR_SERVICE_REQUEST_TIMEOUT);
        if (answer.reply && answer.reply->error == ERROR_SUCCESS)
            return true;
        if (answer.reply && answer.reply->error == ERROR_SERVICE_NOT_IN_EXE)
            refuse(ERROR_SERVICE_NOT_IN_EXE);
        run.begin();
    }
    return false;
}

void Starter::handToNewProcess(Run& run) const {
    const TimeLimit limit(responseLimit());
    Launch launch(findCommand(run.configuration.commandLine), run.streams,
                  run.streams == StreamsOf::log ? openLog(run.key) : Descriptor());
    const StartSocket socket(store.runtime(), launch.process().id);
    run.state.setProcess(launch.process());
    launch.go();
    const Descriptor connection = awaitConnection(socket, launch, limit);
    if (!offer(connection.get(), run.configuration, run.state))
        refuse(ERROR_SERVICE_REQUEST_TIMEOUT);
    const Answer answer = awaitReply(connection.get(), launch.end(), limit);
    if (!answer.reply)
        refuse(ERROR_SERVICE_REQUEST_TIMEOUT);
    // A process that can't run the service is told so, and ends by itself.
    launch.leaveAlone();
    if (answer.reply->error != ERROR_SUCCESS)
        refuse(answer.reply->error);
}

}  // namespace Sorvex::platform::services
