#include <fcntl.h>

#include "platform/posix/services/places.h"

#include <cerrno>
#include "platform/posix/services/private_files.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

Descriptor openBase(const Place& place) {
    Descriptor directory = openAt(AT_FDCWD, place.base.c_str(), O_RDONLY | O_DIRECTORY);
    if (!directory && errno == ENOENT)
        refuse(ERROR_PATH_NOT_FOUND);
    if (!directory)
        refuseWithErrno();
    return directory;
}

}  // namespace

Descriptor ensurePlace(const Place& place) {
    Descriptor directory = openBase(place);
    for (const std::string& step : place.steps)
        directory = ensurePrivateDirectory(directory.get(), step.c_str());
    return directory;
}

Descriptor openPlace(const Place& place) {
    Descriptor directory = openBase(place);
    for (const std::string& step : place.steps)
        if (directory)
            directory = openPrivateDirectory(directory.get(), step.c_str());
    return directory;
}

}  // namespace Sorvex::platform::services
