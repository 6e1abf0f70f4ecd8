// A service of several manners, told by its only argument:
//   plain  runs; takes stop, pause, continue and 'parameters changed'
//   slow   takes a while to start and to stop, with check points
//   hang   never gets beyond its start
//   fail   stops at once with an error of its own, 42
//   quit   ends before it has become a service
//   deaf   takes no stop
// It takes the codes 200, leave an orphan behind that ends at once; 201, die of a signal; 202, stop
// with the error 7; and 203, hang.
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include <sorvex/bstring.h>
#include <sorvex/services.h>

namespace {

using namespace Sorvex;

constexpr unsigned long stepTime = 150000;  // microseconds

class OddService : public BService {
public:
    explicit OddService(std::string chosen) : BService("odd"), manner(std::move(chosen)) {}

    void run(std::uint32_t count, const char** arguments) override {
        for (std::uint32_t index = 0; index < count; ++index)
            std::cout << "argument " << arguments[index] << std::endl;
        std::cerr << "this is " << manner << std::endl;
        status().setWaitHint(100);
        if (manner == "hang")
            return report(SERVICE_START_PENDING);
        if (manner == "fail")
            status().setExitCode(1066).setSpecificExitCode(42);
        if (manner == "slow")
            step(SERVICE_START_PENDING);
        if (manner != "deaf")
            status().acceptControls(SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PAUSE_CONTINUE |
                                    SERVICE_ACCEPT_PARAMCHANGE);
        report(manner == "fail" ? SERVICE_STOPPED : SERVICE_RUNNING);
    }

    void control(std::uint32_t code) override {
        if (code == SERVICE_CONTROL_STOP) {
            std::cout << "stopping" << std::endl;
            // Whoever sent the control waits for this function.
            std::thread([this] {
                if (manner == "slow")
                    step(SERVICE_STOP_PENDING);
                report(SERVICE_STOPPED);
            }).detach();
        } else if (code == SERVICE_CONTROL_PAUSE) {
            report(SERVICE_PAUSED);
        } else if (code == SERVICE_CONTROL_CONTINUE) {
            report(SERVICE_RUNNING);
        } else if (code == SERVICE_CONTROL_PARAMCHANGE) {
            std::cout << "new parameters" << std::endl;
        } else if (code == 200) {
            const pid_t child = fork();
            if (child == 0)
                _exit(fork() == 0 ? static_cast<int>(usleep(stepTime)) : 0);
            waitpid(child, nullptr, 0);
        } else if (code == 201) {
            std::raise(SIGKILL);
        } else if (code == 202) {
            status().setExitCode(7);
            report(SERVICE_STOPPED);
        } else if (code == 203) {
            pause();
        }
    }

private:
    void step(std::uint32_t state) {
        for (int count = 0; count < 3; ++count) {
            status().incCheckPoint();
            report(state);
            OSInterface::sleep(stepTime);
        }
        status().setCheckPoint(0);
    }

    void report(std::uint32_t state) {
        status().setState(state);
        refreshStatus();
    }

    const std::string manner;
};

OddService* theService = nullptr;

void SORVEX_CALL handle(ServiceNumber code) {
    theService->control(code);
}

void SORVEX_CALL enter(ServiceNumber count, const char** arguments) {
    theService->registerHandler(handle);
    theService->run(count, arguments);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string manner = argc > 1 ? argv[1] : "plain";
    if (manner == "quit") {
        std::cerr << "there is no licence" << std::endl;
        return EXIT_FAILURE;
    }
    // Its threads may still use it while the process ends.
    theService = new OddService(manner);
    BServiceManager::add(theService, enter);
    BServiceManager::start();
}
