// The main function of the tests, which start their own program as services of several manners.
#include <gmock/gmock.h>

#include <unistd.h>

#include "platform/posix/services/limits.h"
#include "platform/posix/services/places.h"
#include "platform/services/services_fixture.h"
#include "support/odd_service.h"

namespace Sorvex {

testing::ServicePlaces& testing::servicePlaces() {
    static ServicePlaces places;
    return places;
}

platform::services::Places platform::services::placesOfUser() {
    const std::string& directory = testing::servicePlaces().directory;
    return {{directory, {"database"}}, {directory, {"run", "services"}}, {directory, {"log"}}};
}

std::chrono::milliseconds platform::services::responseLimit() noexcept {
    return testing::servicePlaces().limit;
}

}  // namespace Sorvex

// With a directory and up to three names it is a program of services, else one of tests.
int main(int argc, char** argv) {
    using namespace Sorvex;
    if (argc < 3 || argv[1][0] != '/') {
        ::testing::InitGoogleMock(&argc, argv);
        return RUN_ALL_TESTS();
    }
    using namespace Sorvex::testing;
    const BServiceManager::ServiceEntry entries[] = {enterOdd<0>, enterOdd<1>, enterOdd<2>};
    Sorvex::testing::servicePlaces().directory = argv[1];
    for (int index = 0; index < argc - 2; ++index) {
        oddServices[index] = new OddService(argv[index + 2], "", std::string(argv[1]) + "/");
        // The table has a name of its own, so any service that has this one will do.
        OddService passing(argv[index + 2]);
        BServiceManager::add(&passing, entries[index]);
    }
    BServiceManager::start();
}
