// sorvex-service: services from the command line.
#include <algorithm>
#include <exception>
#include <iostream>

#include <fcntl.h>
#include <unistd.h>

#include "sorvex_service/commands.h"
#include "sorvex_service/failure.h"
#include "sorvex_service/forms.h"

namespace Sorvex::tools {

namespace {

std::vector<Command> allCommands() {
    const Words configurationOptions{"--command", "--display-name", "--start",
                                     "--type",    "--depends",      "--group"};
    const std::string configurationHelp =
        "  --command LINE       the command line of the program; a program name with blanks\n"
        "                       stands in double quotes within it\n"
        "  --display-name TEXT  the name that it is shown under\n"
        "  --start TYPE         auto (with the machine), manual, or disabled\n"
        "  --type TYPE          own (alone in its process) or shared (with the other shared\n"
        "                       services of the same command line)\n"
        "  --depends A,B,+C     services, and groups behind a plus sign, that have to run first\n"
        "  --group GROUP        the group that it belongs to\n";
    const std::string patienceHelp =
        "  --timeout S          give up after S seconds without progress (30), or as long as\n"
        "                       the service asks for, if that is longer\n";
    const std::string killHelp =
        "  --kill-after S       kill its process when it has not stopped after S seconds\n";
    const std::string stopHelp =
        "  --with-dependents    stop those first that depend on it\n" + killHelp + patienceHelp;

    const Words name{"NAME"};
    const Words json{"--json"};
    const Words patience{"--timeout"};
    const Words ending{"--kill-after", "--timeout"};
    return {
        {"list",
         "[--json]",
         "list all services",
         "  --json  as an array of objects\n",
         {{}, json, {}},
         list},
        {"status",
         "[--json] NAME",
         "tell all of a service",
         "  --json  as an object\n",
         {name, json, {}},
         status},
        {"install",
         "NAME --command LINE [OPTION...]",
         "install a service",
         configurationHelp,
         {name, {}, configurationOptions},
         install},
        {"configure",
         "NAME OPTION...",
         "change what a service was installed with",
         configurationHelp,
         {name, {}, configurationOptions},
         configure},
        {"remove",
         "NAME",
         "remove a service, as soon as it has stopped",
         "",
         {name, {}, {}},
         removeService},
        {"start",
         "[--timeout S] NAME [ARG...]",
         "start a service and wait until it runs",
         patienceHelp,
         {name, {}, patience, true},
         start},
        {"stop",
         "[OPTION...] NAME",
         "stop a service and wait until it has stopped",
         stopHelp,
         {name, {"--with-dependents"}, ending},
         stop},
        {"restart",
         "[OPTION...] NAME [ARG...]",
         "stop a service if it runs, and start it",
         stopHelp,
         {name, {"--with-dependents"}, ending, true},
         restart},
        {"pause",
         "[--timeout S] NAME",
         "let a service rest",
         patienceHelp,
         {name, {}, patience},
         pauseService},
        {"continue",
         "[--timeout S] NAME",
         "let a paused service go on",
         patienceHelp,
         {name, {}, patience},
         continueService},
        {"control",
         "NAME CODE",
         "send a control code",
         "Codes from 128 to 255 are the service's own; 4 asks for its status, and 6 tells that\n"
         "its parameters have changed.\n",
         {{"NAME", "CODE"}, {}, {}},
         sendControl},
        {"wait",
         "[--timeout S] NAME STATE",
         "wait until a service is in a state",
         "STATE is stopped, starting, stopping, running, continuing, pausing or paused.\n\n"
         "  --timeout S  give up after S seconds, with the exit code 4\n",
         {{"NAME", "STATE"}, {}, patience},
         waitFor},
        {"run",
         "NAME [ARG...]",
         "run a service in the foreground",
         "It ends when the service ends, with the service's exit code, or 255 for a greater one.\n"
         "SIGTERM and SIGINT stop the service, SIGHUP tells it that its parameters have changed.\n",
         {name, {}, {}, true},
         run},
        {"log",
         "[--lines N] [--follow] NAME",
         "show what a service wrote",
         "  --lines N  the last N lines (10)\n"
         "  --follow   go on with what it writes from now on\n",
         {name, {"--follow"}, {"--lines"}},
         log},
        {"start-automatic",
         "[--timeout S]",
         "start the automatic services",
         patienceHelp,
         {{}, {}, patience},
         startAutomaticServices},
        {"stop-all",
         "[OPTION...]",
         "stop all services",
         killHelp + patienceHelp,
         {{}, {}, ending},
         stopAllServices},
    };
}

void tellUsage(std::ostream& stream, const std::vector<Command>& commands) {
    stream << "usage: sorvex-service COMMAND [OPTION...] [OPERAND...]\n\n";
    std::size_t widest = 0;
    for (const Command& command : commands)
        widest = std::max(widest, command.name.size());
    for (const Command& command : commands) {
        stream << "  " << command.name << std::string(widest + 2 - command.name.size(), ' ')
               << command.summary << '\n';
    }
    stream << "\nsorvex-service COMMAND --help tells more of a command.\n"
              "The exit code is 0 when it is done, 1 when it failed, 2 for bad usage, 3 when there "
              "is no\nsuch service, and 4 when the time is over.\n";
}

// A standard stream that is closed would become the next file that is opened, and be written to. So
// it becomes one that can't be written.
void takeClosedStreams() {
    int lowest = STDIN_FILENO;
    while (lowest >= STDIN_FILENO && lowest <= STDERR_FILENO)
        lowest = open("/dev/null", O_RDONLY);
    close(lowest);
}

int runCommand(const Words& words) {
    const std::vector<Command> commands = allCommands();
    if (words.empty())
        throw Failure("a command is missing; see sorvex-service --help", exitUsage);
    if (words[0] == "--help" || words[0] == "help") {
        tellUsage(std::cout, commands);
        return exitDone;
    }
    const auto command = std::find_if(commands.begin(), commands.end(),
                                      [&](const Command& known) { return words[0] == known.name; });
    if (command == commands.end())
        throw Failure("there is no command " + words[0] + "; see sorvex-service --help", exitUsage);
    if (words.size() > 1 && words[1] == "--help") {
        std::cout << "usage: sorvex-service " << command->name << ' ' << command->synopsis
                  << "\n\nTo " << command->summary << ".\n"
                  << (command->help.empty() ? "" : "\n") << command->help;
        return exitDone;
    }
    return command->run(
        Arguments(command->name, command->grammar, Words(words.begin() + 1, words.end())));
}

}  // namespace

}  // namespace Sorvex::tools

int main(int argc, char** argv) {
    using namespace Sorvex::tools;
    takeClosedStreams();
    const auto tell = [](const std::exception& failure) {
        std::cerr << "sorvex-service: " << onOneLine(failure.what()) << '\n';
    };
    try {
        const int result = runCommand(Words(argv + 1, argv + argc));
        flushOutput();
        return result;
    } catch (const Failure& failure) {
        tell(failure);
        return failure.exitCode;
    } catch (const std::exception& failure) {
        tell(failure);
        return exitFailed;
    }
}
