#include <sorvex/sync.h>

#include "platform/platform.h"
#include "platform/width.h"

namespace Sorvex {

BDelay::BDelay() noexcept : lastEvent(0) {}

BDelay& BDelay::event() noexcept {
    lastEvent = asUnsigned32(platform::timeGetTime());
    return *this;
}

unsigned long BDelay::timePassed() const noexcept {
    return asUnsigned32(asUnsigned32(platform::timeGetTime()) - lastEvent);
}

}  // namespace Sorvex
