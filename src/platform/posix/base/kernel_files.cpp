#include "platform/posix/base/kernel_files.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "platform/posix/base/descriptor.h"
#include "platform/posix/base/retried.h"

namespace Sorvex::platform {

void readKernelFile(const char* name, char* block, std::size_t size) noexcept {
    const Descriptor file = openAt(AT_FDCWD, name, O_RDONLY);
    const ssize_t count =
        file ? retried([&] { return read(file.get(), block, size - 1); }) : ssize_t{-1};
    block[count < 0 ? 0 : count] = '\0';
}

StatLine::StatLine(const char* nameFormat, pid_t number) noexcept {
    char name[48];
    std::snprintf(name, sizeof name, nameFormat, static_cast<int>(number));
    readKernelFile(name, text, sizeof text);
    // The program's name stands in parentheses and may hold anything.
    const char* const nameEnd = std::strrchr(text, ')');
    if (nameEnd == nullptr || std::strlen(nameEnd) < 3)
        *text = '\0';
    else
        behindName = static_cast<std::size_t>(nameEnd + 2 - text);
}

std::uint64_t StatLine::field(int index) const noexcept {
    const char* position = text + behindName;
    for (int next = 3; next < index; ++next) {
        position = std::strchr(position, ' ');
        if (position == nullptr)
            return 0;
        ++position;
    }
    return std::strtoull(position, nullptr, 10);
}

}  // namespace Sorvex::platform
