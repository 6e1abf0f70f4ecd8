#include "platform/posix/services/run_state.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/posix/base/retried.h"
#include "platform/posix/services/disk_steps.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/private_files.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

constexpr const char* stateFile = "state";
constexpr const char* unfinished = ".state";

// Programs of both widths share the file, so the numbers are laid out without gaps.
struct Record {
    std::uint32_t sequence;
    std::uint32_t process;
    std::uint64_t startTime;
    std::uint64_t boot;
    std::uint64_t namespaces;
    std::uint64_t started;
    SERVICE_STATUS status;
    std::uint32_t isBeingStarted;
    std::uint64_t changed;
    std::uint64_t hash;
};
static_assert(sizeof(Record) == 88);

using Records = std::array<Record, 2>;
constexpr off_t argumentsOffset = sizeof(Records);

std::uint64_t hashOfRecord(const Record& record) noexcept {
    return hashOf({reinterpret_cast<const char*>(&record), offsetof(Record, hash)});
}

void readAt(int file, void* target, std::size_t size, off_t offset) {
    auto* position = static_cast<char*>(target);
    while (size > 0) {
        const ssize_t count = retried([&] { return pread(file, position, size, offset); });
        if (count < 0)
            refuseWithErrno();
        if (count == 0)
            return;
        position += count;
        offset += count;
        size -= static_cast<std::size_t>(count);
    }
}

void writeAt(int file, const void* source, std::size_t size, off_t offset) {
    const auto* position = static_cast<const char*>(source);
    while (size > 0) {
        const ssize_t count = retried([&] { return pwrite(file, position, size, offset); });
        if (count < 0)
            refuseWithErrno();
        position += count;
        offset += count;
        size -= static_cast<std::size_t>(count);
    }
}

bool isWhole(const Record& record) noexcept {
    return record.sequence != 0 && record.hash == hashOfRecord(record);
}

// The newer of the whole records. A write that is underway spoils one of them; two writes during
// one look are so rare that another look settles it.
std::optional<Record> newestRecord(int file) {
    for (int look = 0; look < 10; ++look) {
        Records records{};
        readAt(file, records.data(), sizeof records, 0);
        const bool first = isWhole(records[0]);
        const bool second = isWhole(records[1]);
        if (first && (!second || records[0].sequence > records[1].sequence))
            return records[0];
        if (second)
            return records[1];
    }
    return std::nullopt;
}

bool isLocked(int file) {
    if (retried([&] { return flock(file, LOCK_SH | LOCK_NB); }) == 0) {
        flock(file, LOCK_UN);
        return false;
    }
    if (errno != EWOULDBLOCK)
        refuseWithErrno();
    return true;
}

// A child that a service has forked keeps the lock when the service dies, so the process itself is
// looked for as well.
bool isAlive(const ProcessIdentity& process) {
    return identityOf(process.id) == process;
}

Descriptor openStateFile(int runtime, const std::string& key) {
    const Descriptor directory = openPrivateDirectory(runtime, key.c_str());
    return directory ? openPrivateFile(directory.get(), stateFile, O_RDONLY) : Descriptor();
}

std::uint64_t now() noexcept {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count());
}

}  // namespace

SERVICE_STATUS stoppedStatus(DWORD type, DWORD exitCode) noexcept {
    SERVICE_STATUS status{};
    status.dwServiceType = type;
    status.dwCurrentState = SERVICE_STOPPED;
    status.dwWin32ExitCode = exitCode;
    return status;
}

RunState::RunState(int directory, const SERVICE_STATUS& first)
    : process(identityOf(getpid())),
      started(now()),
      changed(started),
      status(first),
      isBeingStarted(true) {
    removeEntry(directory, unfinished, 0);
    Descriptor fresh =
        openAt(directory, unfinished, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (!fresh)
        refuseWithErrno();
    file = tryLock(std::move(fresh), LOCK_EX);
    write();
    renameEntry(directory, unfinished, directory, stateFile);
}

RunState::RunState(Descriptor handedOver) : file(std::move(handedOver)) {
    const auto record = newestRecord(file.get());
    if (!record)
        refuse(ERROR_INVALID_DATA);
    process = {static_cast<pid_t>(record->process), record->startTime};
    started = record->started;
    changed = record->changed;
    status = record->status;
    isBeingStarted = record->isBeingStarted != 0;
    sequence = record->sequence;
}

void RunState::setProcess(const ProcessIdentity& newProcess) {
    process = newProcess;
    write();
}

void RunState::takeOver() {
    isBeingStarted = false;
    setProcess(identityOf(getpid()));
}

void RunState::setStatus(const SERVICE_STATUS& newStatus) {
    if (newStatus.dwCurrentState != status.dwCurrentState)
        changed = now();
    status = newStatus;
    write();
}

void RunState::write() {
    Record record{};
    record.sequence = ++sequence;
    record.process = static_cast<std::uint32_t>(process.id);
    record.startTime = process.startTime;
    record.boot = bootNumber();
    record.namespaces = identityNamespaces();
    record.started = started;
    record.changed = changed;
    record.status = status;
    record.isBeingStarted = isBeingStarted ? 1 : 0;
    record.hash = hashOfRecord(record);
    writeAt(file.get(), &record, sizeof record, sequence % 2 == 0 ? 0 : sizeof record);
}

void RunState::putArguments(const std::vector<std::string>& arguments) {
    std::string block;
    for (const std::string& argument : arguments)
        block.append(argument).push_back('\0');
    writeAt(file.get(), block.data(), block.size(), argumentsOffset);
}

std::vector<std::string> RunState::takeArguments() {
    struct stat facts {};
    if (fstat(file.get(), &facts) != 0)
        refuseWithErrno();
    std::vector<std::string> arguments;
    if (facts.st_size <= argumentsOffset)
        return arguments;
    std::string block(static_cast<std::size_t>(facts.st_size - argumentsOffset), '\0');
    readAt(file.get(), block.data(), block.size(), argumentsOffset);
    std::string_view rest(block);
    for (std::size_t end = rest.find('\0'); end != std::string_view::npos; end = rest.find('\0')) {
        arguments.emplace_back(rest.substr(0, end));
        rest.remove_prefix(end + 1);
    }
    if (retried([&] { return ftruncate(file.get(), argumentsOffset); }) != 0)
        refuseWithErrno();
    return arguments;
}

Observation observe(int runtime, const std::string& key) {
    Observation found;
    found.status = stoppedStatus(0, ERROR_SERVICE_NEVER_STARTED);
    const Descriptor file = openStateFile(runtime, key);
    if (!file)
        return found;

    // The lock comes first: a service reports that it is stopped before it gives the lock back.
    const bool locked = isLocked(file.get());
    const auto record = newestRecord(file.get());
    if (!record || record->boot != bootNumber()) {
        found.isActive = locked;
        found.isUnderstood = !locked;
        return found;
    }

    found.status = record->status;
    found.started = record->started;
    found.changed = record->changed;
    found.isBeingStarted = record->isBeingStarted != 0;
    found.isProcessKnown = record->namespaces == identityNamespaces();
    found.process = {static_cast<pid_t>(record->process), record->startTime};
    if (found.status.dwCurrentState == SERVICE_STOPPED)
        return found;
    found.isActive = locked && (!found.isProcessKnown || isAlive(found.process));
    if (!found.isActive) {
        // Nobody has seen when the process ended.
        found.changed = 0;
        found.status = stoppedStatus(found.status.dwServiceType, ERROR_PROCESS_ABORTED);
    }
    return found;
}

}  // namespace Sorvex::platform::services
