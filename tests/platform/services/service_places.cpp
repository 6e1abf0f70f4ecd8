#include "platform/services/service_places.h"

#include "platform/posix/services/limits.h"
#include "platform/posix/services/places.h"

namespace {

std::string& directoryOfServices() {
    static std::string directory;
    return directory;
}

std::chrono::milliseconds& limitOfResponses() {
    static std::chrono::milliseconds limit{0};
    return limit;
}

}  // namespace

namespace Sorvex::testing {

void setServicePlaces(const std::string& directory, std::chrono::milliseconds limit) {
    directoryOfServices() = directory;
    limitOfResponses() = limit;
}

}  // namespace Sorvex::testing

namespace Sorvex::platform::services {

Places placesOfUser() {
    return {{directoryOfServices(), {"database"}}, {directoryOfServices(), {"run", "services"}}};
}

std::chrono::milliseconds responseLimit() noexcept {
    return limitOfResponses();
}

}  // namespace Sorvex::platform::services
