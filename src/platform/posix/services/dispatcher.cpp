#include "platform/posix/services/dispatcher.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "platform/posix/base/retried.h"
#include "platform/posix/services/control_codes.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/places.h"
#include "platform/posix/services/private_files.h"
#include "platform/posix/services/refusal.h"
#include "platform/posix/services/start.h"

namespace Sorvex::platform::services {

namespace {

constexpr DWORD typesOfPrograms = SERVICE_WIN32_OWN_PROCESS | SERVICE_WIN32_SHARE_PROCESS;

constexpr std::size_t mostConnections = 64;
// A connection that can't be accepted for want of descriptors stays readable, and poll would return
// at once for ever.
constexpr int pauseWithoutDescriptors = 10;  // ms

// What an entry point or a handler throws ends the process, as on a thread of the language.
void callEntry(LPSERVICE_MAIN_FUNCTIONA entry, const std::vector<std::string>& texts) noexcept {
    std::vector<const char*> arguments;
    arguments.reserve(texts.size() + 1);
    for (const std::string& text : texts)
        arguments.push_back(text.c_str());
    arguments.push_back(nullptr);
    entry(static_cast<DWORD>(texts.size()), arguments.data());
}

void callHandler(LPHANDLER_FUNCTION handler, DWORD code) noexcept {
    handler(code);
}

bool isValid(const SERVICE_STATUS& status) noexcept {
    const bool knownType =
        status.dwServiceType == 0 || (status.dwServiceType & typesOfPrograms) != 0;
    return knownType && status.dwCurrentState >= SERVICE_STOPPED &&
           status.dwCurrentState <= SERVICE_PAUSED;
}

// A program without a handler of its own for SIGTERM takes it as a control, so that a host that
// shuts down ends services in order. The handler only leaves word with the dispatcher's thread.
constinit std::atomic<int> wakeOfTermination{-1};
constinit std::atomic<pid_t> processOfTermination{0};
constinit std::atomic<bool> isTerminationDue{false};

void noteTermination(int signal) {
    // A child that the service has forked has no dispatcher.
    if (getpid() != processOfTermination) {
        ::signal(signal, SIG_DFL);
        raise(signal);
        return;
    }
    const int error = errno;
    isTerminationDue = true;
    constexpr std::uint64_t one = 1;
    static_cast<void>(!write(wakeOfTermination, &one, sizeof one));
    errno = error;
}

// Changes what SIGTERM does, if it does this at the moment.
void changeTermination(void (*from)(int), void (*to)(int)) {
    struct sigaction action {};
    sigaction(SIGTERM, nullptr, &action);
    if ((action.sa_flags & SA_SIGINFO) != 0 || action.sa_handler != from)
        return;
    action = {};
    action.sa_handler = to;
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
}

// The time in which SIGTERM is a control.
class TerminationAsControl {
public:
    explicit TerminationAsControl(int wake) {
        wakeOfTermination = wake;
        processOfTermination = getpid();
        changeTermination(SIG_DFL, noteTermination);
    }
    ~TerminationAsControl() { changeTermination(noteTermination, SIG_DFL); }

    TerminationAsControl(const TerminationAsControl&) = delete;
    TerminationAsControl& operator=(const TerminationAsControl&) = delete;
};

}  // namespace

Dispatcher& Dispatcher::ofProcess() {
    // Threads of services may still report while the process exits, so it is never destroyed.
    static auto* const dispatcher = new Dispatcher;
    return *dispatcher;
}

void Dispatcher::run(const SERVICE_TABLE_ENTRYA* newTable) {
    if (newTable == nullptr || newTable->lpServiceName == nullptr)
        refuse(ERROR_INVALID_DATA);
    connectToStarter();
    for (const auto* entry = newTable; entry->lpServiceName != nullptr; ++entry)
        table.emplace_back(entry->lpServiceName, entry->lpServiceProc);
    Request first = awaitFirstStart();
    // Before an entry point can set a handler of its own, and not while there is no service yet: a
    // program that no manager has started may go on as an ordinary one.
    const TerminationAsControl signals(wake.get());
    // A starter that is gone by now has left a service that runs, as if he had seen the answer.
    const Reply reply{takeStart(first), {}};
    send(starter.get(), reply);
    starter.close();
    serveUntilStopped();
    connections.clear();
}

void Dispatcher::connectToStarter() {
    const std::lock_guard lock(mutex);
    if (isConnected)
        refuse(ERROR_SERVICE_ALREADY_RUNNING);
    try {
        const Descriptor runtime = openPlace(placesOfUser().runtime);
        const Descriptor starting =
            runtime ? openPrivateDirectory(runtime.get(), startingDirectory) : Descriptor();
        if (starting)
            starter = connectTo(starting.get(), startingSocket(getpid()).c_str(),
                                TimeLimit(responseLimit()));
    } catch (const Refusal&) {
        // Whatever is wrong with the places, no manager of this user has started this process.
    }
    if (!starter)
        refuse(ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
    wake = Descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!wake)
        refuseWithErrno();
    user = geteuid();
    store = std::make_unique<const Store>();
    isConnected = true;
}

Request Dispatcher::awaitFirstStart() {
    std::optional<Request> request;
    if (awaitReadable(starter.get(), TimeLimit(responseLimit())))
        request = receiveRequest(starter.get());
    if (!request || request->kind != RequestKind::start)
        refuse(ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
    return std::move(*request);
}

// Starts the service of a request. Gives the error for the starter, ERROR_SUCCESS for none.
DWORD Dispatcher::takeStart(Request& request) try {
    const auto entry = entryFor(request);
    if (entry == nullptr)
        return ERROR_SERVICE_NOT_IN_EXE;
    auto service = std::make_unique<HostedService>();
    service->name = request.name;
    service->key = fileKey(request.name);
    service->type = request.number;
    service->state = RunState(std::move(request.state));
    service->status = service->state.currentStatus();
    // The starter has given up in the meantime.
    if (service->status.dwCurrentState != SERVICE_START_PENDING)
        return ERROR_SERVICE_REQUEST_TIMEOUT;

    const Descriptor directory = openPrivateDirectory(store->runtime(), service->key.c_str());
    if (!directory)
        return ERROR_SERVICE_DOES_NOT_EXIST;
    // The socket comes first: from the takeover on controls are sent to it.
    service->listener = listenAt(directory.get(), controlSocket);
    service->state.takeOver();
    std::vector<std::string> arguments = service->state.takeArguments();
    arguments.insert(arguments.begin(), service->name);

    const std::lock_guard lock(mutex);
    services.push_back(std::move(service));
    try {
        // An entry point may return long after its service has stopped, or never.
        std::thread(callEntry, entry, std::move(arguments)).detach();
    } catch (const std::system_error&) {
        services.pop_back();
        return ERROR_SERVICE_NO_THREAD;
    }
    return ERROR_SUCCESS;
} catch (const Refusal& refusal) {
    return refusal.error;
}

// The name doesn't count when the service is alone in its process.
LPSERVICE_MAIN_FUNCTIONA Dispatcher::entryFor(const Request& request) const {
    if ((request.number & SERVICE_WIN32_SHARE_PROCESS) == 0)
        return table.front().second;
    const std::string name = foldCase(request.name);
    const auto found = std::find_if(table.begin(), table.end(), [&](const auto& entry) {
        return foldCase(entry.first) == name;
    });
    return found == table.end() ? nullptr : found->second;
}

void Dispatcher::serveUntilStopped() {
    while (waitForWork()) {
        if (isTerminationDue.exchange(false))
            passTermination();
        if (!acceptConnections())
            poll(nullptr, 0, pauseWithoutDescriptors);
        for (std::size_t next = 0; next < connections.size();) {
            // Looked at once more, since a handler that was called in between takes its time.
            pollfd state{connections[next].socket.get(), POLLIN | POLLRDHUP, 0};
            const int ready = poll(&state, 1, 0);
            if (ready <= 0 && !connections[next].deadline.isOver()) {
                ++next;
                continue;
            }
            // Whoever has hung up was told that the service doesn't answer, and is right with that.
            Connection connection = std::move(connections[next]);
            connections.erase(connections.begin() + static_cast<std::ptrdiff_t>(next));
            if (ready > 0 && (state.revents & (POLLHUP | POLLRDHUP | POLLERR)) == 0)
                serve(connection);
        }
    }
}

// Waits for a connection, a request or a stop; false when no service is left.
bool Dispatcher::waitForWork() {
    // When there are this many connections, more wait in the queues of the sockets.
    const bool isFull = connections.size() >= mostConnections;
    std::vector<pollfd> watched;
    {
        const std::lock_guard lock(mutex);
        watched.push_back({wake.get(), POLLIN, 0});
        for (const auto& service : services) {
            // Only this thread closes a listener, so no other descriptor gets its number while it
            // is watched. poll passes over negative numbers.
            if (service->isRunning)
                watched.push_back({isFull ? -1 : service->listener.get(), POLLIN, 0});
            else
                service->listener.close();
        }
    }
    if (watched.size() == 1)
        return false;
    int limit = -1;
    for (const Connection& connection : connections) {
        watched.push_back({connection.socket.get(), POLLIN | POLLRDHUP, 0});
        const int left = connection.deadline.left();
        limit = limit < 0 ? left : std::min(limit, left);
    }
    if (poll(watched.data(), watched.size(), limit) < 0 && errno != EINTR)
        refuseWithErrno();
    // Taken before anything is looked at, so that what comes in between wakes it up again.
    std::uint64_t count = 0;
    retried([&] { return read(wake.get(), &count, sizeof count); });
    return true;
}

// Takes the connections that wait; false when the process has no descriptor left for one.
bool Dispatcher::acceptConnections() {
    const std::lock_guard lock(mutex);
    for (const auto& service : services) {
        while (service->isRunning && connections.size() < mostConnections) {
            Descriptor accepted = acceptFrom(user, service->listener.get());
            if (!accepted && errno != EAGAIN)
                return false;
            if (!accepted)
                break;
            connections.push_back({std::move(accepted), service.get(), TimeLimit(responseLimit())});
        }
    }
    return true;
}

void Dispatcher::serve(Connection& connection) {
    auto request = receiveRequest(connection.socket.get());
    if (!request)
        return;
    const Reply reply = request->kind == RequestKind::start
                            ? Reply{takeStart(*request), {}}
                            : answer(*connection.service, request->number);
    send(connection.socket.get(), reply);
}

// Tells all services that the machine shuts down, or to stop. Where none of them takes the control,
// the signal does what it does by itself.
void Dispatcher::passTermination() {
    bool isTaken = false;
    for (std::size_t next = 0;; ++next) {
        std::unique_lock lock(mutex);
        if (next == services.size())
            break;
        HostedService& service = *services[next];
        lock.unlock();
        Reply reply = answer(service, SERVICE_CONTROL_SHUTDOWN);
        if (reply.error != ERROR_SUCCESS)
            reply = answer(service, SERVICE_CONTROL_STOP);
        isTaken = isTaken || reply.error == ERROR_SUCCESS ||
                  reply.status.dwCurrentState == SERVICE_STOP_PENDING;
    }
    if (isTaken)
        return;
    changeTermination(noteTermination, SIG_DFL);
    raise(SIGTERM);
}

Reply Dispatcher::answer(HostedService& service, DWORD code) {
    std::unique_lock lock(mutex);
    DWORD error = refusalOf(service.status, code);
    if (error == ERROR_SUCCESS && service.handler == nullptr)
        error = ERROR_SERVICE_CANNOT_ACCEPT_CTRL;
    if (error == ERROR_SUCCESS) {
        // The handler reports, which takes the lock.
        const auto handler = service.handler;
        lock.unlock();
        callHandler(handler, code);
        lock.lock();
    }
    return {error, service.status};
}

HostedService* Dispatcher::registerHandler(const std::string& name, LPHANDLER_FUNCTION handler) {
    const std::lock_guard lock(mutex);
    const std::string wanted = foldCase(name);
    for (const auto& service : services) {
        // The name doesn't count when the service is alone in its process.
        const bool isAlone = (service->type & SERVICE_WIN32_SHARE_PROCESS) == 0;
        if (service->state && (isAlone || foldCase(service->name) == wanted)) {
            service->handler = handler;
            return service.get();
        }
    }
    refuse(ERROR_SERVICE_NOT_IN_EXE);
}

void Dispatcher::report(const void* handle, SERVICE_STATUS status) {
    std::unique_lock lock(mutex);
    const auto found = std::find_if(services.begin(), services.end(),
                                    [&](const auto& known) { return known.get() == handle; });
    if (found == services.end() || !(*found)->state)
        refuse(ERROR_INVALID_HANDLE);
    if (!isValid(status))
        refuse(ERROR_INVALID_DATA);
    HostedService& service = **found;
    if (status.dwServiceType == 0)
        status.dwServiceType = service.type;
    service.state.setStatus(status);
    service.status = status;
    if (status.dwCurrentState != SERVICE_STOPPED)
        return;

    // From here on the service can be started again, in another process.
    service.state.end();
    // That waits for the lock of the database, which may take long. The process stays until then,
    // although all of its services may have stopped.
    lock.unlock();
    store->releaseMarked(service.key);
    lock.lock();
    service.isRunning = false;
    wakeUp();
}

void Dispatcher::wakeUp() const noexcept {
    constexpr std::uint64_t one = 1;
    retried([&] { return write(wake.get(), &one, sizeof one); });
}

}  // namespace Sorvex::platform::services
