#include "platform/posix/services/host.h"

#include <cerrno>
#include <cstring>
#include <optional>

#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/base/kernel_files.h"
#include "platform/posix/base/termination_shield.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

// Fields of the stat line.
constexpr int threadsField = 20;
constexpr int startTimeField = 22;

// The number of a namespace; 0 on hosts that have none of the kind.
std::uint64_t namespaceBehind(const char* name) {
    struct stat facts {};
    return stat(name, &facts) == 0 ? facts.st_ino : 0;
}

// Looks at something that need not be there. What can't be looked at for want of descriptors is a
// failure: taken for missing, a service that runs would count as stopped and be started again.
template <typename Look>
void lookAt(Look look) {
    errno = 0;
    if (!look() && (errno == EMFILE || errno == ENFILE || errno == ENOMEM))
        refuseWithErrno();
}

template <std::size_t size>
void readFact(const char* name, char (&text)[size]) {
    lookAt([&] {
        readKernelFile(name, text, size);
        return *text != '\0';
    });
}

}  // namespace

std::string hostName() {
    char name[HOST_NAME_MAX + 1] = {};
    if (gethostname(name, sizeof name - 1) != 0)
        refuseWithErrno();
    return name;
}

std::string machineName() {
    char identifier[64];
    readFact("/etc/machine-id", identifier);
    identifier[std::strcspn(identifier, "\n")] = '\0';
    // An image that has never been started has another text there, or none.
    constexpr std::size_t identifierLength = 32;
    return std::strlen(identifier) == identifierLength ? identifier : hostName();
}

std::uint64_t processNamespace() {
    return namespaceBehind("/proc/self/ns/pid");
}

std::uint64_t identityNamespaces() {
    constexpr int bitsOfNumber = 32;
    return processNamespace() << bitsOfNumber ^ namespaceBehind("/proc/self/ns/time");
}

std::uint64_t bootNumber() {
    // A thread that is ended amid the first call would leave the others waiting for its result.
    const TerminationShield shield;
    static const std::uint64_t number = [] {
        char identifier[64];
        readFact("/proc/sys/kernel/random/boot_id", identifier);
        return hashOf(identifier);
    }();
    return number;
}

ProcessIdentity identityOf(pid_t process) {
    std::optional<StatLine> line;
    lookAt([&] {
        line = StatLine::ofProcess(process);
        return line->state() != '\0';
    });
    // A process whose first thread has ended may live on in others.
    const char state = line->state();
    const bool isDead = state == 'X' || (state == 'Z' && line->field(threadsField) <= 1);
    return {process, isDead ? 0 : line->field(startTimeField)};
}

}  // namespace Sorvex::platform::services
