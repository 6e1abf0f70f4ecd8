#include "platform/posix/services/disk_steps.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/base/retried.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

void makeDirectory(int parent, const char* name) {
    if (mkdirat(parent, name, S_IRWXU) != 0 && errno != EEXIST)
        refuseWithErrno();
}

Descriptor makeFile(int parent, const char* name) {
    Descriptor file =
        openAt(parent, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (!file)
        refuseWithErrno();
    return file;
}

void writeBytes(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = retried([&] { return write(file, bytes.data(), bytes.size()); });
        if (written < 0)
            refuseWithErrno();
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

void syncToDisk(int file) {
    if (retried([&] { return fsync(file); }) != 0)
        refuseWithErrno();
}

void syncDirectory(int directory) {
    const Descriptor opened = openAt(directory, ".", O_RDONLY | O_DIRECTORY);
    if (!opened)
        refuseWithErrno();
    syncToDisk(opened.get());
}

void renameEntry(int directory, const char* name, int newDirectory, const char* newName) {
    if (renameat(directory, name, newDirectory, newName) != 0)
        refuseWithErrno();
}

void removeEntry(int directory, const char* name, int flags) {
    if (unlinkat(directory, name, flags) != 0 && errno != ENOENT)
        refuseWithErrno();
}

}  // namespace Sorvex::platform::services
