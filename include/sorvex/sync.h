// Locks inside one process, elapsed time, and events.
#ifndef SORVEX_SYNC_H
#define SORVEX_SYNC_H

#include <cstdint>
#include <memory>

#include <sorvex/export.h>

namespace Sorvex {

/// A lock inside one process. The thread that holds it may take it again.
///
/// Any thread may call enter and leave. The lock has to be free when it is destroyed.
class SORVEX_API BMutex {
public:
    BMutex();  ///< Makes a lock that is free.
    ~BMutex();

    BMutex(const BMutex&) = delete;
    BMutex& operator=(const BMutex&) = delete;

    /// Takes the lock, waiting without limit. Its owner has to leave as often as it has entered.
    BMutex& enter() noexcept;

    /// Gives one level of the lock back. Only the thread that owns the lock may call this; nothing
    /// checks it.
    BMutex& leave() noexcept;

private:
    struct Section;  // the platform's record
    std::unique_ptr<Section> criticalSection;
};

/// Holds a mutex until the end of a scope, on the thread that made the scope.
///
/// The mutex is not owned and has to outlive the lock.
class SORVEX_API BMutexLock {
public:
    explicit BMutexLock(BMutex& entered) noexcept;  ///< Enters a mutex, waiting without limit.
    ~BMutexLock();                                  ///< Leaves the mutex.

    BMutexLock(const BMutexLock&) = delete;
    BMutexLock& operator=(const BMutexLock&) = delete;

private:
    BMutex* mutex;
};

/// The milliseconds that have passed since a marked moment, by the clock that counts from the start
/// of the system. One object belongs to one thread at a time.
class SORVEX_API BDelay {
public:
    BDelay() noexcept;  ///< Marks the start of the system. Does not read the clock.
    ~BDelay() = default;

    BDelay(const BDelay&) = default;             ///< A copy has the same mark.
    BDelay& operator=(const BDelay&) = default;  ///< Takes the mark over.
    BDelay& event() noexcept;                    ///< Marks this moment.

    /// Milliseconds since the marked moment, which stays as it is. Counted in 32 bits: the result
    /// is right across one wrap of the clock and starts again at 0 after 49.7 days.
    unsigned long timePassed() const noexcept;

private:
    std::uint32_t lastEvent;
};

/// A flag that threads wait on. Once posted it stays posted, and lets everyone through, until it is
/// reset.
///
/// A new event is not posted. An event without a name serves the threads of this process. One with
/// a name is shared by everyone who names it, in other processes too, and lives until the last of
/// them is gone; after that the name stands for a new event, which is not posted. All operations
/// may be called from any thread on one object at once; only the destructor has to wait until
/// nobody else uses the object.
class SORVEX_API EventSemaphore {
public:
    EventSemaphore();  ///< Makes an event without a name.

    /// Creates the event of that name, or joins it, whatever its state. Null makes an event without
    /// a name.
    ///
    /// @param name at most 259 characters of any kind; upper and lower case differ
    /// @throws std::runtime_error "EventSemaphore::EventSemaphore(): failed to create.", or
    ///     "EventSemaphore::EventSemaphore() : failed to open." when the platform only names the
    ///     event as taken and won't open it either.
    explicit EventSemaphore(const char* name);

    ~EventSemaphore();  ///< Gives the event up. A named one lives on while others hold it.

    EventSemaphore(const EventSemaphore&) = delete;
    EventSemaphore& operator=(const EventSemaphore&) = delete;

    /// Sets the event to posted: all who wait now or later pass, until it is reset.
    ///
    /// @throws std::runtime_error "EventSemaphore::post() : post failed."
    EventSemaphore& post();

    /// Lets the threads that wait at this moment pass, and leaves the event not posted.
    ///
    /// @throws std::runtime_error "EventSemaphore::pulse () : pulse failed."
    EventSemaphore& pulse();

    /// Sets the event to not posted.
    ///
    /// @throws std::runtime_error "EventSemaphore::reset() : failed to reset."
    EventSemaphore& reset();

    /// Waits until the event is posted or pulsed, or the time is over; the two are not told apart.
    ///
    /// @param timeout in milliseconds, of which the low 32 bits count; 0 and 0xFFFFFFFF wait
    ///     without limit
    /// @throws std::runtime_error "EventSemaphore::wait() : wait failed."
    EventSemaphore& wait(unsigned long timeout);

private:
    void* eventHandle;
};

}  // namespace Sorvex

#endif
