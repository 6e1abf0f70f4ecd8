#include "platform/posix/events/event_directory.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <string>

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/posix/base/directory_entries.h"
#include "platform/posix/base/termination_shield.h"

namespace Sorvex::platform {

namespace {

// Opens the directory of that name if its facts (stat) say that it is the owner's, and shuts others
// out if they have been let in. ENOENT: there is none; EEXIST: it is another's, or no directory.
Descriptor openOwn(int parent, const std::string& name, uid_t owner) {
    struct stat facts {};
    if (fstatat(parent, name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0)
        return {};
    if (!S_ISDIR(facts.st_mode) || facts.st_uid != owner) {
        errno = EEXIST;
        return {};
    }
    // Nobody else can rename or remove it in a directory where only owners may.
    if ((facts.st_mode & 07777) != 0700 && fchmodat(parent, name.c_str(), 0700, 0) != 0)
        return {};
    return openAt(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
}

// The first in order of all own directories whose names begin with the prefix.
std::string firstOwn(int parent, const std::string& prefix, uid_t owner) {
    std::string first;
    forEachEntry(parent, [&](const std::string& name) {
        struct stat facts {};
        if (name.compare(0, prefix.size(), prefix) == 0 && (first.empty() || name < first) &&
            fstatat(parent, name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISDIR(facts.st_mode) && facts.st_uid == owner)
            first = name;
    });
    return first;
}

std::string unpredictable() {
    std::uint64_t number = 0;
    if (getrandom(&number, sizeof(number), 0) != sizeof(number))
        return {};
    char digits[17];
    std::snprintf(digits, sizeof(digits), "%016llx", static_cast<unsigned long long>(number));
    return digits;
}

// Another user may have taken the name to keep the owner out. Then the directory gets a name that
// nobody can take in advance, and everyone who acts for the owner finds it by looking through the
// parent. It counts for as long as it is there, whatever becomes of the plain name.
Descriptor openOrMake(const EventHome& home) {
    const Descriptor parent = openAt(AT_FDCWD, home.parent, O_PATH | O_DIRECTORY);
    if (!parent)
        return {};
    const std::string plain = "sorvex-" + std::to_string(home.owner);
    for (int attempt = 0; attempt < 8; ++attempt) {
        Descriptor directory = openOwn(parent.get(), plain, home.owner);
        if (directory || (errno != ENOENT && errno != EEXIST))
            return directory;
        const std::string other = firstOwn(parent.get(), plain + ".", home.owner);
        if (!other.empty())
            return openOwn(parent.get(), other, home.owner);
        if (mkdirat(parent.get(), plain.c_str(), 0700) == 0)
            continue;
        if (errno != EEXIST)
            return {};
        // Another process of the same user may just have made it.
        directory = openOwn(parent.get(), plain, home.owner);
        if (directory)
            return directory;
        if (mkdirat(parent.get(), (plain + "." + unpredictable()).c_str(), 0700) != 0 &&
            errno != EEXIST)
            return {};
    }
    errno = EACCES;
    return {};
}

// One thread of a process at a time, so that a child knows what it got.
constinit std::atomic<bool> isInUse{false};
constinit std::atomic<int> usedDescriptor{-1};

// In a forked child: its copy of the directory would go on holding the lock behind a parent that is
// killed.
void leaveToParent() {
    Descriptor inherited(usedDescriptor.exchange(-1));
    inherited.close();
    isInUse = false;
}

void changeSignals(const std::uint64_t* blocked, std::uint64_t* before) noexcept {
    // The runtime library's own call leaves its reserved signals out.
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, blocked, before, sizeof(std::uint64_t));
}

}  // namespace

EventHome EventHome::ofUser() noexcept {
    return {"/dev/shm", geteuid()};
}

SignalBlock::SignalBlock() noexcept {
    const std::uint64_t all = ~std::uint64_t{0};
    changeSignals(&all, &before);
}

SignalBlock::~SignalBlock() {
    // The end that was asked for meanwhile comes behind the call, which is no place for it.
    const TerminationShield shield;
    const int error = errno;
    changeSignals(&before, nullptr);
    errno = error;
}

void SignalBlock::rest() const noexcept {
    {
        const TerminationShield shield;
        changeSignals(&before, nullptr);
    }
    const timespec moment{0, 100000};
    clock_nanosleep(CLOCK_MONOTONIC, 0, &moment, nullptr);
    const std::uint64_t all = ~std::uint64_t{0};
    changeSignals(&all, nullptr);
}

EventDirectory::EventDirectory(const EventHome& home) {
    static const bool forksAreSeen = pthread_atfork(nullptr, nullptr, leaveToParent) == 0;
    for (int error = EWOULDBLOCK; error == EWOULDBLOCK && forksAreSeen;) {
        // A thread can be ended while it rests, so it keeps nothing then.
        if (isInUse.exchange(true, std::memory_order_acquire)) {
            signals.rest();
            continue;
        }
        directory = openOrMake(home);
        usedDescriptor = directory.get();
        if (directory && flock(directory.get(), LOCK_EX | LOCK_NB) == 0)
            return;
        error = errno;
        giveUp();
        if (error == EWOULDBLOCK)
            signals.rest();
        errno = error;
    }
}

EventDirectory::~EventDirectory() {
    if (!directory)
        return;
    const int error = errno;
    // Closing alone would leave the lock to a child that another thread has forked meanwhile.
    flock(directory.get(), LOCK_UN);
    giveUp();
    errno = error;
}

void EventDirectory::giveUp() noexcept {
    usedDescriptor = -1;
    directory = Descriptor();
    isInUse.store(false, std::memory_order_release);
}

}  // namespace Sorvex::platform
