// The programs that the tests of the service manager start: services of several manners, and a
// controlling program.
//
//   service_helper DIRECTORY LIMIT serve NAME...     runs services of these names
//   service_helper DIRECTORY LIMIT quit              ends at once
//   service_helper DIRECTORY LIMIT idle              never connects
//   service_helper DIRECTORY LIMIT VERB NAME [WORD]  controls a service, and prints the error
//   number
//
// DIRECTORY is where the services are kept, LIMIT how many milliseconds others are waited for.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <sorvex/services.h>

#include <sys/wait.h>
#include <unistd.h>

#include "platform/platform.h"
#include "platform/services/service_places.h"

namespace {

using namespace Sorvex;

std::string& workDirectory() {
    static std::string directory;
    return directory;
}

void note(const std::string& name, const std::string& text) {
    const std::string file = workDirectory() + "/notes/" + name;
    std::ofstream(file + ".new") << text;
    std::filesystem::rename(file + ".new", file);
}

std::string factsOfProcess() {
    std::string facts = "session " + std::to_string(getsid(0) == getpid()) + "\n";
    facts += "group " + std::to_string(getpgrp() == getpid()) + "\n";
    facts += "directory " + std::filesystem::current_path().string() + "\n";
    std::error_code error;
    for (const char* stream : {"0", "1", "2"})
        facts +=
            std::string(stream) + " " +
            std::filesystem::read_symlink(std::string("/proc/self/fd/") + stream, error).string() +
            "\n";
    // The one that lists them is not counted.
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    facts +=
        "others " + std::to_string(std::distance(begin(descriptors), end(descriptors)) - 4) + "\n";
    sigset_t blocked;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    facts += "blocked " + std::to_string(sigismember(&blocked, SIGUSR1)) + "\n";
    struct sigaction action {};
    sigaction(SIGPIPE, nullptr, &action);
    facts += "ignored " + std::to_string(action.sa_handler == SIG_IGN) + "\n";
    facts +=
        std::string("inherited ") + (std::getenv("SORVEX_TEST_MARK") != nullptr ? "1" : "0") + "\n";
    return facts;
}

// Takes a few codes of its own: 128 counts in its check point, 129 hangs, 130 ends the process, 131
// leaves a child behind, 132 reports that it is stopped and lets the process live on, 133 gives up
// root's rights.
class HelperService : public BService {
public:
    explicit HelperService(const char* name) : BService(name) {}

    void run(std::uint32_t count, const char** arguments) override {
        status().setType(SERVICE_WIN32_OWN_PROCESS).setState(SERVICE_START_PENDING);
        std::string text;
        for (std::uint32_t index = 0; index < count; ++index)
            text += std::string(arguments[index]) + "\n";
        note(name() + ".arguments", text);
        if (count > 1 && std::strcmp(arguments[1], "pending") == 0) {
            refreshStatus();
            return;
        }
        if (count > 1 && std::strcmp(arguments[1], "fail") == 0) {
            status().setState(SERVICE_STOPPED).setExitCode(1066).setSpecificExitCode(42);
            refreshStatus();
            return;
        }
        status().acceptControls(SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PAUSE_CONTINUE);
        if (count > 1 && std::strcmp(arguments[1], "deaf") == 0)
            status().acceptControls(0);
        report(SERVICE_RUNNING);
    }

    void control(std::uint32_t code) override {
        switch (code) {
            case SERVICE_CONTROL_STOP:
                report(SERVICE_STOPPED);
                break;
            case SERVICE_CONTROL_PAUSE:
                report(SERVICE_PAUSED);
                break;
            case SERVICE_CONTROL_CONTINUE:
                report(SERVICE_RUNNING);
                break;
            case 128:
                status().incCheckPoint();
                refreshStatus();
                break;
            case 129:
                pause();
                break;
            case 130:
                _exit(3);
            case 131:
                leaveChild();
                break;
            case 132:
                report(SERVICE_STOPPED);
                while (!std::filesystem::exists(workDirectory() + "/notes/end"))
                    usleep(5000);
                break;
            case 133:
                if (setgid(65534) != 0 || setuid(65534) != 0)
                    _exit(4);
                break;
            default:
                break;
        }
    }

private:
    void report(std::uint32_t state) {
        status().setState(state);
        refreshStatus();
    }

    void leaveChild() const {
        const pid_t child = fork();
        if (child == 0)
            for (;;)
                pause();
        note("process." + std::to_string(child), "");
        note(name() + ".child", std::to_string(child));
    }
};

std::vector<std::unique_ptr<HelperService>>& helperServices() {
    static std::vector<std::unique_ptr<HelperService>> services;
    return services;
}

template <std::size_t index>
void SORVEX_SERVICE_CALL handle(ServiceNumber code) {
    helperServices()[index]->control(code);
}

template <std::size_t index>
void SORVEX_SERVICE_CALL enter(ServiceNumber count, const char** arguments) {
    helperServices()[index]->registerHandler(handle<index>);
    helperServices()[index]->run(count, arguments);
}

int serve(const std::vector<std::string>& names) {
    const BServiceManager::ServiceEntry entries[] = {enter<0>, enter<1>, enter<2>};
    note("facts", factsOfProcess());
    for (std::size_t index = 0; index < names.size() && index < std::size(entries); ++index) {
        helperServices().push_back(std::make_unique<HelperService>(names[index].c_str()));
        BServiceManager::add(helperServices().back().get(), entries[index]);
    }
    try {
        BServiceManager::start();
    } catch (const std::exception&) {
        std::printf("%u\n", platform::GetLastError());
        return 1;
    }
    return 0;
}

std::uint32_t controlService(const std::string& verb, const std::string& name,
                             const std::string& word) {
    const auto manager = platform::OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    if (manager == nullptr)
        return platform::GetLastError();
    const auto service =
        verb == "create"
            ? platform::CreateServiceA(manager, name.c_str(), nullptr, SERVICE_ALL_ACCESS,
                                       SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
                                       SERVICE_ERROR_NORMAL, word.c_str(), nullptr, nullptr,
                                       nullptr, nullptr, nullptr)
            : platform::OpenServiceA(manager, name.c_str(), SERVICE_ALL_ACCESS);
    bool isDone = service != nullptr;
    platform::SERVICE_STATUS status{};
    if (isDone && verb == "start")
        isDone = platform::StartServiceA(service, 0, nullptr);
    else if (isDone && verb == "control")
        isDone = platform::ControlService(
            service, static_cast<std::uint32_t>(std::strtoul(word.c_str(), nullptr, 10)), &status);
    else if (isDone && verb == "delete")
        isDone = platform::DeleteService(service);
    else if (isDone && verb == "hold") {
        note(word, "");
        pause();
    }
    const std::uint32_t error = isDone ? 0 : platform::GetLastError();
    if (service != nullptr)
        platform::CloseServiceHandle(service);
    platform::CloseServiceHandle(manager);
    return error;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() < 3)
        return 2;
    workDirectory() = words[0];
    Sorvex::testing::setServicePlaces(words[0], std::chrono::milliseconds(std::stoi(words[1])));
    note("process." + std::to_string(getpid()), "");
    const std::string& verb = words[2];
    if (verb == "quit")
        return 0;
    if (verb == "idle")
        for (;;)
            pause();
    if (verb == "serve")
        return serve({words.begin() + 3, words.end()});
    const std::uint32_t error =
        controlService(verb, words.size() > 3 ? words[3] : "", words.size() > 4 ? words[4] : "");
    std::printf("%u\n", error);
    return 0;
}
