#include "platform/posix/services/host.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include "platform/posix/base/retried.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/locks.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

// Fields of /proc/PID/stat, counted from 1.
constexpr int stateField = 3;
constexpr int threadsField = 20;
constexpr int startTimeField = 22;

// Reads the start of a file of the kernel into a block, NUL-terminated; empty when it can't.
template <std::size_t size>
void readKernelFile(const char* name, char (&block)[size]) {
    const Descriptor file = openAt(AT_FDCWD, name, O_RDONLY);
    const ssize_t count =
        file ? retried([&] { return read(file.get(), block, size - 1); }) : ssize_t{-1};
    block[count < 0 ? 0 : count] = '\0';
}

}  // namespace

std::string hostName() {
    char name[HOST_NAME_MAX + 1] = {};
    if (gethostname(name, sizeof name - 1) != 0)
        refuseWithErrno();
    return name;
}

std::uint64_t bootNumber() {
    static const std::uint64_t number = [] {
        char identifier[64];
        readKernelFile("/proc/sys/kernel/random/boot_id", identifier);
        return hashOf(identifier);
    }();
    return number;
}

ProcessIdentity identityOf(pid_t process) {
    char name[32];
    std::snprintf(name, sizeof name, "/proc/%d/stat", static_cast<int>(process));
    char facts[1024];
    readKernelFile(name, facts);

    // The program's name stands in parentheses and may hold anything; the state comes behind it. A
    // process whose first thread has ended may live on in others.
    const char* state = std::strrchr(facts, ')');
    if (state == nullptr || std::strlen(state) < 3)
        return {process, 0};
    state += 2;
    const auto field = [state](int number) {
        const char* position = state;
        for (int next = stateField; position != nullptr && next < number; ++next)
            position = std::strchr(position + 1, ' ');
        return position == nullptr ? 0 : std::strtoull(position, nullptr, 10);
    };
    const bool isDead = *state == 'X' || (*state == 'Z' && field(threadsField) <= 1);
    return {process, isDead ? 0 : field(startTimeField)};
}

}  // namespace Sorvex::platform::services
