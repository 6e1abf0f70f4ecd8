// The end of a thread from outside.
#pragma once

#include "platform/posix/threads/thread_record.h"

namespace Sorvex::platform {

/// Ends another thread, and returns when it can't run any more.
void endThread(ThreadRecord& thread) noexcept;

/// Ends the calling thread, which has a record.
[[noreturn]] void endThisThread() noexcept;

}  // namespace Sorvex::platform
