// Installs and controls services from the command line.
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <sorvex/bstring.h>
#include <sorvex/services.h>
#include <sorvex/sync.h>

namespace {

using namespace Sorvex;
using Words = std::vector<std::string>;

const char* const helpText =
    "usage: service_control COMMAND NAME [ARGUMENT...]\n"
    "\n"
    "  install NAME PROGRAM [ARGUMENT...]  make PROGRAM a service called NAME\n"
    "  start NAME [ARGUMENT...]            start it and wait until it runs\n"
    "  status NAME                         tell its state\n"
    "  pause NAME, resume NAME             let it rest, let it go on\n"
    "  send NAME CODE                      send it a code of its own, 128 to 255\n"
    "  stop NAME                           stop it and wait until it has stopped\n"
    "  delete NAME                         delete it, as soon as it is stopped\n"
    "\n"
    "The exit status is 0 on success, 1 on failure, 2 for a command that is not understood.\n";

constexpr int usageFailure = 2;
constexpr unsigned long deleteRight = 0x10000;
constexpr unsigned long longestWait = 30000;       // ms
constexpr unsigned long timeBetweenLooks = 20000;  // microseconds

const char* stateName(std::uint32_t state) {
    switch (state) {
        case SERVICE_STOPPED:
            return "stopped";
        case SERVICE_START_PENDING:
            return "starting";
        case SERVICE_STOP_PENDING:
            return "stopping";
        case SERVICE_RUNNING:
            return "running";
        case SERVICE_CONTINUE_PENDING:
            return "resuming";
        case SERVICE_PAUSE_PENDING:
            return "pausing";
        case SERVICE_PAUSED:
            return "paused";
        default:
            return "in an unknown state";
    }
}

void tell(const std::string& name, const BServiceStatus& status) {
    std::cout << name << " is " << stateName(status.state());
    if (status.state() == SERVICE_STOPPED && status.exitCode() != 0)
        std::cout << ", error " << status.exitCode();
    if (status.checkPoint() != 0)
        std::cout << ", check point " << status.checkPoint();
    std::cout << '\n';
}

// A part of a command line that is read back as one word.
std::string quoted(const std::string& word) {
    std::string text = "\"";
    std::size_t backslashes = 0;
    for (const char character : word) {
        if (character == '"')
            text.append(backslashes + 1, '\\');
        backslashes = character == '\\' ? backslashes + 1 : 0;
        text += character;
    }
    return text.append(backslashes, '\\') + '"';
}

void install(const std::string& name, const Words& words) {
    std::string commandLine = '"' + std::filesystem::absolute(words.at(0)).string() + '"';
    for (std::size_t index = 1; index < words.size(); ++index)
        commandLine += ' ' + quoted(words[index]);
    BServiceControlManager manager;
    const BServiceControl service(manager, name.c_str(), nullptr, commandLine.c_str(),
                                  SERVICE_DEMAND_START, SERVICE_WIN32_OWN_PROCESS,
                                  SERVICE_ERROR_NORMAL, SERVICE_QUERY_STATUS, nullptr, nullptr,
                                  nullptr, nullptr);
    std::cout << name << " is installed\n";
}

// Waits as long as a service is on its way from one state to the next.
void awaitState(BServiceControl& service, std::uint32_t passing) {
    BDelay delay;
    delay.event();
    while (service.queryStatus().state() == passing && delay.timePassed() < longestWait)
        OSInterface::sleep(timeBetweenLooks);
}

void start(BServiceControl& service, Words words) {
    std::vector<char*> arguments;
    arguments.reserve(words.size());
    for (std::string& word : words)
        arguments.push_back(&word[0]);
    service.start(static_cast<unsigned long>(arguments.size()), arguments.data());
    awaitState(service, SERVICE_START_PENDING);
}

void stop(BServiceControl& service) {
    service.stop();
    awaitState(service, SERVICE_STOP_PENDING);
}

void send(BServiceControl& service, const Words& words) {
    service.control(std::strtoul(words.at(0).c_str(), nullptr, 10));
}

unsigned long rightsFor(const std::string& command) {
    if (command == "delete")
        return deleteRight;
    return SERVICE_QUERY_STATUS | SERVICE_START | SERVICE_STOP | SERVICE_PAUSE_CONTINUE |
           SERVICE_USER_DEFINED_CONTROL;
}

// Does the command, and tells how the service is afterwards.
void run(const std::string& command, const std::string& name, const Words& words) {
    if (command == "install")
        return install(name, words);
    BServiceControlManager manager;
    BServiceControl service(manager, name.c_str(), rightsFor(command));
    if (command == "delete") {
        service.deleteService();
        std::cout << name << " is deleted\n";
        return;
    }
    if (command == "start")
        start(service, words);
    else if (command == "pause")
        service.pause();
    else if (command == "resume")
        service.resume();
    else if (command == "send")
        send(service, words);
    else if (command == "stop")
        stop(service);
    else
        service.queryStatus();
    tell(name, service.status());
}

bool isUnderstood(const Words& words) {
    if (words.size() < 2)
        return false;
    const std::string& command = words[0];
    if (command == "install")
        return words.size() >= 3;
    if (command == "send")
        return words.size() == 3;
    const Words others = {"status", "pause", "resume", "stop", "delete"};
    for (const std::string& other : others)
        if (command == other)
            return words.size() == 2;
    return command == "start";
}

// What the message of a failure leaves open.
void explain(const std::string& command, const std::string& name) {
    try {
        BServiceControlManager manager;
        BServiceControl service(manager, name.c_str(), SERVICE_QUERY_STATUS);
        std::cerr << "service_control: " << name << " is "
                  << stateName(service.queryStatus().state()) << '\n';
    } catch (const std::exception&) {
        if (command != "install")
            std::cerr << "service_control: there is no service " << name
                      << ", or it can't be reached\n";
    }
}

}  // namespace

int main(int argc, char** argv) {
    const Words words(argv + 1, argv + argc);
    if (words.size() == 1 && words[0] == "--help") {
        std::cout << helpText;
        return EXIT_SUCCESS;
    }
    if (!isUnderstood(words)) {
        std::cerr << helpText;
        return usageFailure;
    }
    try {
        run(words[0], words[1], Words(words.begin() + 2, words.end()));
        return EXIT_SUCCESS;
    } catch (const std::exception& failure) {
        // The system's own text ends with a line end.
        BString cause(failure.what());
        cause.stripTrailing();
        std::cerr << "service_control: " << words[0] << ' ' << words[1] << " failed: " << cause
                  << '\n';
        explain(words[0], words[1]);
        return EXIT_FAILURE;
    }
}
