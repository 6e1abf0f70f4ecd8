#include "platform/posix/services/command_line.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/files/host_path.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

constexpr std::string_view blanks = " \t";

// A name without a root starts at the root, which is the directory that services run in.
std::string hostProgram(std::string_view name) {
    const HostPath path(std::string(name).c_str());
    std::string spelling(path.view());
    if (!spelling.empty() && spelling.front() != '/')
        spelling.insert(spelling.begin(), '/');
    return spelling;
}

bool isFile(const std::string& program) {
    struct stat facts {};
    return stat(program.c_str(), &facts) == 0 && !S_ISDIR(facts.st_mode);
}

[[noreturn]] void refuseMissing(const std::string& program) {
    if (program.empty())
        refuse(ERROR_PATH_NOT_FOUND);
    const std::string directory = program.substr(0, program.rfind('/') + 1);
    struct stat facts {};
    refuse(stat(directory.c_str(), &facts) == 0 ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND);
}

void checkProgram(const std::string& program) {
    struct stat facts {};
    if (program.empty() || stat(program.c_str(), &facts) != 0) {
        if (program.empty() || errno == ENOENT || errno == ENOTDIR)
            refuseMissing(program);
        refuseWithErrno();
    }
    if (!S_ISREG(facts.st_mode) || faccessat(AT_FDCWD, program.c_str(), X_OK, AT_EACCESS) != 0)
        refuse(ERROR_ACCESS_DENIED);
}

// The length of the program's name on a line that doesn't begin with a quote.
std::size_t nameLength(std::string_view line) {
    for (std::size_t end = line.find_first_of(blanks); end != std::string_view::npos;
         end = line.find_first_of(blanks, end + 1))
        if (isFile(hostProgram(line.substr(0, end))))
            return end;
    return isFile(hostProgram(line)) ? line.size() : line.find_first_of(blanks);
}

}  // namespace

Command findCommand(std::string_view commandLine) {
    commandLine.remove_prefix(std::min(commandLine.find_first_not_of(blanks), commandLine.size()));
    std::string_view name;
    if (!commandLine.empty() && commandLine.front() == '"') {
        commandLine.remove_prefix(1);
        name = commandLine.substr(0, commandLine.find('"'));
        commandLine.remove_prefix(std::min(name.size() + 1, commandLine.size()));
    } else {
        name = commandLine.substr(0, nameLength(commandLine));
        commandLine.remove_prefix(name.size());
    }

    Command command;
    command.program = hostProgram(name);
    checkProgram(command.program);
    command.arguments = splitArguments(commandLine);
    command.arguments.insert(command.arguments.begin(), std::string(name));
    return command;
}

std::vector<std::string> splitArguments(std::string_view text) {
    std::vector<std::string> arguments;
    std::string argument;
    bool isQuoted = false;
    bool isArgument = false;
    for (std::size_t position = 0; position < text.size(); ++position) {
        std::size_t backslashes = 0;
        while (position < text.size() && text[position] == '\\') {
            ++backslashes;
            ++position;
        }
        const bool isQuote = position < text.size() && text[position] == '"';
        argument.append(isQuote ? backslashes / 2 : backslashes, '\\');
        isArgument = isArgument || backslashes > 0;
        if (position == text.size())
            break;
        if (isQuote && backslashes % 2 == 0) {
            // Two quotes between quotes are one that counts as a character.
            if (isQuoted && text.substr(position + 1, 1) == "\"") {
                argument += '"';
                ++position;
                continue;
            }
            isQuoted = !isQuoted;
            isArgument = true;
        } else if (!isQuoted && blanks.find(text[position]) != std::string_view::npos) {
            if (isArgument)
                arguments.push_back(std::exchange(argument, {}));
            isArgument = false;
        } else {
            argument += text[position];
            isArgument = true;
        }
    }
    if (isArgument)
        arguments.push_back(argument);
    return arguments;
}

}  // namespace Sorvex::platform::services
