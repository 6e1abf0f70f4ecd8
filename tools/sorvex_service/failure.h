// How a command ends early: a line for the user and the exit code of the program.
#pragma once

#include <stdexcept>
#include <string>

#include "platform/platform.h"

namespace Sorvex::tools {

using platform::DWORD;

/// What the program ends with. The numbers are documented and stay as they are.
enum ExitCode : int {
    exitDone = 0,
    exitFailed = 1,
    exitUsage = 2,
    exitNoService = 3,
    exitTimeOver = 4,
};

class Failure : public std::runtime_error {
public:
    explicit Failure(const std::string& text, int code = exitFailed)
        : std::runtime_error(text), exitCode(code) {}

    const int exitCode;
};

/// The system's text for an error and its number.
std::string errorText(DWORD error);

/// Ends the command: what went wrong, and the system's reason. A service that does not exist has an
/// exit code of its own.
[[noreturn]] void fail(const std::string& text, DWORD error);

/// Writes out what the standard output holds back. Ends the command where that can't be done.
void flushOutput();

/// The error of a call of the library's classes; ERROR_SUCCESS when it returns.
template <typename Call>
DWORD errorOf(Call call) {
    try {
        call();
        return ERROR_SUCCESS;
    } catch (const std::runtime_error&) {
        return platform::GetLastError();
    }
}

}  // namespace Sorvex::tools
