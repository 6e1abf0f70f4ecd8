#include "sorvex_service/failure.h"

#include <iostream>

#include <sorvex/bstring.h>

namespace Sorvex::tools {

std::string errorText(DWORD error) {
    char* block = nullptr;
    platform::FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
        nullptr, error, 0, reinterpret_cast<char*>(&block), 0, nullptr);
    // The system's own text ends with a line end.
    BString text(block == nullptr ? "" : block);
    platform::LocalFree(block);
    text.stripTrailing();
    const std::string number = "error " + std::to_string(error);
    return text.empty() ? number : text + " (" + number + ")";
}

void fail(const std::string& text, DWORD error) {
    throw Failure(text + ": " + errorText(error),
                  error == ERROR_SERVICE_DOES_NOT_EXIST ? exitNoService : exitFailed);
}

void flushOutput() {
    if (!std::cout.flush())
        throw Failure("the output can't be written");
}

}  // namespace Sorvex::tools
