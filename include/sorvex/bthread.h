// Threads of the operating system.
#ifndef SORVEX_BTHREAD_H
#define SORVEX_BTHREAD_H

#include <sorvex/export.h>

namespace Sorvex {

/// What a thread runs. The application derives from it and overrides run.
class SORVEX_API BThreadFn {
public:
    BThreadFn() = default;
    virtual ~BThreadFn();

    BThreadFn(const BThreadFn&) = default;             ///< There is nothing to copy.
    BThreadFn& operator=(const BThreadFn&) = default;  ///< There is nothing to take over.

    /// The body of the thread; the thread ends when it returns. Does nothing unless overridden.
    ///
    /// An exception that leaves it ends the process, as for any thread of the language.
    virtual void run();
};

/// A handle on one thread of the operating system.
///
/// The object speaks for one thread at a time and doesn't know whether it still runs: waiting,
/// stopping and all questions work until the object is destroyed. Starting a second thread forgets
/// the first, which runs on, and whose function is never deleted.
///
/// An object takes no lock. Several threads may wait on it or question it at once; starting one
/// that others use, and destroying it, is for the application to keep apart.
class SORVEX_API BThread {
public:
    BThread() noexcept;  ///< Has no thread: waiting returns at once, and all times are 0.

    /// Starts a thread, as start does. When this fails the function stays with the caller.
    BThread(BThreadFn* function, unsigned long stackSize);

    /// Ends the thread abruptly if it still runs, as stop(0) does, and deletes its function.
    /// Whoever wants the function to finish calls wait(0xFFFFFFFF) before.
    virtual ~BThread();

    BThread(const BThread&) = delete;
    BThread& operator=(const BThread&) = delete;

    /// Starts a thread that runs the function.
    ///
    /// @param function made with new; the object owns it from now on, also when the start fails,
    ///     and deletes it in its destructor
    /// @param stackSize in bytes, 32 bits wide; 0 takes the process's default
    /// @throws std::runtime_error "BThread::start () : can not start new thread"
    BThread& start(BThreadFn* function, unsigned long stackSize);

    /// Ends the thread at once wherever it stands in its work, and returns when it can't run any
    /// more. A thread that stops itself doesn't return.
    ///
    /// Nothing is unwound: no destructor of the thread runs, and what it has locked stays locked,
    /// the allocator of the runtime library included. This is a last resort; a thread that looks at
    /// an event now and then and returns is safer. No failure is reported.
    ///
    /// @param exitCode the exit code of the thread, where the host keeps one
    BThread& stop(unsigned long exitCode);

    /// Waits until the thread has ended, at most so many milliseconds; the two aren't told apart.
    ///
    /// @param timeout 32 bits wide; 0 returns at once, 0xFFFFFFFF waits with no limit
    /// @throws std::runtime_error "BThread::wait () : failed"
    BThread& wait(unsigned long timeout);

    /// Sets the priority as the platform counts it: -15, -2 to 2, or 15, with 0 as normal. The
    /// second argument has no effect.
    ///
    /// @throws std::runtime_error "BThread::setPriority () : failed", also without a thread, and
    ///     when the host refuses, as most do for more than normal
    BThread& setPriority(int priority, int);

    /// Milliseconds since the thread was created, which go on rising after its end. They wrap at
    /// 32 bits. 0 without a thread.
    unsigned long timeSinceStart() const;

    /// Milliseconds that processors have spent on the thread's own code. They wrap at 32 bits. 0
    /// without a thread.
    unsigned long userTime() const;

    /// Milliseconds that processors have spent on the thread in the system. They wrap at 32 bits. 0
    /// without a thread.
    unsigned long kernelTime() const;

protected:
    /// Starts a thread on a routine of the derived class. The function held is neither read nor
    /// set.
    ///
    /// @param routine must not let an exception out; its result is the exit code of the thread
    /// @param argument what the routine is given; not owned
    /// @throws std::runtime_error "BThread::start () : can not start new thread"
    BThread& start(unsigned long(SORVEX_CALL* routine)(void*), void* argument,
                   unsigned long stackSize);

    /// The priority as the platform counts it.
    ///
    /// @throws std::runtime_error "BThread::priority() : can not retrieve thread priority", also
    ///     without a thread
    int priority();

private:
    void* threadHandle = nullptr;
    BThreadFn* threadFunction = nullptr;
};

}  // namespace Sorvex

#endif
