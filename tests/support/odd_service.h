// A service of several manners, which takes odd controls.
#pragma once

#include <csignal>
#include <filesystem>
#include <iostream>
#include <string>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include <sorvex/services.h>

namespace Sorvex::testing {

/// Its manner is told when it is made, else by the first argument of its start:
///   plain     runs; takes stop, pause, continue and 'parameters changed', as with any other word
///   shutdown  takes that as well, and then has the code for an error
///   slow      takes a while to start and to stop, with check points
///   hang      never gets beyond its start
///   fail      stops at once with an error of its own, 42
///   deaf      takes no stop
/// One of the name "late" takes its time to start. The codes of its own are in control().
class OddService : public BService {
public:
    /// @param place the start of the name of a file, see the code 132
    explicit OddService(const char* name, std::string chosen = "", std::string place = "")
        : BService(name), manner(std::move(chosen)), end(std::move(place) + "end") {}

    void run(std::uint32_t count, const char** arguments) override {
        for (std::uint32_t index = 0; index < count; ++index)
            std::cout << "argument " << arguments[index] << std::endl;
        if (manner.empty() && count > 1)
            manner = arguments[1];
        std::cerr << "this is " << manner << std::endl;
        status().setWaitHint(100);
        if (manner == "hang")
            return report(SERVICE_START_PENDING);
        if (manner == "slow")
            step(SERVICE_START_PENDING);
        if (name() == "late")
            usleep(200000);
        if (manner != "deaf")
            status().acceptControls(SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PAUSE_CONTINUE |
                                    SERVICE_ACCEPT_PARAMCHANGE |
                                    (manner == "shutdown" ? SERVICE_ACCEPT_SHUTDOWN : 0));
        if (manner != "fail")
            return report(SERVICE_RUNNING);
        status().setExitCode(1066).setSpecificExitCode(42);
        report(SERVICE_STOPPED);
    }

    void control(std::uint32_t code) override {
        if (code == SERVICE_CONTROL_STOP)
            stop();
        else if (code == SERVICE_CONTROL_PAUSE)
            report(SERVICE_PAUSED);
        else if (code == SERVICE_CONTROL_CONTINUE)
            report(SERVICE_RUNNING);
        else if (code == SERVICE_CONTROL_PARAMCHANGE)
            std::cout << "new parameters" << std::endl;
        else if (code == 128)  // counts
            report(status().incCheckPoint().state());
        else if (code == 129 || (code == 131 && fork() == 0))  // hangs; leaves a child behind
            pause();
        else if (code == 130 || (code == 133 && (setgid(65534) != 0 || setuid(65534) != 0)))
            _exit(3);  // ends the process; 133 gives up root's rights
        else if (code == 134)
            leaveOrphan();
        else if (code == 135)
            std::raise(SIGKILL);
        else if (code == SERVICE_CONTROL_SHUTDOWN ||
                 code == 136) {  // stop with the code for an error
            status().setExitCode(code);
            report(SERVICE_STOPPED);
        } else if (code == 132) {  // stops, and its process lives on until a file comes into being
            report(SERVICE_STOPPED);
            while (!std::filesystem::exists(end))
                usleep(5000);
        }
    }

private:
    static constexpr unsigned stepTime = 150000;  // microseconds

    void stop() {
        std::cout << "stopping" << std::endl;
        if (manner != "slow")
            return report(SERVICE_STOPPED);
        // Whoever sent the control waits for this function.
        std::thread([this] {
            step(SERVICE_STOP_PENDING);
            report(SERVICE_STOPPED);
        }).detach();
    }

    // One that ends after a while.
    static void leaveOrphan() {
        const pid_t child = fork();
        if (child == 0)
            _exit(fork() == 0 ? usleep(stepTime) : 0);
        waitpid(child, nullptr, 0);
    }

    void step(std::uint32_t state) {
        for (int count = 0; count < 3; ++count) {
            status().incCheckPoint();
            report(state);
            usleep(stepTime);
        }
        status().setCheckPoint(0);
    }

    void report(std::uint32_t state) {
        status().setState(state);
        refreshStatus();
    }

    std::string manner;
    const std::string end;
};

/// The services of this process. They are never destroyed, since their threads may still use them
/// while the process ends.
inline OddService* oddServices[3];

template <std::size_t index>
void SORVEX_CALL handleOdd(ServiceNumber code) {
    oddServices[index]->control(code);
}

template <std::size_t index>
void SORVEX_CALL enterOdd(ServiceNumber count, const char** arguments) {
    oddServices[index]->registerHandler(handleOdd<index>).run(count, arguments);
}

}  // namespace Sorvex::testing
