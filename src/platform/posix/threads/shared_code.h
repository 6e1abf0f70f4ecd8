// The places where a thread may hold a lock of the whole process.
#pragma once

namespace Sorvex::platform {

/// Finds the code of the C library, the allocator, the loader and the language's runtime. Has to
/// come before the first question.
void findSharedCode();

/// Tells a signal handler whether it has interrupted the thread amid such code, where the thread
/// gets on by itself. One that sleeps there in a system call does not, unless it waits for one of
/// the C library's own locks. On processors that the layer doesn't know the answer is always no.
///
/// @param context what the handler was given as its third argument; the handler's signal must not
///     make calls restart (SA_RESTART)
bool interruptsSharedCode(const void* context) noexcept;

}  // namespace Sorvex::platform
