// A service in the foreground: what supervisors and containers need.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <iostream>
#include <thread>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>

#include "platform/posix/base/descriptor.h"
#include "platform/posix/base/retried.h"
#include "sorvex_service/boot.h"
#include "sorvex_service/commands.h"
#include "sorvex_service/control.h"

namespace Sorvex::tools {

namespace {

using platform::Descriptor;
using platform::retried;

constexpr int greatestExitCode = 255;

void warn(const std::string& text) {
    std::cerr << "sorvex-service: " << text << std::endl;
}

// The signals that this process takes, as something to be read. All threads inherit the mask; the
// process of the service begins without it.
Descriptor takeSignals() {
    sigset_t taken;
    sigemptyset(&taken);
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGCHLD})
        sigaddset(&taken, number);
    pthread_sigmask(SIG_BLOCK, &taken, nullptr);
    return Descriptor(signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK));
}

class Foreground {
public:
    explicit Foreground(const std::string& typedName)
        : name(typedName), service(typedName, SERVICE_ALL_ACCESS), signals(takeSignals()) {
        if (!signals)
            throw Failure(name + " can't be run: no signals can be taken");
        // A warning that nobody reads any more must not end this process ahead of its service.
        std::signal(SIGPIPE, SIG_IGN);
        // The process of the service and what that leaves behind become children of this one.
        prctl(PR_SET_CHILD_SUBREAPER, 1);
    }

    void start(const Words& arguments) {
        const Descriptor done(eventfd(0, EFD_CLOEXEC));
        DWORD error = ERROR_SUCCESS;
        std::thread starter([&] {
            if (platform::services::startInForeground(name, arguments) == FALSE)
                error = platform::GetLastError();
            eventfd_write(done.get(), 1);
        });
        pollfd watched[] = {{signals.get(), POLLIN, 0}, {done.get(), POLLIN, 0}};
        while (watched[1].revents == 0) {
            if (poll(watched, 2, -1) > 0 && watched[0].revents != 0 && readSignals()) {
                // A process that has become a service remembers it, and another one ends by it.
                if (const auto facts = platform::services::serviceNamed(name);
                    facts && facts->run.isActive && facts->run.process.id != getpid())
                    platform::services::signalService(facts->run, SIGTERM);
            }
        }
        starter.join();
        if (error != ERROR_SUCCESS)
            fail(name + " did not start", error);
        if (const auto facts = platform::services::serviceNamed(name))
            process = facts->run.process.id;
        siginfo_t child{};
        isChild = process > 0 && waitid(P_PID, static_cast<id_t>(process), &child,
                                        WEXITED | WNOHANG | WNOWAIT) == 0;
    }

    // Waits for the end of the process; of one that another program has started, for the end of the
    // service.
    int awaitEnd() {
        constexpr int pause = 200;  // ms
        for (;;) {
            reap();
            if (isChild ? hasProcessEnded : service.look().state() == SERVICE_STOPPED)
                return exitCode();
            if (isStopAsked)
                stop();
            pollfd watched{signals.get(), POLLIN, 0};
            poll(&watched, 1, isChild ? -1 : pause);
            readSignals();
        }
    }

private:
    // Whether one of them asks for the stop.
    bool readSignals() {
        signalfd_siginfo signal{};
        bool asks = false;
        while (retried([&] { return read(signals.get(), &signal, sizeof signal); }) ==
               static_cast<ssize_t>(sizeof signal)) {
            if (signal.ssi_signo == SIGHUP)
                tellOfParameters();
            else if (signal.ssi_signo != SIGCHLD)
                asks = true;
        }
        isStopAsked = isStopAsked || asks;
        return asks;
    }

    void tellOfParameters() {
        if (const DWORD error = errorOf([&] { service->control(SERVICE_CONTROL_PARAMCHANGE); });
            error != ERROR_SUCCESS)
            warn(name + " did not take the change of its parameters: " + errorText(error));
    }

    // Those that depend on it would be left behind, so they are stopped first. A service that takes
    // no stop now gets the signal itself, which its process passes on as soon as it can.
    void stop() {
        isStopAsked = false;
        Words others;
        const Outcome outcome = stopWithDependents(
            name, std::nullopt, usualPatience, [](const std::string& /*line*/) {}, others);
        if (outcome.isGood() || service.look().state() == SERVICE_STOPPED)
            return;
        const auto facts = platform::services::serviceNamed(name);
        if (!facts || platform::services::signalService(facts->run, SIGTERM) == FALSE)
            warn(outcome.text);
    }

    // As the first process of a container it has the orphans of all others for children.
    void reap() {
        int result = 0;
        for (pid_t ended = 0; (ended = waitpid(-1, &result, WNOHANG)) > 0;) {
            if (ended != process)
                continue;
            hasProcessEnded = true;
            processResult = result;
        }
    }

    int exitCode() {
        constexpr int signalBase = 128;
        const BServiceStatus& status = service.look();
        if (status.state() != SERVICE_STOPPED)
            return exitDone;  // somebody has started it anew
        const DWORD code = status.exitCode() == ERROR_SERVICE_SPECIFIC_ERROR
                               ? status.specificExitCode()
                               : status.exitCode();
        if (code == ERROR_PROCESS_ABORTED && hasProcessEnded) {
            if (WIFSIGNALED(processResult))
                return signalBase + WTERMSIG(processResult);
            if (WEXITSTATUS(processResult) != 0)
                return WEXITSTATUS(processResult);
        }
        return static_cast<int>(std::min<DWORD>(code, greatestExitCode));
    }

    std::string name;
    OpenedService service;
    Descriptor signals;
    pid_t process = 0;
    bool isChild = false;
    bool isStopAsked = false;
    bool hasProcessEnded = false;
    int processResult = 0;
};

}  // namespace

int run(const Arguments& arguments) {
    Foreground foreground(arguments.operand(0));
    foreground.start(arguments.more());
    return foreground.awaitEnd();
}

}  // namespace Sorvex::tools
