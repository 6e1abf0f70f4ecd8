#include "platform/posix/services/private_files.h"

#include <cerrno>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/base/retried.h"
#include "platform/posix/services/disk_steps.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

constexpr std::size_t largestFile = 1 << 20;
constexpr mode_t bitsOfOthers = S_IRWXG | S_IRWXO;

struct DirectoryClose {
    void operator()(DIR* stream) const noexcept { closedir(stream); }
};

// Opens what is the calling user's own and nobody else's.
Descriptor openOwn(int parent, const char* name, int flags, mode_t type) {
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

template <typename Visit>
void visitEntries(int directory, Visit visit) {
    Descriptor own = reopenDirectory(directory);
    const std::unique_ptr<DIR, DirectoryClose> stream(fdopendir(own.get()));
    if (stream == nullptr)
        refuseWithErrno();
    // The stream closes it from here on.
    own.release();
    errno = 0;
    while (const dirent* entry = readdir(stream.get())) {
        visit(std::string(entry->d_name));
        errno = 0;
    }
    if (errno != 0)
        refuseWithErrno();
}

}  // namespace

Descriptor openPrivateDirectory(int parent, const char* name) {
    return openOwn(parent, name, O_RDONLY | O_DIRECTORY, S_IFDIR);
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
    return openOwn(parent, name, flags, S_IFREG);
}

bool hasEntry(int directory, const char* name) {
    if (faccessat(directory, name, F_OK, AT_SYMLINK_NOFOLLOW) == 0)
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
        if (contents.size() > largestFile)
            refuse(ERROR_INVALID_DATA);
    }
}

void replaceFile(int directory, const char* name, std::string_view contents) {
    constexpr const char* fresh = ".fresh";
    removeEntry(directory, fresh, 0);
    const Descriptor file = makeFile(directory, fresh);
    writeBytes(file.get(), contents);
    syncToDisk(file.get());
    renameEntry(directory, fresh, name);
    syncToDisk(directory);
}

std::vector<std::string> visibleEntries(int directory) {
    std::vector<std::string> names;
    visitEntries(directory, [&](std::string name) {
        if (name.front() != '.')
            names.push_back(std::move(name));
    });
    return names;
}

void removeDirectory(int parent, const char* name) {
    const Descriptor directory = openPrivateDirectory(parent, name);
    if (!directory)
        return;
    std::vector<std::string> names;
    visitEntries(directory.get(), [&](std::string entry) {
        if (entry != "." && entry != "..")
            names.push_back(std::move(entry));
    });
    for (const std::string& entry : names)
        removeEntry(directory.get(), entry.c_str(), 0);
    removeEntry(parent, name, AT_REMOVEDIR);
}

}  // namespace Sorvex::platform::services
