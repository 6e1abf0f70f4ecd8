// The command line of a service's program.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Sorvex::platform::services {

struct Command {
    std::string program;                 // in the host's spelling, absolute
    std::vector<std::string> arguments;  // the program's name as it stands on the line comes first
};

/// Finds the program of a command line and splits the rest at blanks and tabs. A program name with
/// blanks stands in double quotes, or is the shortest beginning of the line up to a blank that
/// names a file.
///
/// Fails with ERROR_FILE_NOT_FOUND or ERROR_PATH_NOT_FOUND when there is no such program, and with
/// ERROR_ACCESS_DENIED when it is none or may not be run.
Command findCommand(std::string_view commandLine);

/// Splits arguments as the platform's runtime does: double quotes keep blanks together, two of them
/// between such are a character, and so is one behind an odd number of backslashes; before a double
/// quote a pair of backslashes is one backslash.
std::vector<std::string> splitArguments(std::string_view text);

}  // namespace Sorvex::platform::services
