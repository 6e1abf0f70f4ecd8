// When a thread may hold a lock of the whole process.
#pragma once

namespace Sorvex::platform {

/// Finds the code of the C library, the allocator, the loader and the language's runtime, and the
/// loader's locks. Has to come before the first question.
void findSharedCode();

/// Tells a signal handler whether the thread that it has interrupted holds a lock of the loader or
/// stands amid such code, where it gets on by itself. One that sleeps there in a system call does
/// not, unless it waits for one of the C library's own locks. On processors that the layer doesn't
/// know only the loader's locks count.
///
/// @param context what the handler was given as its third argument; the handler's signal must not
///     make calls restart (SA_RESTART)
bool mayHoldSharedLock(const void* context) noexcept;

}  // namespace Sorvex::platform
