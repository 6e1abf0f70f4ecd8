// Orders the accesses of other threads without a word from them.
#ifndef SORVEX_PLATFORM_POSIX_EVENTS_PROCESS_FENCE_H
#define SORVEX_PLATFORM_POSIX_EVENTS_PROCESS_FENCE_H

namespace Sorvex::platform {

/// Whether fenceProcess can be called. The kernel is asked once, which takes milliseconds when
/// other threads run already.
bool canFenceProcess() noexcept;

/// Lets every thread of this process pass a full fence, wherever it stands: what it did before
/// comes before what the caller does next.
///
/// It costs a system call and interrupts the threads that run, where one of two sides is so
/// frequent that it should pay for no fence of its own.
void fenceProcess() noexcept;

}  // namespace Sorvex::platform

#endif
