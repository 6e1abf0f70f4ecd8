#include "platform/posix/services/administration.h"

#include <algorithm>
#include <csignal>

#include <sys/syscall.h>
#include <unistd.h>

#include "platform/posix/base/percent_encoding.h"
#include "platform/posix/services/command_line.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/launch.h"
#include "platform/posix/services/logs.h"
#include "platform/posix/services/places.h"
#include "platform/posix/services/refusal.h"
#include "platform/posix/services/start.h"
#include "platform/posix/services/store.h"

namespace Sorvex::platform::services {

namespace {

constexpr std::string_view blanks = " \t";

std::string logDirectory() {
    const PrivatePlace place = placesOfUser().logs;
    std::string name = place.base;
    for (const std::string& step : place.steps)
        name += "/" + step;
    return name;
}

// Nothing when there is no such service.
std::optional<ServiceFacts> factsOf(const Store& store, const std::string& key,
                                    const std::string& logs) {
    ServiceFacts facts;
    facts.key = key;
    facts.log = logs + "/" + logName(key);
    try {
        const ServiceDirectory directory = store.database().find(key);
        if (!directory)
            return std::nullopt;
        facts.isMarked = directory.isMarked();
        facts.run = store.observe(key);
        facts.configuration = directory.configuration();
    } catch (const Refusal& refusal) {
        passOnShortage(refusal);
        // A damaged service is a failure for itself alone, and so is what is none but lies among
        // them. The key tells the name, but for one that was too long.
        facts.isDamaged = true;
        facts.configuration.name = percentDecoded(key).value_or(key);
    }
    if (facts.run.status.dwServiceType == 0)
        facts.run.status.dwServiceType = facts.configuration.type;
    return facts;
}

bool namesFile(std::string_view program) {
    try {
        findCommand('"' + std::string(program) + '"');
        return true;
    } catch (const Refusal& refusal) {
        return refusal.error != ERROR_FILE_NOT_FOUND && refusal.error != ERROR_PATH_NOT_FOUND;
    }
}

}  // namespace

std::optional<std::vector<ServiceFacts>> allServices() {
    return answering(std::optional<std::vector<ServiceFacts>>(), [] {
        const Store store;
        std::vector<std::string> keys = store.database().keys();
        std::sort(keys.begin(), keys.end());
        const std::string logs = logDirectory();
        std::vector<ServiceFacts> all;
        all.reserve(keys.size());
        for (const std::string& key : keys)
            // One that has gone since is none of them any more.
            if (auto facts = factsOf(store, key, logs))
                all.push_back(std::move(*facts));
        return std::optional(std::move(all));
    });
}

std::optional<ServiceFacts> serviceNamed(const std::string& name) {
    return answering(std::optional<ServiceFacts>(), [&] {
        if (!isServiceName(name))
            refuse(ERROR_INVALID_NAME);
        const Store store;
        const KeptService service = store.keep(fileKey(name));
        auto facts = factsOf(store, service.key, logDirectory());
        if (facts && !facts->isDamaged && foldCase(facts->configuration.name) != foldCase(name))
            refuse(ERROR_SERVICE_DOES_NOT_EXIST);
        return facts;
    });
}

std::optional<std::time_t> processStart(const Observation& service) {
    if (!service.isActive || !service.isProcessKnown)
        return std::nullopt;
    // The start is told in ticks since the machine was started, which slept now and then.
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    const auto started = static_cast<std::time_t>(service.process.startTime /
                                                  static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK)));
    return std::time(nullptr) - (now.tv_sec - started);
}

BOOL signalService(const Observation& service, int signal) {
    // The descriptor stands for the process that has the number now, so what is compared behind it
    // is what is signalled.
    const Descriptor handle = watchProcess(service);
    const ProcessIdentity& process = service.process;
    if (!service.isProcessKnown || process.startTime == 0 || identityOf(process.id) != process)
        return failWith(ERROR_SERVICE_NOT_ACTIVE);
#ifdef SYS_pidfd_send_signal
    if (handle && syscall(SYS_pidfd_send_signal, handle.get(), signal, nullptr, 0) == 0)
        return TRUE;
#endif
    if (kill(process.id, signal) == 0)
        return TRUE;
    return failWithErrno();
}

BOOL startInForeground(const std::string& name, const std::vector<std::string>& arguments) {
    return answering(FALSE, [&] {
        if (!isServiceName(name))
            refuse(ERROR_INVALID_NAME);
        const Store store;
        const KeptService service = store.keep(fileKey(name));
        Starter(store).start(service, arguments, StreamsOf::starter);
        return TRUE;
    });
}

DWORD checkCommand(const std::string& commandLine) {
    try {
        findCommand(commandLine);
        return ERROR_SUCCESS;
    } catch (const Refusal& refusal) {
        return refusal.error;
    }
}

bool isAmbiguousCommand(const std::string& commandLine) {
    const std::size_t begin = commandLine.find_first_not_of(blanks);
    if (begin == std::string::npos || commandLine[begin] == '"')
        return false;
    const std::string_view line = std::string_view(commandLine).substr(begin);
    for (std::size_t end = line.find_first_of(blanks); end != std::string_view::npos;) {
        end = line.find_first_of(blanks, end + 1);
        if (namesFile(line.substr(0, end)))
            return true;
    }
    return false;
}

}  // namespace Sorvex::platform::services
