#include "sorvex_service/control.h"

#include <algorithm>
#include <csignal>
#include <future>
#include <thread>

#include "sorvex_service/graph.h"
#include "sorvex_service/log_file.h"

namespace Sorvex::tools {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t linesOfFailure = 10;

std::string progressText(const std::string& name, const BServiceStatus& status) {
    std::string text = name + " is " + stateName(status.state());
    if (status.checkPoint() != 0)
        text += ", check point " + std::to_string(status.checkPoint());
    return text;
}

// The services that kept a service from starting.
std::string missingDependencies(const std::string& name) {
    const auto all = platform::services::allServices();
    if (!all)
        return "";
    std::string text;
    const Graph graph(*all);
    const auto own = graph.find(name);
    if (!own)
        return text;
    for (const Dependency& dependency : graph.dependenciesOf(*own)) {
        const auto runs = [&](std::size_t member) {
            return (*all)[member].run.status.dwCurrentState == SERVICE_RUNNING;
        };
        if (std::any_of(dependency.members.begin(), dependency.members.end(), runs))
            continue;
        text += "; " + dependency.name;
        if (dependency.members.empty())
            text += " does not exist";
        for (const std::size_t member : dependency.members) {
            const platform::SERVICE_STATUS& status = (*all)[member].run.status;
            text += " is " + stateName(status.dwCurrentState);
            if (const std::string reason = endText(status); !reason.empty())
                text += ": " + reason;
        }
    }
    return text;
}

std::string reasonOfStart(const std::string& name, DWORD error) {
    std::string reason = errorText(error);
    if (error == ERROR_SERVICE_DEPENDENCY_FAIL || error == ERROR_SERVICE_DEPENDENCY_DELETED)
        reason += missingDependencies(name);
    return reason;
}

std::string runningDependents(const std::string& name) {
    std::string names;
    if (const auto all = platform::services::allServices()) {
        const Graph graph(*all);
        if (const auto own = graph.find(name))
            for (const std::size_t dependent : graph.dependentsOf(*own))
                if ((*all)[dependent].run.isActive)
                    names += (names.empty() ? "" : ", ") + (*all)[dependent].configuration.name;
    }
    return names;
}

// Asks a service to stop that is to be killed if need be, and again until it listens.
DWORD requestStop(OpenedService& service, Clock::time_point killAt) {
    for (;;) {
        const DWORD error = errorOf([&] { service->stop(); });
        const bool mayListenLater = error == ERROR_SERVICE_CANNOT_ACCEPT_CTRL ||
                                    error == ERROR_INVALID_SERVICE_CONTROL ||
                                    error == ERROR_SERVICE_REQUEST_TIMEOUT;
        if (!mayListenLater || Clock::now() >= killAt)
            return error;
        std::this_thread::sleep_for(pauseBetweenLooks);
    }
}

// The same, but not much longer than until the time has come to kill it: a handler that hangs keeps
// whoever asks for long. The thread ends with the process that it asks.
DWORD requestStop(const std::string& name, Clock::time_point killAt, std::future<DWORD>& asked) {
    // What keeps a service from being asked at all is known by then.
    constexpr milliseconds shortestWait{1000};
    asked = std::async(std::launch::async, [=] {
        OpenedService service(name, SERVICE_STOP);
        return requestStop(service, killAt);
    });
    const auto state = asked.wait_until(std::max(killAt, Clock::now() + shortestWait));
    return state == std::future_status::ready ? asked.get() : ERROR_SERVICE_REQUEST_TIMEOUT;
}

bool awaitStopped(OpenedService& service, milliseconds limit) {
    const Clock::time_point end = Clock::now() + limit;
    while (service.look().state() != SERVICE_STOPPED) {
        if (Clock::now() >= end)
            return false;
        std::this_thread::sleep_for(pauseBetweenLooks);
    }
    return true;
}

// A service that has taken the control may report only later that it is stopping.
bool awaitStop(OpenedService& service, milliseconds patience, const Progress& progress) {
    const Clock::time_point end = Clock::now() + patience;
    DWORD state = service.look().state();
    while (state != SERVICE_STOPPED && state != SERVICE_STOP_PENDING) {
        if (Clock::now() >= end)
            return false;
        std::this_thread::sleep_for(pauseBetweenLooks);
        state = service.look().state();
    }
    return service.awaitEndOf(SERVICE_STOP_PENDING, patience, progress) &&
           service->status().state() == SERVICE_STOPPED;
}

Outcome killService(OpenedService& service) {
    constexpr milliseconds timeToDie{10000};
    const std::string& name = service.name();
    const auto facts = platform::services::serviceNamed(name);
    if (facts && facts->run.isActive &&
        platform::services::signalService(facts->run, SIGKILL) != FALSE &&
        awaitStopped(service, timeToDie))
        return {exitDone, name + " did not stop, and its process was killed", ""};
    return {exitFailed, name + " did not stop, and its process can't be killed", ""};
}

}  // namespace

OpenedService::OpenedService(const std::string& typedName, unsigned long access) try
    : typed(typedName) {
    const DWORD error = errorOf([&] { service.emplace(manager, typed.c_str(), access); });
    if (error != ERROR_SUCCESS)
        fail(typed, error);
} catch (const Failure&) {
    throw;
} catch (const std::runtime_error&) {
    fail("the services can't be reached", platform::GetLastError());
}

BServiceStatus& OpenedService::look() {
    if (const DWORD error = errorOf([&] { service->queryStatus(); }); error != ERROR_SUCCESS)
        fail(typed, error);
    return service->status();
}

bool OpenedService::awaitEndOf(DWORD passing, milliseconds patience, const Progress& progress) {
    std::optional<DWORD> checkPoint;
    Clock::time_point end;
    for (;;) {
        const BServiceStatus& status = look();
        if (status.state() != passing)
            return true;
        if (checkPoint != status.checkPoint()) {
            checkPoint = status.checkPoint();
            end = Clock::now() + std::max(patience, milliseconds(status.waitHint()));
            progress(progressText(typed, status));
        }
        if (Clock::now() >= end)
            return false;
        std::this_thread::sleep_for(pauseBetweenLooks);
    }
}

Outcome startService(const std::string& name, const Words& arguments, WhenRunning whenRunning,
                     milliseconds patience, const Progress& progress) {
    OpenedService service(name, SERVICE_START | SERVICE_QUERY_STATUS);
    Words texts = arguments;
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    const auto facts = platform::services::serviceNamed(name);
    const LogPlace log(facts ? facts->log : "");
    const DWORD error = errorOf([&] { service->start(pointers.size(), pointers.data()); });
    const bool runsAlready =
        error == ERROR_SERVICE_ALREADY_RUNNING && whenRunning == WhenRunning::isGood;
    if (error != ERROR_SUCCESS && !runsAlready)
        return {exitFailed, name + " did not start: " + reasonOfStart(name, error),
                log.linesSince(linesOfFailure)};

    if (!service.awaitEndOf(SERVICE_START_PENDING, patience, progress))
        return {exitTimeOver, name + " is starting, but makes no progress",
                log.linesSince(linesOfFailure)};
    const BServiceStatus& status = service->status();
    if (status.state() != SERVICE_STOPPED)
        return {exitDone, name + " is " + stateName(status.state()), ""};
    const std::string reason = endText(*service->status());
    return {exitFailed, name + " stopped at once" + (reason.empty() ? "" : ": " + reason),
            log.linesSince(linesOfFailure)};
}

Outcome stopService(const std::string& name, std::optional<milliseconds> killAfter,
                    milliseconds patience, const Progress& progress) {
    OpenedService service(name, SERVICE_STOP | SERVICE_QUERY_STATUS);
    std::optional<Clock::time_point> killAt;
    if (killAfter)
        killAt = Clock::now() + *killAfter;
    std::future<DWORD> asked;
    const DWORD error =
        killAt ? requestStop(name, *killAt, asked) : errorOf([&] { service->stop(); });
    if (error == ERROR_DEPENDENT_SERVICES_RUNNING)
        return {exitFailed,
                name + " did not stop: " + errorText(error) + ": " + runningDependents(name), ""};
    if (error == ERROR_SERVICE_NOT_ACTIVE || (error != ERROR_SUCCESS && !killAt))
        return {exitFailed, name + " did not stop: " + errorText(error), ""};

    if (killAt) {
        const auto left = std::chrono::ceil<milliseconds>(*killAt - Clock::now());
        if (!awaitStopped(service, left))
            return killService(service);
    } else if (!awaitStop(service, patience, progress)) {
        const DWORD state = service->status().state();
        return {exitTimeOver,
                name + (state == SERVICE_STOP_PENDING ? " is stopping, but makes no progress"
                                                      : " is " + stateName(state)),
                ""};
    }
    const std::string reason = endText(*service->status());
    return {exitDone, name + " is stopped" + (reason.empty() ? "" : ": " + reason), ""};
}

}  // namespace Sorvex::tools
