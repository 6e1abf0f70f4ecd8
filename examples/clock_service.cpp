// A service that posts a named event each second, and a program that watches it tick.
//
// As a service it answers stop, pause and resume, and two codes of its own: 128 puts the number of
// ticks so far into the check point of its status, 129 ticks at once. Its event is named after the
// service, with ".tick" behind it. The program service_control installs and controls it.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>

#include <sorvex/services.h>
#include <sorvex/sync.h>

namespace {

using namespace Sorvex;

const char* const helpText =
    "usage: clock_service            run as a service (the service manager does this)\n"
    "       clock_service watch NAME COUNT\n"
    "                                wait for COUNT ticks of the service NAME\n"
    "       clock_service --help\n";

constexpr unsigned long tickInterval = 1000;  // ms
constexpr unsigned long longestWait = 10000;  // ms
constexpr ServiceNumber countTicksCode = 128;
constexpr ServiceNumber tickNowCode = 129;

std::string eventName(const std::string& service) {
    return service + ".tick";
}

class Clock : public BService {
public:
    explicit Clock(const char* name) : BService(name) {}

    void run(std::uint32_t /*count*/, const char** arguments) override {
        EventSemaphore tick(eventName(arguments[0]).c_str());
        report(SERVICE_RUNNING, SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PAUSE_CONTINUE);
        for (;;) {
            due.wait(tickInterval);
            const BMutexLock lock(mutex);
            due.reset();
            if (isStopping)
                break;
            if (isPaused)
                continue;
            tick.post();
            ++ticks;
        }
        report(SERVICE_STOPPED, 0);
    }

    // Called on another thread than run.
    void control(std::uint32_t code) override {
        switch (code) {
            case SERVICE_CONTROL_STOP:
                report(SERVICE_STOP_PENDING, 0);
                stop();
                break;
            case SERVICE_CONTROL_PAUSE:
                setPaused(true);
                report(SERVICE_PAUSED, SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PAUSE_CONTINUE);
                break;
            case SERVICE_CONTROL_CONTINUE:
                setPaused(false);
                report(SERVICE_RUNNING, SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PAUSE_CONTINUE);
                break;
            case countTicksCode: {
                const BMutexLock lock(mutex);
                status().setCheckPoint(ticks);
                refreshStatus();
                break;
            }
            case tickNowCode:
                due.post();
                break;
            default:
                break;
        }
    }

private:
    void report(ServiceNumber state, ServiceNumber accepted) {
        const BMutexLock lock(mutex);
        status().setType(SERVICE_WIN32_OWN_PROCESS).setState(state).acceptControls(accepted);
        refreshStatus();
    }

    void stop() {
        const BMutexLock lock(mutex);
        isStopping = true;
        due.post();
    }

    void setPaused(bool paused) {
        const BMutexLock lock(mutex);
        isPaused = paused;
    }

    BMutex mutex;  // guards what follows and the status
    bool isPaused = false;
    bool isStopping = false;
    std::uint32_t ticks = 0;
    EventSemaphore due;  // posted to look at the above before the second is over
};

// Entry point and handler are plain functions, so there is one clock that they find.
Clock* theClock = nullptr;

void SORVEX_CALL handleControl(ServiceNumber code) {
    theClock->control(code);
}

void SORVEX_CALL enterClock(ServiceNumber count, const char** arguments) {
    theClock->registerHandler(handleControl);
    theClock->run(count, arguments);
}

int serve() {
    // It is never destroyed: its thread may still be on its way out when the manager returns.
    theClock = new Clock("clock");
    BServiceManager::add(theClock, enterClock);
    try {
        BServiceManager::start();
    } catch (const std::exception& failure) {
        std::cerr << "clock_service: " << failure.what()
                  << "\nIt has to be started by the service manager; see clock_service --help.\n";
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

int watch(const char* name, const char* countText) {
    const int count = std::atoi(countText);
    EventSemaphore tick(eventName(name).c_str());
    BDelay delay;
    for (int seen = 1; seen <= count; ++seen) {
        tick.reset();
        delay.event();
        tick.wait(longestWait);
        if (delay.timePassed() >= longestWait) {
            std::cerr << "clock_service: " << name << " does not tick\n";
            return EXIT_FAILURE;
        }
        std::cout << name << " ticked, " << seen << " of " << count << std::endl;
    }
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 1)
        return serve();
    if (argc == 4 && std::strcmp(argv[1], "watch") == 0)
        return watch(argv[2], argv[3]);
    const bool isHelp = std::strcmp(argv[1], "--help") == 0;
    (isHelp ? std::cout : std::cerr) << helpText;
    return isHelp ? EXIT_SUCCESS : EXIT_FAILURE;
}
