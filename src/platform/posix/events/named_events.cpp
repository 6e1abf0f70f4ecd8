#include "platform/posix/events/named_events.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include "platform/posix/base/directory_entries.h"
#include "platform/posix/base/percent_encoding.h"

namespace Sorvex::platform {

namespace {

// Short enough for the mark behind it on every file system.
constexpr std::size_t pieceLength = 240;

// Stands for itself in no name.
constexpr char directoryMark = '+';

bool standsForItself(char character, std::size_t /*place*/) noexcept {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '_' || character == '-';
}

bool statIn(int directory, const std::string& path, struct stat& facts) noexcept {
    return fstatat(directory, path.c_str(), &facts, AT_SYMLINK_NOFOLLOW) == 0;
}

// Whether a directory entry, by its facts (stat), can be the file of an event: nothing that leads
// elsewhere, and nothing that also has another name, which would be written to.
bool isEventFile(const struct stat& facts, uid_t owner) noexcept {
    return S_ISREG(facts.st_mode) && facts.st_uid == owner && facts.st_nlink == 1 &&
           (facts.st_mode & 07777) == 0600;
}

bool isEventDirectory(const struct stat& facts, uid_t owner) noexcept {
    return S_ISDIR(facts.st_mode) && facts.st_uid == owner;
}

// Calls a function with each directory that leads to the file, from the outside in.
template <typename Function>
bool forEachDirectory(const std::string& path, Function function) {
    for (std::size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1))
        if (!function(path.substr(0, end)))
            return false;
    return true;
}

bool findDirectories(int top, const std::string& path, uid_t owner) {
    return forEachDirectory(path, [&](const std::string& directory) {
        struct stat facts {};
        if (!statIn(top, directory, facts))
            return false;
        errno = EACCES;
        return isEventDirectory(facts, owner);
    });
}

bool makeDirectories(int top, const std::string& path) {
    return forEachDirectory(path, [&](const std::string& directory) {
        if (mkdirat(top, directory.c_str(), 0700) != 0)
            return errno == EEXIST;
        return fchmodat(top, directory.c_str(), 0700, 0) == 0;  // whatever the process masks
    });
}

void removeFile(int top, const std::string& path) {
    unlinkat(top, path.c_str(), 0);
    for (std::size_t end = path.rfind('/'); end != std::string::npos;
         end = end == 0 ? std::string::npos : path.rfind('/', end - 1))
        if (unlinkat(top, path.substr(0, end).c_str(), AT_REMOVEDIR) != 0)
            return;
}

Descriptor openFile(int top, const std::string& path, int moreFlags) {
    return openAt(top, path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | moreFlags, 0600);
}

Descriptor findFile(int top, const std::string& path, uid_t owner) {
    struct stat facts {};
    if (!findDirectories(top, path, owner) || !statIn(top, path, facts))
        return {};
    if (!isEventFile(facts, owner)) {
        errno = ENOENT;
        return {};
    }
    return openFile(top, path, 0);
}

// What stands in the place and is no event is put out of the way.
Descriptor findOrMakeFile(int top, const std::string& path, uid_t owner) {
    if (!makeDirectories(top, path))
        return {};
    Descriptor file = findFile(top, path, owner);
    if (file || errno != ENOENT)
        return file;
    if (unlinkat(top, path.c_str(), 0) != 0 && errno != ENOENT)
        return {};
    file = openFile(top, path, O_CREAT | O_EXCL);
    if (file && fchmod(file.get(), 0600) != 0)
        return {};
    return file;
}

bool nobodyHolds(const Descriptor& file) noexcept {
    return flock(file.get(), LOCK_EX | LOCK_NB) == 0;
}

enum class Hold { none, alone, together };

// Takes the lock of an event's file: alone if nobody holds the event, else together with those who
// do. A process that is being killed can let go of the directory before the file, which is then
// locked against both for a moment.
Hold hold(const Descriptor& file) noexcept {
    constexpr timespec pause{0, 1000000};
    constexpr int longestPauses = 1000;
    for (int pauses = 0; pauses < longestPauses; ++pauses) {
        if (nobodyHolds(file))
            return Hold::alone;
        if (flock(file.get(), LOCK_SH | LOCK_NB) == 0)
            return Hold::together;
        clock_nanosleep(CLOCK_MONOTONIC, 0, &pause, nullptr);
    }
    errno = EACCES;  // locked by something that is no holder
    return Hold::none;
}

void removeAbandoned(int directory, uid_t owner) {
    forEachEntry(directory, [&](const std::string& name) {
        struct stat facts {};
        if (!statIn(directory, name, facts))
            return;
        if (isEventFile(facts, owner)) {
            const Descriptor file = openFile(directory, name, 0);
            if (file && nobodyHolds(file))
                unlinkat(directory, name.c_str(), 0);
        } else if (name.back() == directoryMark && isEventDirectory(facts, owner)) {
            const Descriptor inner =
                openAt(directory, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
            if (inner)
                removeAbandoned(inner.get(), owner);
            unlinkat(directory, name.c_str(), AT_REMOVEDIR);
        }
    });
}

}  // namespace

std::string eventPath(const char* name) {
    const std::string cut = {directoryMark, '/'};
    std::string path = percentEncoded(name, standsForItself);
    for (std::size_t end = pieceLength; end < path.size(); end += cut.size() + pieceLength)
        path.insert(end, cut);
    return path;
}

std::unique_ptr<NamedEvent> NamedEvent::find(const EventHome& home, const char* name,
                                             bool mayCreate, bool posted) {
    std::unique_ptr<NamedEvent> event(new NamedEvent(home, eventPath(name)));
    const EventDirectory directory(home);
    if (!directory.held())
        return nullptr;
    // Once in each process, which keeps the cost of many events in proportion.
    static constinit std::atomic<bool> cleared{false};
    if (mayCreate && !cleared.exchange(true, std::memory_order_relaxed))
        clearAway(directory, home.owner);
    const Descriptor file = mayCreate
                                ? findOrMakeFile(directory.descriptor(), event->path, home.owner)
                                : findFile(directory.descriptor(), event->path, home.owner);
    const Hold taken = file ? hold(file) : Hold::none;
    if (taken == Hold::none)
        return nullptr;
    event->created = taken == Hold::alone;
    if (event->created && !mayCreate) {
        removeFile(directory.descriptor(), event->path);
        errno = ENOENT;
        return nullptr;
    }
    const bool succeeded =
        event->created ? event->startAlone(directory, file, posted) : event->map(file);
    return succeeded ? std::move(event) : nullptr;
}

void NamedEvent::clearAway(const EventDirectory& directory, uid_t owner) {
    removeAbandoned(directory.descriptor(), owner);
}

NamedEvent::~NamedEvent() {
    if (mapped == nullptr)
        return;
    const EventDirectory directory(home);
    munmap(mapped, sizeof(EventState));
    if (!directory.held())
        return;
    // The lock may live on in a forked child, which has it in common with this process. Only a
    // file opened anew shows whether anybody holds the event.
    const Descriptor file = findFile(directory.descriptor(), path, home.owner);
    if (file && nobodyHolds(file))
        removeFile(directory.descriptor(), path);
}

bool NamedEvent::startAlone(const EventDirectory& directory, const Descriptor& file, bool posted) {
    // Written and not only made longer, so that a full disk is told of here and not by a signal at
    // the first post.
    const char fresh[sizeof(EventState)] = {};
    if (pwrite(file.get(), fresh, sizeof(fresh), 0) == sizeof(fresh) &&
        flock(file.get(), LOCK_SH | LOCK_NB) == 0 && map(file)) {
        if (posted)
            mapped->post(Sharing::machine);
        return true;
    }
    const int error = errno;
    removeFile(directory.descriptor(), path);
    errno = error;
    return false;
}

bool NamedEvent::map(const Descriptor& file) {
    struct stat facts {};
    if (fstat(file.get(), &facts) != 0)
        return false;
    if (facts.st_size < static_cast<off_t>(sizeof(EventState))) {
        errno = EACCES;  // locked by something that is no holder
        return false;
    }
    void* const memory =
        mmap(nullptr, sizeof(EventState), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (memory == MAP_FAILED)
        return false;
    mapped = static_cast<EventState*>(memory);
    fileNumber = facts.st_ino;
    return true;
}

}  // namespace Sorvex::platform
