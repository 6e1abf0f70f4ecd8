// Keeps a thread from being ended in the middle of a step that must be done whole.
#pragma once

#include <atomic>

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
    static void begin() noexcept { depth.store(depth.load(relaxed) + 1, relaxed); }

    static void end() noexcept {
        const int outer = depth.load(relaxed) - 1;
        depth.store(outer, relaxed);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (outer == 0 && dueEnd.load(relaxed) != nullptr)
            endNow();
    }

    /// Whether the end of this scope ends the thread, which then has to leave soon.
    bool endsTheThread() const noexcept {
        return depth.load(relaxed) == 1 && dueEnd.load(relaxed) != nullptr;
    }

    using End = void (*)() noexcept;  ///< What ends the calling thread, for good.

    /// For the signal handler: whether the thread is shielded now. If so the shield ends it.
    static bool putsOff(End end) noexcept {
        if (depth.load(relaxed) == 0)
            return false;
        dueEnd.store(end, relaxed);
        return true;
    }

private:
    static constexpr std::memory_order relaxed = std::memory_order_relaxed;

    static void endNow() noexcept;

    // Only their own thread and its signal handler look at them. A handler can't wait for storage
    // that is allocated when it is first touched.
    [[gnu::tls_model("initial-exec")]] static constinit thread_local std::atomic<int> depth;
    [[gnu::tls_model("initial-exec")]] static constinit thread_local std::atomic<End> dueEnd;
};

}  // namespace Sorvex::platform
