#include "platform/posix/threads/thread_id.h"

#include <pthread.h>
#include <unistd.h>

#include "platform/posix/base/termination_shield.h"

namespace Sorvex::platform {

namespace {

[[gnu::tls_model("initial-exec")]] constinit thread_local DWORD knownThreadId = 0;

// The only thread of a forked process has another number than the one it was made by.
bool seesForks() noexcept {
    // A thread that is ended amid the first call would leave the others waiting for its result.
    const TerminationShield shield;
    static const bool sees = pthread_atfork(nullptr, nullptr, [] { knownThreadId = 0; }) == 0;
    return sees;
}

}  // namespace

DWORD GetCurrentThreadId() noexcept {
    if (!seesForks() || knownThreadId == 0)
        knownThreadId = static_cast<DWORD>(gettid());
    return knownThreadId;
}

}  // namespace Sorvex::platform
