#include <sorvex/bstring.h>

#include "platform/platform.h"
#include "platform/width.h"

namespace Sorvex {

void OSInterface::sleep(unsigned long duration) {
    constexpr std::uint32_t microsecondsPerMillisecond = 1000;
    platform::Sleep(asUnsigned32(duration) / microsecondsPerMillisecond);
}

char OSInterface::directorySeparatorCharacter() noexcept {
    return '\\';
}

}  // namespace Sorvex
