#include "platform/posix/services/places.h"

#include <unistd.h>

#include "platform/posix/services/file_key.h"
#include "platform/posix/services/host.h"
#include "platform/posix/services/service_user.h"

namespace Sorvex::platform::services {

Places placesOfUser() {
    if (geteuid() == 0)
        return {{"/var/lib", {"sorvex", "services"}},
                {"/run", {"sorvex", "services"}},
                {"/var/log", {"sorvex"}}};

    // A home directory may be shared by several machines, but a running process belongs to one.
    const std::string home = serviceUser().home;
    return {{home, {".sorvex", "services"}},
            {home, {".sorvex", "run", fileKey(machineName())}},
            {home, {".sorvex", "log"}}};
}

}  // namespace Sorvex::platform::services
