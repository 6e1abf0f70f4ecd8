// Owners of the kernel's locks.
//
// flock belongs to the open file, not to the process: it lives on in every copy of the descriptor,
// those of forked children and those sent to other processes included, until one of them unlocks it
// or the last is closed.
#pragma once

#include <utility>

#include <sys/file.h>
#include <unistd.h>

#include "platform/posix/base/descriptor.h"
#include "platform/posix/base/termination_shield.h"

namespace Sorvex::platform::services {

/// A lock on an open file that the kernel gives back when the last process that has it open dies.
///
/// It is given back explicitly, since a copy of the descriptor in a process that is just being
/// forked would hold it longer; but never by a forked child, whose copy it is.
class FileLock {
public:
    FileLock() = default;
    explicit FileLock(Descriptor locked) noexcept : file(std::move(locked)), owner(getpid()) {}
    FileLock(FileLock&&) noexcept = default;
    FileLock& operator=(FileLock&& other) noexcept {
        if (this != &other) {
            release();
            file = std::move(other.file);
            owner = other.owner;
        }
        return *this;
    }
    ~FileLock() { release(); }

    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    int get() const noexcept { return file.get(); }
    explicit operator bool() const noexcept { return static_cast<bool>(file); }

    void release() noexcept {
        if (file && owner == getpid())
            flock(file.get(), LOCK_UN);
        file.close();
    }

    /// Closes this process's descriptor and leaves the lock to the others that have it.
    void leaveToOthers() noexcept { file.close(); }

private:
    Descriptor file;
    pid_t owner = 0;
};

/// A lock for the time of a scope, in which the thread can't be ended from outside: nobody else in
/// the process would give the lock back.
struct ScopedFileLock {
    TerminationShield shield;
    FileLock lock;
};

/// Takes a lock if nobody is in the way.
///
/// @param kind LOCK_SH or LOCK_EX
/// @return an owner of nothing when somebody is
FileLock tryLock(Descriptor file, int kind);

/// Takes a lock; ERROR_SERVICE_DATABASE_LOCKED when somebody keeps it all through the limit.
FileLock waitForLock(Descriptor file, int kind);

}  // namespace Sorvex::platform::services
