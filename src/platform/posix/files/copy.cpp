#include "platform/posix/files/copy.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <string_view>

#include <fcntl.h>
#include <linux/time_types.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/posix/base/descriptor.h"
#include "platform/posix/base/errors.h"
#include "platform/posix/base/retried.h"
#include "platform/posix/files/host_path.h"

namespace Sorvex::platform {

namespace {

constexpr mode_t ordinaryBits = 0777;
constexpr mode_t allBits = 07777;

bool fail(int number) noexcept {
    errno = number;
    return false;
}

// Some file systems keep no permissions or times; that is no reason to refuse the copy.
bool isKept(int result) noexcept {
    return result == 0 || errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS;
}

bool setModificationTime(int directory, const char* name, const statx_timestamp& time,
                         int flags) noexcept {
#ifdef SYS_utimensat_time64
    // Where the host's ordinary times end in 2038.
    const __kernel_timespec times[] = {{0, UTIME_OMIT}, {time.tv_sec, time.tv_nsec}};
    return isKept(static_cast<int>(syscall(SYS_utimensat_time64, directory, name, times, flags)));
#else
    const timespec times[] = {{0, UTIME_OMIT}, {time.tv_sec, time.tv_nsec}};
    return isKept(name == nullptr ? futimens(directory, times)
                                  : utimensat(directory, name, times, flags));
#endif
}

// A name beside the target that nobody else has, for what will take the target's place.
class NeighbourName {
public:
    explicit NeighbourName(const char* targetName) noexcept {
        const std::string_view target(targetName);
        const std::size_t separator = target.rfind('/');
        prefixLength = separator == std::string_view::npos ? 0 : separator + 1;
        isTooLong = prefixLength + randomPartSize > sizeof text;
        if (!isTooLong)
            target.copy(text, prefixLength);
    }

    // Calls make(name) with new names until it succeeds or fails for another reason than a name
    // that is taken.
    template <typename Make>
    bool makeWith(Make make) noexcept {
        constexpr int attempts = 100;
        for (int attempt = 0; attempt < attempts && !isTooLong; ++attempt) {
            choose();
            if (make(static_cast<const char*>(text)))
                return true;
            if (errno != EEXIST)
                return false;
        }
        return fail(isTooLong ? ENAMETOOLONG : EEXIST);
    }

    const char* c_str() const noexcept { return text; }

    // The directory of the target.
    const char* directory() noexcept {
        if (prefixLength == 0 || isTooLong)
            return ".";
        text[prefixLength] = '\0';
        return text;
    }

private:
    void choose() noexcept {
        static constinit std::atomic<unsigned> counter = 0;
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        std::snprintf(text + prefixLength, randomPartSize, ".%x-%lx-%x.tmp",
                      static_cast<unsigned>(getpid()), static_cast<unsigned long>(now.tv_nsec),
                      counter.fetch_add(1, std::memory_order_relaxed));
    }

    static constexpr std::size_t randomPartSize = 48;

    bool isTooLong = false;
    std::size_t prefixLength = 0;
    char text[4096 + randomPartSize];
};

// Gives an entry its final name. The renaming replaces or refuses in one step; where the host can't
// refuse in one step, a second link can.
bool placeEntry(int directory, const char* from, const char* to, bool failIfExists) noexcept {
    if (!failIfExists)
        return renameat(directory, from, directory, to) == 0;
    if (renameat2(directory, from, directory, to, RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    if (linkat(directory, from, directory, to, 0) != 0)
        return false;
    unlinkat(directory, from, 0);
    return true;
}

// A file in the making beside its later name. Where the host can, it has no name at all meanwhile,
// so that not even a killed process leaves a trace.
class NewFile {
public:
    explicit NewFile(EntryAt targetEntry) noexcept
        : target(targetEntry), neighbour(targetEntry.name) {}
    ~NewFile() {
        const int number = errno;
        if (hasNeighbourName)
            unlinkat(target.directory, neighbour.c_str(), 0);
        errno = number;
    }

    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    bool createUnnamed() noexcept {
        file = openAt(target.directory, neighbour.directory(), O_TMPFILE | O_WRONLY, 0600);
        return static_cast<bool>(file);
    }

    bool createNamed() noexcept {
        hasNeighbourName = neighbour.makeWith([this](const char* name) {
            file = openAt(target.directory, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
            return static_cast<bool>(file);
        });
        return hasNeighbourName;
    }

    int descriptor() const noexcept { return file.get(); }

    bool place(bool failIfExists) noexcept {
        if (hasNeighbourName) {
            // Hosts on a network tell of failed writes no sooner than here.
            if (!file.close() ||
                !placeEntry(target.directory, neighbour.c_str(), target.name, failIfExists))
                return false;
            hasNeighbourName = false;
            return true;
        }
        if (linkTo(target.name))
            return true;
        if (errno != EEXIST || failIfExists)
            return false;
        hasNeighbourName = neighbour.makeWith([this](const char* name) { return linkTo(name); });
        if (!hasNeighbourName ||
            renameat(target.directory, neighbour.c_str(), target.directory, target.name) != 0)
            return false;
        hasNeighbourName = false;
        return true;
    }

private:
    // The direct way is refused with ENOENT to those without a privilege by some kernels.
    bool linkTo(const char* name) noexcept {
        if (linkat(file.get(), "", target.directory, name, AT_EMPTY_PATH) == 0)
            return true;
        if (errno != ENOENT)
            return false;
        return linkat(AT_FDCWD, HeldName(file.get()).c_str(), target.directory, name,
                      AT_SYMLINK_FOLLOW) == 0;
    }

    EntryAt target;
    NeighbourName neighbour;
    Descriptor file;
    bool hasNeighbourName = false;
};

bool writeAll(int to, const char* bytes, std::size_t size, std::uint64_t offset) noexcept {
    while (size > 0) {
        const ssize_t count =
            retried([&] { return pwrite(to, bytes, size, static_cast<off_t>(offset)); });
        if (count <= 0)
            return count < 0 ? false : fail(ENOSPC);
        bytes += count;
        size -= static_cast<std::size_t>(count);
        offset += static_cast<std::uint64_t>(count);
    }
    return true;
}

constexpr std::uint64_t noEnd = INT64_MAX;

// Copies a range through memory, up to its end or that of the data, and leaves the offset there.
bool copyThroughMemory(int from, int to, std::uint64_t& offset, std::uint64_t end) noexcept {
    constexpr std::size_t blockSize = 1024 * 1024;
    constexpr std::size_t smallSize = 4096;
    char smallBlock[smallSize];
    std::unique_ptr<char[]> largeBlock;
    char* block = smallBlock;
    std::size_t room = smallSize;
    while (offset < end) {
        const std::size_t wanted =
            end - offset < room ? static_cast<std::size_t>(end - offset) : room;
        const ssize_t count =
            retried([&] { return pread(from, block, wanted, static_cast<off_t>(offset)); });
        if (count <= 0)
            return count == 0;
        if (!writeAll(to, block, static_cast<std::size_t>(count), offset))
            return false;
        offset += static_cast<std::uint64_t>(count);
        if (largeBlock == nullptr) {
            largeBlock.reset(new (std::nothrow) char[blockSize]);
            if (largeBlock == nullptr)
                return fail(ENOMEM);
            block = largeBlock.get();
            room = blockSize;
        }
    }
    return true;
}

bool isBeyondTheKernel(int number) noexcept {
    return number == EXDEV || number == ENOSYS || number == EINVAL || number == EOPNOTSUPP ||
           number == EPERM || number == ETXTBSY || number == EBADF;
}

// Copies as much of a range as the kernel does by itself, which shares the blocks where the file
// system can. The offset is left where it ended.
bool copyInKernel(int from, int to, std::uint64_t& offset, std::uint64_t end) noexcept {
    constexpr std::uint64_t stride = 1 << 30;
    while (offset < end) {
        auto readAt = static_cast<off64_t>(offset);
        auto writeAt = readAt;
        const std::uint64_t wanted = end - offset < stride ? end - offset : stride;
        const ssize_t count = retried([&] {
            return copy_file_range(from, &readAt, to, &writeAt, static_cast<std::size_t>(wanted),
                                   0);
        });
        if (count <= 0)
            return count == 0 || isBeyondTheKernel(errno);
        offset += static_cast<std::uint64_t>(count);
    }
    return true;
}

// Ends the target no later than the source ends by now: of a page that is cut off while it is read
// the host gives the rest as zeros.
bool endWithSource(int from, int to, std::uint64_t size) noexcept {
    struct statx facts;
    return factsOf({from, ""}, AT_EMPTY_PATH, facts) &&
           ftruncate(to, static_cast<off_t>(std::min<std::uint64_t>(size, facts.stx_size))) == 0;
}

// The target ends where the data ends, whatever size the host tells: it makes up some files while
// they are read, of sizes such as 0 and 4096, and others grow or are cut off meanwhile.
bool copyDense(int from, int to, std::uint64_t offset, std::uint64_t size) noexcept {
    return copyInKernel(from, to, offset, size) && copyThroughMemory(from, to, offset, noEnd) &&
           (offset >= size || endWithSource(from, to, offset));
}

// Copies what holds data and leaves the holes.
bool copySparse(int from, int to, std::uint64_t size) noexcept {
    std::uint64_t offset = 0;
    for (;;) {
        const off_t start = lseek(from, static_cast<off_t>(offset), SEEK_DATA);
        if (start < 0 && errno == EINVAL)
            return copyDense(from, to, offset, size);  // a host that tells nothing of holes
        const off_t end = start < 0 ? start : lseek(from, start, SEEK_HOLE);
        if (end < 0 && errno != ENXIO)
            return false;
        if (end < 0)
            break;
        const auto dataEnd = static_cast<std::uint64_t>(end);
        offset = static_cast<std::uint64_t>(start);
        if (!copyInKernel(from, to, offset, dataEnd) ||
            !copyThroughMemory(from, to, offset, dataEnd))
            return false;
        if (offset < dataEnd)
            return endWithSource(from, to, offset);
    }
    // There may be a hole at the end.
    return endWithSource(from, to, std::max(size, offset));
}

bool copyContents(int from, int to, const struct statx& facts) noexcept {
    constexpr std::uint64_t hostBlock = 512;
    return facts.stx_blocks < facts.stx_size / hostBlock ? copySparse(from, to, facts.stx_size)
                                                         : copyDense(from, to, 0, facts.stx_size);
}

enum class Purpose {
    copy,      // of what a name leads to, if that is a file
    treeCopy,  // of the entry itself: behind a planted link lies what others must not get
    move
};

// Whose a new file is to be, where the host lets us say so.
struct Owner {
    bool isTold = false;
    uid_t user = 0;
    gid_t group = 0;
};

Owner ownerOf(const struct statx& facts) noexcept {
    return {true, facts.stx_uid, facts.stx_gid};
}

// Decides whether an existing target may be replaced, and tells whose it is. The replacing itself
// is one step, whatever becomes of the target meanwhile.
bool mayReplace(EntryAt target, const struct statx& source, Owner& owner) noexcept {
    struct statx facts;
    if (!factsOf(target, AT_SYMLINK_NOFOLLOW, facts))
        return errno == ENOENT;
    const FileIdentity copied(source);
    FileIdentity behind;
    if (FileIdentity(facts) == copied ||
        (S_ISLNK(facts.stx_mode) && behind.read(target, 0) && behind == copied))
        return fail(EINVAL);
    if (S_ISLNK(facts.stx_mode) || S_ISFIFO(facts.stx_mode))
        return true;
    if (S_ISDIR(facts.stx_mode))
        return fail(EISDIR);
    if (!S_ISREG(facts.stx_mode))
        return fail(EOPNOTSUPP);
    owner = ownerOf(facts);
    return faccessat(target.directory, target.name, W_OK, AT_EACCESS) == 0;
}

// Looks whether a copy would be in vain, before much is copied. A small one is refused soon enough
// when it gets its name.
bool isTaken(EntryAt target, std::uint64_t size) noexcept {
    constexpr std::uint64_t smallSize = 1 << 20;
    struct statx facts;
    return size > smallSize && factsOf(target, AT_SYMLINK_NOFOLLOW, facts);
}

// What a new file takes from its source beside the contents (of its stat), and how it is named.
struct Finish {
    struct statx facts;
    Owner owner;
    bool failIfExists;
    Purpose purpose;
};

// Whether a file gets its owner. Who may not give files away may still choose the group.
bool isGivenTo(const Owner& owner, EntryAt entry, int flags) noexcept {
    constexpr auto sameUser = static_cast<uid_t>(-1);
    const auto give = [&](uid_t user) {
        return fchownat(entry.directory, entry.name, user, owner.group, flags) == 0;
    };
    if (!owner.isTold || give(owner.user))
        return owner.isTold;
    give(sameUser);
    return false;
}

bool copyFactsAndPlace(NewFile& file, const Finish& finish) noexcept {
    const int descriptor = file.descriptor();
    const bool isOwned = isGivenTo(finish.owner, {descriptor, ""}, AT_EMPTY_PATH);
    // What runs with the rights of its owner does so only where the owner stays the same.
    const mode_t bits = finish.purpose == Purpose::move && isOwned ? allBits : ordinaryBits;
    return isKept(fchmod(descriptor, finish.facts.stx_mode & bits)) &&
           setModificationTime(descriptor, nullptr, finish.facts.stx_mtime, 0) &&
           file.place(finish.failIfExists);
}

bool fillAndPlace(NewFile& file, int source, const Finish& finish) noexcept {
    return copyContents(source, file.descriptor(), finish.facts) && copyFactsAndPlace(file, finish);
}

bool fillNewFile(int source, EntryAt target, const Finish& finish) noexcept {
    {
        NewFile file(target);
        if (file.createUnnamed()) {
            // ENOENT: a host that can't give a name to a nameless file, as it turns out at the end.
            if (fillAndPlace(file, source, finish))
                return true;
            if (errno != ENOENT)
                return false;
        } else if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) {
            return false;
        }
    }
    NewFile file(target);
    return file.createNamed() && fillAndPlace(file, source, finish);
}

bool copyRegularFile(EntryAt source, int openFlags, EntryAt target, bool failIfExists,
                     Purpose purpose) noexcept {
    // What takes the file's place meanwhile must not make the open wait.
    const Descriptor from =
        openAt(source.directory, source.name, O_RDONLY | O_NONBLOCK | O_NOCTTY | openFlags);
    Finish finish{{}, {}, failIfExists, purpose};
    const struct statx& facts = finish.facts;
    if (!from || !factsOf({from.get(), ""}, AT_EMPTY_PATH, finish.facts))
        return false;
    if (!S_ISREG(facts.stx_mode))
        return fail(EOPNOTSUPP);
    if (failIfExists && isTaken(target, facts.stx_size))
        return fail(EEXIST);
    if (!failIfExists && !mayReplace(target, facts, finish.owner))
        return false;
    if (purpose == Purpose::move)
        finish.owner = ownerOf(facts);
    return fillNewFile(from.get(), target, finish);
}

// Makes a target that needs no filling, which the host makes exclusively: make(name) under its own
// name, or beside an old one and then in its place.
template <typename Make>
bool makeEntry(EntryAt target, const struct statx& source, bool failIfExists, Make make) noexcept {
    if (make(target.name))
        return true;
    Owner ignored;
    if (errno != EEXIST || failIfExists || !mayReplace(target, source, ignored))
        return false;
    NeighbourName neighbour(target.name);
    if (!neighbour.makeWith(make))
        return false;
    if (placeEntry(target.directory, neighbour.c_str(), target.name, false))
        return true;
    const int number = errno;
    unlinkat(target.directory, neighbour.c_str(), 0);
    return fail(number);
}

bool copyLink(EntryAt source, const struct statx& facts, EntryAt target,
              bool failIfExists) noexcept {
    char contents[4096 + 1];
    const ssize_t length = readlinkat(source.directory, source.name, contents, sizeof contents - 1);
    if (length < 0)
        return false;
    contents[length] = '\0';
    return makeEntry(target, facts, failIfExists, [&](const char* name) {
        if (symlinkat(contents, target.directory, name) != 0)
            return false;
        setModificationTime(target.directory, name, facts.stx_mtime, AT_SYMLINK_NOFOLLOW);
        return true;
    });
}

bool copyPipe(const struct statx& facts, EntryAt target, bool failIfExists,
              Purpose purpose) noexcept {
    const mode_t bits = facts.stx_mode & ordinaryBits;
    return makeEntry(target, facts, failIfExists, [&](const char* name) {
        if (mkfifoat(target.directory, name, bits) != 0)
            return false;
        // It gets its owner and the bits that the process masks for new entries. What somebody has
        // put in its place by now doesn't: that may be a file that is for few.
        const Descriptor pipe = openAt(target.directory, name, O_PATH | O_NOFOLLOW);
        struct statx made;
        if (pipe && factsOf({pipe.get(), ""}, AT_EMPTY_PATH, made, STATX_TYPE) &&
            S_ISFIFO(made.stx_mode)) {
            const HeldName held(pipe.get());
            if (purpose == Purpose::move)
                isGivenTo(ownerOf(facts), {AT_FDCWD, held.c_str()}, 0);
            chmod(held.c_str(), bits);
            setModificationTime(AT_FDCWD, held.c_str(), facts.stx_mtime, 0);
        }
        return true;
    });
}

bool copyByKind(EntryAt source, EntryAt target, bool failIfExists, Purpose purpose) noexcept {
    struct statx facts;
    if (!factsOf(source, AT_SYMLINK_NOFOLLOW, facts))
        return false;
    const unsigned kind = facts.stx_mode & S_IFMT;
    if (kind == S_IFDIR)
        return fail(EISDIR);
    if (kind != S_IFREG && kind != S_IFLNK && kind != S_IFIFO)
        return fail(EOPNOTSUPP);
    if (*target.name == '\0')
        return fail(ENOENT);
    if (kind == S_IFIFO)
        return copyPipe(facts, target, failIfExists, purpose);
    if (kind == S_IFREG)
        return copyRegularFile(source, O_NOFOLLOW, target, failIfExists, purpose);
    if (purpose == Purpose::copy) {
        struct statx behind;
        const bool leadsSomewhere = factsOf(source, 0, behind);
        if (leadsSomewhere && S_ISREG(behind.stx_mode))
            return copyRegularFile(source, 0, target, failIfExists, purpose);
        if (!leadsSomewhere && errno != ENOENT && errno != ENOTDIR && errno != ELOOP)
            return false;
    }
    return copyLink(source, facts, target, failIfExists);
}

bool report(bool isDone) noexcept {
    if (!isDone)
        SetLastError(errno == EEXIST ? ERROR_FILE_EXISTS : errorFromErrno(errno));
    return isDone;
}

}  // namespace

bool copyEntry(EntryAt source, EntryAt target, bool failIfExists) noexcept {
    return report(copyByKind(source, target, failIfExists, Purpose::treeCopy));
}

bool moveEntryAcross(EntryAt source, EntryAt target) noexcept {
    FileIdentity copied;
    FileIdentity present;
    if (!report(copied.read(source, AT_SYMLINK_NOFOLLOW) &&
                copyByKind(source, target, true, Purpose::move)))
        return false;
    // What has taken the place of the source meanwhile wasn't copied.
    const bool isPresent = present.read(source, AT_SYMLINK_NOFOLLOW);
    if (isPresent && present == copied && unlinkat(source.directory, source.name, 0) == 0)
        return true;
    const int number = isPresent && present != copied ? EBUSY : errno;
    unlinkat(target.directory, target.name, 0);
    return report(fail(number));
}

BOOL CopyFileA(const char* source, const char* target, BOOL failIfExists) noexcept {
    const HostPath from(source);
    const HostPath to(target);
    return report(copyByKind({AT_FDCWD, from.c_str()}, {AT_FDCWD, to.c_str()},
                             failIfExists != FALSE, Purpose::copy));
}

}  // namespace Sorvex::platform
