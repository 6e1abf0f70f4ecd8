// Takes the place of the two things that the service manager fixes for good: where it keeps its
// services, and how long it waits for one.
#ifndef SORVEX_TESTS_PLATFORM_SERVICES_SERVICE_PLACES_H
#define SORVEX_TESTS_PLATFORM_SERVICES_SERVICE_PLACES_H

#include <chrono>
#include <string>

namespace Sorvex::testing {

/// Sets both for this process.
void setServicePlaces(const std::string& directory, std::chrono::milliseconds limit);

}  // namespace Sorvex::testing

#endif
