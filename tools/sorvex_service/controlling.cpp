#include <iostream>
#include <thread>

#include "sorvex_service/boot.h"
#include "sorvex_service/commands.h"
#include "sorvex_service/control.h"

namespace Sorvex::tools {

namespace {

void tellProgress(const std::string& line) {
    std::cout << line << std::endl;
}

milliseconds patienceOf(const Arguments& arguments) {
    return arguments.seconds("--timeout").value_or(usualPatience);
}

int tell(const Outcome& outcome) {
    if (!outcome.isGood()) {
        std::cerr << outcome.log;
        throw Failure(outcome.text, outcome.exitCode);
    }
    std::cout << outcome.text << '\n';
    return exitDone;
}

// Sends a control and waits until the service has done what it stands for.
int change(const Arguments& arguments, const char* what, DWORD code, DWORD passing, DWORD wanted) {
    OpenedService service(arguments.operand(0), SERVICE_PAUSE_CONTINUE | SERVICE_QUERY_STATUS);
    if (const DWORD error = errorOf([&] { service->control(code); }); error != ERROR_SUCCESS)
        fail(service.name() + " did not " + what, error);
    const bool isInTime = service.awaitEndOf(passing, patienceOf(arguments), tellProgress);
    const std::string text = service.name() + " is " + stateName(service->status().state());
    if (service->status().state() == wanted)
        return tell({exitDone, text, ""});
    return tell({isInTime ? exitFailed : exitTimeOver, text, ""});
}

}  // namespace

int start(const Arguments& arguments) {
    return tell(startService(arguments.operand(0), arguments.more(), WhenRunning::isFailure,
                             patienceOf(arguments), tellProgress));
}

int stop(const Arguments& arguments) {
    const std::string& name = arguments.operand(0);
    const auto killAfter = arguments.seconds("--kill-after");
    const milliseconds patience = patienceOf(arguments);
    Words others;
    return tell(arguments.has("--with-dependents")
                    ? stopWithDependents(name, killAfter, patience, tellProgress, others)
                    : stopService(name, killAfter, patience, tellProgress));
}

int restart(const Arguments& arguments) {
    const std::string& name = arguments.operand(0);
    const auto killAfter = arguments.seconds("--kill-after");
    const milliseconds patience = patienceOf(arguments);
    Words others;
    const bool runs = OpenedService(name, SERVICE_QUERY_STATUS).look().state() != SERVICE_STOPPED;
    if (runs) {
        const Outcome stopped =
            arguments.has("--with-dependents")
                ? stopWithDependents(name, killAfter, patience, tellProgress, others)
                : stopService(name, killAfter, patience, tellProgress);
        if (!stopped.isGood())
            return tell(stopped);
        tellProgress(stopped.text);
    }
    const Outcome started =
        startService(name, arguments.more(), WhenRunning::isFailure, patience, tellProgress);
    tell(started);
    for (const std::string& other : others)
        tell(startService(other, {}, WhenRunning::isGood, patience, tellProgress));
    return exitDone;
}

int pauseService(const Arguments& arguments) {
    return change(arguments, "pause", SERVICE_CONTROL_PAUSE, SERVICE_PAUSE_PENDING, SERVICE_PAUSED);
}

int continueService(const Arguments& arguments) {
    return change(arguments, "continue", SERVICE_CONTROL_CONTINUE, SERVICE_CONTINUE_PENDING,
                  SERVICE_RUNNING);
}

int sendControl(const Arguments& arguments) {
    constexpr unsigned long greatestCode = 255;
    const auto code = asNumber(arguments.operand(1), greatestCode);
    if (!code)
        arguments.refuse("needs a CODE from 0 to 255");
    OpenedService service(arguments.operand(0), SERVICE_ALL_ACCESS);
    if (const DWORD error = errorOf([&] { service->control(*code); }); error != ERROR_SUCCESS)
        fail(service.name() + " did not take the control " + arguments.operand(1), error);
    const BServiceStatus& status = service->status();
    std::cout << service.name() << " is " << stateName(status.state());
    if (status.checkPoint() != 0)
        std::cout << ", check point " << status.checkPoint();
    std::cout << '\n';
    return exitDone;
}

int waitFor(const Arguments& arguments) {
    using Clock = std::chrono::steady_clock;
    const auto wanted = stateNamed(arguments.operand(1));
    if (!wanted)
        arguments.refuse("needs a STATE such as running or stopped");
    const auto limit = arguments.seconds("--timeout");
    const Clock::time_point begin = Clock::now();
    OpenedService service(arguments.operand(0), SERVICE_QUERY_STATUS);
    while (service.look().state() != *wanted) {
        if (limit && Clock::now() - begin >= *limit)
            throw Failure(service.name() + " is " + stateName(service->status().state()),
                          exitTimeOver);
        std::this_thread::sleep_for(pauseBetweenLooks);
    }
    return exitDone;
}

int startAutomaticServices(const Arguments& arguments) {
    return startAutomatic(patienceOf(arguments));
}

int stopAllServices(const Arguments& arguments) {
    return stopAll(arguments.seconds("--kill-after"), patienceOf(arguments));
}

}  // namespace Sorvex::tools
