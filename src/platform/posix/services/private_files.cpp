#include "platform/posix/services/private_files.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/base/directory_entries.h"
#include "platform/posix/base/retried.h"
#include "platform/posix/services/disk_steps.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

constexpr mode_t bitsOfOthers = S_IRWXG | S_IRWXO;

// Opens what is the calling user's own and nobody else's.
Descriptor openPrivate(int parent, const char* name, int flags, mode_t type) {
    Descriptor file = openAt(parent, name, flags | O_NOFOLLOW | O_NONBLOCK);
    if (!file) {
        if (errno == ENOENT)
            return file;
        // A link gives one of these two.
        if (errno == ELOOP || errno == ENOTDIR)
            refuse(ERROR_ACCESS_DENIED);
        refuseWithErrno();
    }
    struct stat facts {};
    if (fstat(file.get(), &facts) != 0)
        refuseWithErrno();
    if (facts.st_uid != geteuid() || (facts.st_mode & S_IFMT) != type ||
        (facts.st_mode & bitsOfOthers) != 0)
        refuse(ERROR_ACCESS_DENIED);
    return file;
}

std::vector<std::string> entriesOf(int directory) {
    std::vector<std::string> names;
    if (!forEachEntry(directory, [&](const std::string& name) { names.push_back(name); }))
        refuseWithErrno();
    return names;
}

Descriptor openBase(const PrivatePlace& place) {
    Descriptor directory = openAt(AT_FDCWD, place.base.c_str(), O_PATH | O_DIRECTORY);
    if (!directory && errno == ENOENT)
        refuse(ERROR_PATH_NOT_FOUND);
    if (!directory)
        refuseWithErrno();
    return directory;
}

}  // namespace

Descriptor ensurePlace(const PrivatePlace& place) {
    Descriptor directory = openBase(place);
    for (const std::string& step : place.steps)
        directory = ensurePrivateDirectory(directory.get(), step.c_str());
    return directory;
}

Descriptor openPlace(const PrivatePlace& place) {
    Descriptor directory = openBase(place);
    for (const std::string& step : place.steps)
        if (directory)
            directory = openPrivateDirectory(directory.get(), step.c_str());
    return directory;
}

Descriptor openPrivateDirectory(int parent, const char* name) {
    return openPrivate(parent, name, O_PATH | O_DIRECTORY, S_IFDIR);
}

Descriptor ensurePrivateDirectory(int parent, const char* name) {
    Descriptor directory = openPrivateDirectory(parent, name);
    if (directory)
        return directory;
    makeDirectory(parent, name);
    directory = openPrivateDirectory(parent, name);
    if (!directory)
        refuse(ERROR_PATH_NOT_FOUND);
    return directory;
}

Descriptor reopenDirectory(int directory) {
    Descriptor again = openAt(directory, ".", O_RDONLY | O_DIRECTORY);
    if (!again)
        refuseWithErrno();
    return again;
}

Descriptor openPrivateFile(int parent, const char* name, int flags) {
    return openPrivate(parent, name, flags, S_IFREG);
}

// faccessat would ask what the real user may do, who is another one in a set-user-id program.
bool hasEntry(int directory, const char* name) {
    struct stat facts {};
    if (fstatat(directory, name, &facts, AT_SYMLINK_NOFOLLOW) == 0)
        return true;
    if (errno != ENOENT)
        refuseWithErrno();
    return false;
}

std::optional<std::string> readPrivateFile(int parent, const char* name) {
    const Descriptor file = openPrivateFile(parent, name, O_RDONLY);
    if (!file)
        return std::nullopt;
    std::string contents;
    char block[4096];
    for (;;) {
        const ssize_t count = retried([&] { return read(file.get(), block, sizeof block); });
        if (count < 0)
            refuseWithErrno();
        if (count == 0)
            return contents;
        contents.append(block, static_cast<std::size_t>(count));
        if (contents.size() > largestPrivateFile)
            refuse(ERROR_INVALID_DATA);
    }
}

void replaceFile(int directory, const char* name, std::string_view contents) {
    constexpr const char* fresh = ".fresh";
    removeEntry(directory, fresh, 0);
    const Descriptor file = makeFile(directory, fresh);
    writeBytes(file.get(), contents);
    syncToDisk(file.get());
    renameEntry(directory, fresh, directory, name);
    syncDirectory(directory);
}

std::vector<std::string> visibleEntries(int directory) {
    std::vector<std::string> names = entriesOf(directory);
    std::erase_if(names, [](const std::string& name) { return name.front() == '.'; });
    return names;
}

void removeTree(int parent, const char* name) {
    if (unlinkat(parent, name, 0) == 0 || errno == ENOENT)
        return;
    if (errno != EISDIR)
        refuseWithErrno();
    const Descriptor directory = openAt(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    if (!directory)
        refuseWithErrno();
    for (const std::string& entry : entriesOf(directory.get()))
        removeTree(directory.get(), entry.c_str());
    removeEntry(parent, name, AT_REMOVEDIR);
}

}  // namespace Sorvex::platform::services
