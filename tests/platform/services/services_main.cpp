// The main function of the tests, which start their own program as services of several manners.
#include <iostream>

#include <gmock/gmock.h>

#include <unistd.h>

#include "platform/posix/services/limits.h"
#include "platform/posix/services/places.h"
#include "platform/services/services_fixture.h"

namespace Sorvex {

testing::ServicePlaces& testing::servicePlaces() {
    static ServicePlaces places;
    return places;
}

platform::services::Places platform::services::placesOfUser() {
    const std::string& directory = testing::servicePlaces().directory;
    return {{directory, {"database"}}, {directory, {"run", "services"}}, {directory, {"log"}}};
}

std::chrono::milliseconds platform::services::responseLimit() noexcept {
    return testing::servicePlaces().limit;
}

namespace {

class HostedService : public BService {
public:
    using BService::BService;

    // Writes down its arguments. The first one may be a manner to start in: "fail", "pending", or
    // "shutdown" to accept that as well. A service called "late" takes its time.
    void run(std::uint32_t count, const char** arguments) override {
        std::ofstream file(directory + name() + ".arguments");
        for (std::uint32_t index = 0; index < count; ++index)
            file << arguments[index] << '\n';
        file.close();
        std::cout << "at work" << std::endl;
        std::cerr << "really" << std::endl;
        const std::string manner = count > 1 ? arguments[1] : "";
        if (manner == "pending")
            return report(SERVICE_START_PENDING);
        if (name() == "late")
            usleep(200000);
        status().acceptControls(SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PAUSE_CONTINUE |
                                (manner == "shutdown" ? SERVICE_ACCEPT_SHUTDOWN : 0));
        if (manner != "fail")
            return report(SERVICE_RUNNING);
        // Late enough for the dispatcher to wait by then.
        usleep(50000);
        status().setExitCode(1066).setSpecificExitCode(42);
        report(SERVICE_STOPPED);
    }

    // Takes a few codes of its own: 128 counts in its check point, 129 hangs, 130 ends the process,
    // 131 leaves a child behind, 132 reports that it is stopped and lets the process live on, 133
    // gives up root's rights.
    void control(std::uint32_t code) override {
        if (code == SERVICE_CONTROL_SHUTDOWN)
            status().setExitCode(code);
        if (code == SERVICE_CONTROL_STOP || code == SERVICE_CONTROL_SHUTDOWN || code == 132)
            report(SERVICE_STOPPED);
        else if (code == SERVICE_CONTROL_PAUSE)
            report(SERVICE_PAUSED);
        else if (code == SERVICE_CONTROL_CONTINUE)
            report(SERVICE_RUNNING);
        else if (code == 128)
            report(status().incCheckPoint().state());
        else if (code == 129 || (code == 131 && fork() == 0))
            pause();
        else if (code == 130 || (code == 133 && (setgid(65534) != 0 || setuid(65534) != 0)))
            _exit(3);
        while (code == 132 && !std::filesystem::exists(directory + "end"))
            usleep(5000);
    }

private:
    void report(std::uint32_t state) {
        status().setState(state);
        refreshStatus();
    }

    const std::string directory = testing::servicePlaces().directory + "/";
};

HostedService* hosted[3];

template <std::size_t index>
void SORVEX_CALL handle(ServiceNumber code) {
    hosted[index]->control(code);
}

template <std::size_t index>
void SORVEX_CALL enter(ServiceNumber count, const char** arguments) {
    hosted[index]->registerHandler(handle<index>).run(count, arguments);
}

}  // namespace
}  // namespace Sorvex

// With a directory and up to three names it is a program of services, else one of tests.
int main(int argc, char** argv) {
    using namespace Sorvex;
    if (argc < 3 || argv[1][0] != '/') {
        ::testing::InitGoogleMock(&argc, argv);
        return RUN_ALL_TESTS();
    }
    const BServiceManager::ServiceEntry entries[] = {enter<0>, enter<1>, enter<2>};
    Sorvex::testing::servicePlaces().directory = argv[1];
    for (int index = 0; index < argc - 2; ++index) {
        hosted[index] = new HostedService(argv[index + 2]);
        // The table has a name of its own, so any service that has this one will do.
        HostedService passing(argv[index + 2]);
        BServiceManager::add(&passing, entries[index]);
    }
    BServiceManager::start();
}
