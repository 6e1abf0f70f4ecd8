// The private directory in which the named events of one user lie.
#pragma once

#include <cstdint>

#include <sys/types.h>

#include "platform/posix/base/descriptor.h"

namespace Sorvex::platform {

/// Where to look for the directory, and whose it has to be.
struct EventHome {
    const char* parent;  // has to outlive what is made of it
    uid_t owner;

    /// The shared memory of the machine and the user that the process acts for.
    static EventHome ofUser() noexcept;
};

/// Keeps every signal from the calling thread until the end of the scope, those of the runtime
/// library and those that end a thread included.
class SignalBlock {
public:
    SignalBlock() noexcept;
    ~SignalBlock();

    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

    void rest() const noexcept;  ///< Lets pending signals in and sleeps for a moment.

private:
    std::uint64_t before = 0;
};

/// Holds the events' directory of one user alone, among the threads of all processes.
///
/// The kernel gives the lock back when its holder dies. A signal handler can't run meanwhile, since
/// it could ask for the same lock, and the thread can't be ended, since its process would keep it.
class EventDirectory {
public:
    /// Finds the directory, makes it when there is none, and waits until it is free.
    explicit EventDirectory(const EventHome& home);
    ~EventDirectory();

    EventDirectory(const EventDirectory&) = delete;
    EventDirectory& operator=(const EventDirectory&) = delete;

    /// Whether the directory is held; if not, errno said why when it was made.
    bool held() const noexcept { return static_cast<bool>(directory); }

    int descriptor() const noexcept { return directory.get(); }

private:
    void giveUp() noexcept;

    SignalBlock signals;
    Descriptor directory;
};

}  // namespace Sorvex::platform
