#include "platform/posix/base/termination_shield.h"

namespace Sorvex::platform {

constinit thread_local std::atomic<int> TerminationShield::depth{0};
constinit thread_local std::atomic<TerminationShield::End> TerminationShield::dueEnd{nullptr};

void TerminationShield::endNow() noexcept {
    dueEnd.load(relaxed)();
}

}  // namespace Sorvex::platform
