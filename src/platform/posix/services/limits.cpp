#include "platform/posix/services/limits.h"

namespace Sorvex::platform::services {

std::chrono::milliseconds responseLimit() noexcept {
    return std::chrono::seconds(30);
}

}  // namespace Sorvex::platform::services
