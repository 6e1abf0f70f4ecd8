// The odd service as a program. Its only argument is the manner; "quit" ends it before it has
// become a service.
#include <cstdlib>

#include "support/odd_service.h"

int main(int argc, char** argv) {
    using namespace Sorvex;
    const std::string manner = argc > 1 ? argv[1] : "plain";
    if (manner == "quit") {
        std::cerr << "there is no licence" << std::endl;
        return EXIT_FAILURE;
    }
    testing::oddServices[0] = new testing::OddService("odd", manner);
    BServiceManager::add(testing::oddServices[0], testing::enterOdd<0>);
    BServiceManager::start();
}
