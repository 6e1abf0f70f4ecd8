#include "platform/posix/base/directory_entries.h"

#include <cerrno>
#include <memory>

#include <dirent.h>
#include <fcntl.h>

#include "platform/posix/base/descriptor.h"

namespace Sorvex::platform {

namespace {

struct StreamClose {
    void operator()(DIR* stream) const noexcept {
        const int error = errno;
        closedir(stream);
        errno = error;
    }
};

}  // namespace

bool forEachEntry(int directory, const std::function<void(const std::string&)>& function) {
    Descriptor listing = openAt(directory, ".", O_RDONLY | O_DIRECTORY);
    const std::unique_ptr<DIR, StreamClose> stream(listing ? fdopendir(listing.get()) : nullptr);
    if (stream == nullptr)
        return false;
    listing.release();
    for (;;) {
        errno = 0;
        const dirent* const entry = readdir(stream.get());
        if (entry == nullptr)
            break;
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            function(name);
    }
    return errno == 0;
}

}  // namespace Sorvex::platform
