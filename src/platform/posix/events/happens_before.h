// Tells the thread sanitizer of orders that it can't see: those that the kernel makes when it
// changes a word, and those between two addresses of the same shared memory.
#pragma once

#include "platform/posix/base/sanitizers.h"

#if SORVEX_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

namespace Sorvex::platform {

/// What this thread did until now comes before what any thread does after orderAfter(key).
inline void orderBefore([[maybe_unused]] void* key) noexcept {
#if SORVEX_THREAD_SANITIZER
    __tsan_release(key);
#endif
}

inline void orderAfter([[maybe_unused]] void* key) noexcept {
#if SORVEX_THREAD_SANITIZER
    __tsan_acquire(key);
#endif
}

}  // namespace Sorvex::platform
