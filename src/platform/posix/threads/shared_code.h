// The places where a thread may hold a lock of the whole process.
#ifndef SORVEX_PLATFORM_POSIX_THREADS_SHARED_CODE_H
#define SORVEX_PLATFORM_POSIX_THREADS_SHARED_CODE_H

namespace Sorvex::platform {

/// Finds the code of the C library, of the allocator and of the loader. Has to come before the
/// first question.
void findSharedCode();

/// Tells a signal handler whether it has interrupted a thread amid that code, where the thread may
/// hold the allocator's lock or another that nobody would give back.
///
/// A thread that sleeps in a system call of the C library isn't counted: what it may hold there it
/// can hold for ever. On processors that the layer doesn't know the answer is always no.
///
/// @param context what the handler was given as its third argument
bool interruptsSharedCode(const void* context) noexcept;

}  // namespace Sorvex::platform

#endif
