// Keeps a thread from being ended in the middle of a step that must be done whole.
#pragma once

#include <atomic>
#include <csignal>

namespace Sorvex::platform {

/// Puts off TerminateThread on the calling thread until the end of the scope.
///
/// For short steps of the layer that take a lock of the whole process or hold what nobody else
/// would give back. It costs no system call, nests, and does nothing for threads that CreateThread
/// didn't make, since they can't be ended.
class TerminationShield {
public:
    TerminationShield() noexcept { begin(); }
    ~TerminationShield() { end(); }

    TerminationShield(const TerminationShield&) = delete;
    TerminationShield& operator=(const TerminationShield&) = delete;

    /// The two ends of the scope, for steps that begin in one function and end in another.
    static void begin() noexcept { depth = depth + 1; }

    static void end() noexcept {
        const std::sig_atomic_t outer = depth - 1;
        depth = outer;
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (outer == 0 && dueEnd != nullptr)
            endNow();
    }

    /// Whether the end of this scope ends the thread, which then has to leave soon.
    bool endsTheThread() const noexcept { return depth == 1 && dueEnd != nullptr; }

    using End = void (*)() noexcept;  ///< What ends the calling thread, for good.

    /// For the signal handler: whether the thread is shielded now. If so the shield ends it.
    static bool putsOff(End end) noexcept {
        if (depth == 0)
            return false;
        dueEnd = end;
        return true;
    }

private:
    static void endNow() noexcept;

    // Only their own thread and its signal handler look at them. A handler can't wait for storage
    // that is allocated when it is first touched.
    [[gnu::tls_model(
        "initial-exec")]] static constinit thread_local volatile std::sig_atomic_t depth;
    [[gnu::tls_model("initial-exec")]] static constinit thread_local volatile End dueEnd;
};

}  // namespace Sorvex::platform
