#include "platform/posix/base/termination_shield.h"

namespace Sorvex::platform {

constinit thread_local volatile std::sig_atomic_t TerminationShield::depth = 0;
constinit thread_local volatile TerminationShield::End TerminationShield::dueEnd = nullptr;

void TerminationShield::endNow() noexcept {
    const End end = dueEnd;
    end();
}

}  // namespace Sorvex::platform
