#include "platform/posix/files/files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <limits>
#include <mutex>
#include <new>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/base/descriptor.h"
#include "platform/posix/base/retried.h"
#include "platform/posix/base/termination_shield.h"
#include "platform/posix/files/host_path.h"

namespace Sorvex::platform {

namespace {

constexpr std::size_t largestBuffer = 65536;
constexpr std::size_t smallestBuffer = 4096;

// The files that may hold unwritten bytes when the process exits.
constinit std::mutex writersMutex;
constinit FILE* writers = nullptr;

// Runs behind every handler and destructor that the application registers for the end of the
// process, so that what those write arrives as well. Threads may go on running meanwhile.
[[gnu::destructor(101)]] void writeAllAtExit() {
    const TerminationShield shield;
    const std::lock_guard<std::mutex> lock(writersMutex);
    constexpr timespec pause{0, 1'000'000};
    for (FILE* file = writers; file != nullptr; file = file->nextWriter)
        // An owner who is writing it himself stays in that if the host doesn't take it.
        for (int attempts = 100; attempts > 0 && !file->writeForOwner(); --attempts)
            nanosleep(&pause, nullptr);
}

// A child gets a copy of every buffer, which it must not write, since its parent will. What lies on
// a disk is written before, for parents that end without any handler. A pipe might wait for the
// child itself.
void writeBeforeFork() {
    TerminationShield::begin();
    writersMutex.lock();
    for (FILE* file = writers; file != nullptr; file = file->nextWriter)
        if (file->hasPositions())
            file->writeForOwner();
}

void goOnAfterFork() {
    writersMutex.unlock();
    TerminationShield::end();
}

void goOnInChild() {
    for (FILE* file = writers; file != nullptr; file = file->nextWriter)
        file->leaveToParent();
    goOnAfterFork();
}

void addWriter(FILE* file) {
    const TerminationShield shield;
    [[maybe_unused]] static const int forksAreSeen =
        pthread_atfork(writeBeforeFork, goOnAfterFork, goOnInChild);
    const std::lock_guard<std::mutex> lock(writersMutex);
    file->nextWriter = writers;
    if (writers != nullptr)
        writers->previousWriter = file;
    writers = file;
}

void removeWriter(const FILE* file) {
    const TerminationShield shield;
    const std::lock_guard<std::mutex> lock(writersMutex);
    if (file->nextWriter != nullptr)
        file->nextWriter->previousWriter = file->previousWriter;
    if (file->previousWriter != nullptr)
        file->previousWriter->nextWriter = file->nextWriter;
    else
        writers = file->nextWriter;
}

constexpr int invalidFlags = -1;

int firstFlags(char letter) noexcept {
    switch (letter) {
        case 'r':
            return O_RDONLY;
        case 'w':
            return O_WRONLY | O_CREAT | O_TRUNC;
        case 'a':
            return O_WRONLY | O_CREAT | O_APPEND;
        default:
            return invalidFlags;
    }
}

// The flags of a mode text, or the invalid ones.
int openFlags(const char* mode) noexcept {
    int flags = mode == nullptr ? invalidFlags : firstFlags(*mode);
    if (flags == invalidFlags)
        return flags;
    while (*++mode != '\0') {
        if (*mode == '+')
            flags = (flags & ~O_ACCMODE) | O_RDWR;
        else if (*mode == 'x')
            flags |= O_EXCL;
        else if (std::strchr("btcenDNRST", *mode) == nullptr)
            return invalidFlags;
    }
    return flags | O_NOCTTY;
}

constexpr std::size_t noBuffer = 0;

// The buffer that a file is read or written with: a small file needs no larger one. None for a
// directory, which the host opens but doesn't read.
std::size_t suitableBuffer(int descriptor, int flags) noexcept {
    struct stat facts;
    if ((flags & O_ACCMODE) != O_RDONLY || fstat(descriptor, &facts) != 0)
        return largestBuffer;
    if (S_ISDIR(facts.st_mode))
        return noBuffer;
    if (!S_ISREG(facts.st_mode) || facts.st_size >= static_cast<off_t>(largestBuffer))
        return largestBuffer;
    return std::max(static_cast<std::size_t>(facts.st_size) + 1, smallestBuffer);
}

// Writes until all is done or the host refuses. Each step is counted at once, since the thread may
// be ended behind it.
bool writeTo(int descriptor, const char* source, std::size_t size, std::size_t& done) noexcept {
    while (done < size) {
        const ssize_t count =
            retried([&] { return ::write(descriptor, source + done, size - done); });
        if (count == 0)
            errno = ENOSPC;
        if (count <= 0)
            return false;
        done += static_cast<std::size_t>(count);
    }
    return true;
}

}  // namespace

// The owner's hold on what writeForOwner looks at. It waits only for that: a thread that was ended
// in the middle leaves its hold to the file's next owner.
class FILE::Hold {
public:
    explicit Hold(FILE& held) noexcept : file(held) {
        User before = User::nobody;
        while (!file.user.compare_exchange_weak(before, User::owner) && before != User::owner) {
            before = User::nobody;
            std::this_thread::yield();
        }
    }
    ~Hold() { file.user = User::nobody; }

    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

private:
    FILE& file;
};

FILE::FILE(int openDescriptor, int openFlags, std::size_t bufferSize) noexcept
    : capacity(bufferSize),
      descriptor(openDescriptor),
      isReadable((openFlags & O_ACCMODE) != O_WRONLY),
      isWritable((openFlags & O_ACCMODE) != O_RDONLY),
      isAppending((openFlags & O_APPEND) != 0) {
    if (isWritable)
        addWriter(this);
}

bool FILE::allocate() noexcept {
    if (buffer == nullptr) {
        buffer.reset(new (std::nothrow) char[capacity]);
        position = buffer.get();
    }
    if (buffer == nullptr)
        errno = ENOMEM;
    inError = inError || buffer == nullptr;
    return buffer != nullptr;
}

void FILE::makeEmpty() noexcept {
    const Hold hold(*this);
    isWriting = false;
    unread = 0;
    room = 0;
    alreadyWritten = 0;
    position = buffer.get();
    nextReturn.place = nullptr;
    nextFeed.place = nullptr;
}

bool FILE::startReading() noexcept {
    if (!isReadable) {
        inError = true;
        errno = EBADF;
        return false;
    }
    if (isWriting) {
        if (!flush())
            return false;
        makeEmpty();
    }
    return allocate();
}

bool FILE::startWriting() noexcept {
    if (!isWritable) {
        inError = true;
        errno = EBADF;
        return false;
    }
    if (isWriting)
        return true;
    if (!allocate())
        return false;
    // What was read ahead is given back, so that the bytes go where the caller stands. Pipes and
    // terminals have no such place.
    const std::int64_t here = unread > 0 ? tell() : -1;
    if (here >= 0 && !moveDescriptor(here))
        return false;
    makeEmpty();
    atEnd = false;
    const Hold hold(*this);
    isWriting = true;
    room = capacity;
    return true;
}

// One read of the host; 0 at the end of the file and on failure, with the flag set.
std::size_t FILE::transferIn(char* target, std::size_t size) noexcept {
    const ssize_t count = retried([&] { return ::read(descriptor, target, size); });
    atEnd = count == 0;
    inError = inError || count < 0;
    if (count <= 0)
        return 0;
    if (diskPosition >= 0)
        diskPosition += count;
    return static_cast<std::size_t>(count);
}

std::size_t FILE::fill() noexcept {
    makeEmpty();
    unread = transferIn(position, capacity);
    return unread;
}

std::size_t FILE::readSlowly(char* target, std::size_t size) noexcept {
    if (size == 0 || !startReading())
        return 0;
    std::size_t done = 0;
    while (done < size) {
        if (unread == 0 && atEnd)
            break;
        if (unread == 0 && size - done >= capacity) {
            const std::size_t part = transferIn(target + done, size - done);
            if (part == 0)
                break;
            done += part;
            continue;
        }
        if (unread == 0 && fill() == 0)
            break;
        const std::size_t part = std::min(unread, size - done);
        std::memcpy(target + done, position, part);
        position += part;
        unread -= part;
        done += part;
    }
    return done;
}

std::size_t FILE::writeSlowly(const char* source, std::size_t size) noexcept {
    if (size == 0 || !startWriting())
        return 0;
    std::size_t done = 0;
    while (done < size) {
        if (room == 0 && !flush())
            break;
        if (position == buffer.get() && size - done >= capacity) {
            const std::size_t before = done;
            inError = !writeTo(descriptor, source, size, done) || inError;
            advanceDisk(done - before);
            return done;
        }
        const std::size_t part = std::min(room, size - done);
        append(source + done, part);
        done += part;
    }
    return done;
}

bool FILE::flush() noexcept {
    if (!isWriting)
        return true;
    const Hold hold(*this);
    const auto size = static_cast<std::size_t>(position - buffer.get());
    if (!writeTo(descriptor, buffer.get(), size, alreadyWritten)) {
        inError = true;
        return false;
    }
    advanceDisk(size);
    position = buffer.get();
    alreadyWritten = 0;
    room = capacity;
    return true;
}

bool FILE::hasPositions() const noexcept {
    return lseek(descriptor, 0, SEEK_CUR) >= 0;
}

bool FILE::writeForOwner() noexcept {
    User before = User::nobody;
    if (!user.compare_exchange_strong(before, User::process))
        return false;
    if (isWriting) {
        const char* const end = std::atomic_ref(position).load(std::memory_order_acquire);
        writeTo(descriptor, buffer.get(), static_cast<std::size_t>(end - buffer.get()),
                alreadyWritten);
    }
    user = User::nobody;
    return true;
}

void FILE::leaveToParent() noexcept {
    user = User::nobody;
    if (isWriting)
        alreadyWritten = static_cast<std::size_t>(position - buffer.get());
}

bool FILE::seek(std::int64_t target) noexcept {
    if (target < 0) {
        errno = EINVAL;
        return false;
    }
    if (!flush() || !moveDescriptor(target))
        return false;
    makeEmpty();
    atEnd = false;
    return true;
}

bool FILE::moveDescriptor(std::int64_t target) noexcept {
    if (lseek(descriptor, target, SEEK_SET) < 0)
        return false;
    diskPosition = target;
    return true;
}

// Takes note of bytes that were written. Where appended ones stand only the host knows.
void FILE::advanceDisk(std::size_t size) noexcept {
    if (isAppending)
        diskPosition = -1;
    else if (diskPosition >= 0)
        diskPosition += static_cast<std::int64_t>(size);
}

std::int64_t FILE::tell() noexcept {
    if (isAppending && !flush())
        return -1;
    const Hold hold(*this);
    if (diskPosition < 0) {
        const off_t here = lseek(descriptor, 0, SEEK_CUR);
        if (here < 0)
            return -1;
        diskPosition = here - static_cast<std::int64_t>(alreadyWritten);
    }
    return isWriting ? diskPosition + (position - buffer.get())
                     : diskPosition - static_cast<std::int64_t>(unread);
}

bool FILE::close() noexcept {
    const bool isFlushed = flush();
    const int number = errno;
    // From here on the descriptor's number may be that of another file.
    if (isWritable)
        removeWriter(this);
    const bool isClosed = ::close(descriptor) == 0;
    if (!isFlushed)
        errno = number;
    return isFlushed && isClosed;
}

const char* FILE::NextPlace::from(const char* begin, const char* end) noexcept {
    if (place < begin) {
        const void* const found =
            std::memchr(begin, character, static_cast<std::size_t>(end - begin));
        place = found == nullptr ? end : static_cast<const char*>(found);
    }
    return place;
}

// Takes bytes that were read ahead, all but the returns and feeds among them.
void FILE::appendText(std::string& line, std::size_t size) {
    const char* const readEnd = position + unread;
    const char* const end = position + size;
    while (position < end) {
        const char* const stop =
            std::min({end, nextReturn.from(position, readEnd), nextFeed.from(position, readEnd)});
        line.append(position, static_cast<std::size_t>(stop - position));
        const std::ptrdiff_t taken = stop - position + (stop < end ? 1 : 0);
        position += taken;
        unread -= static_cast<std::size_t>(taken);
    }
}

bool FILE::appendLine(std::string& line) {
    if (!startReading())
        return false;
    while (unread > 0 || (!atEnd && fill() > 0)) {
        const void* const found = std::memchr(position, '\n', unread);
        if (found == nullptr) {
            appendText(line, unread);
            continue;
        }
        appendText(line, static_cast<std::size_t>(static_cast<const char*>(found) - position));
        ++position;
        --unread;
        return true;
    }
    return false;
}

FILE* fopen(const char* name, const char* mode) noexcept {
    const int flags = openFlags(mode);
    if (flags == invalidFlags) {
        errno = EINVAL;
        return nullptr;
    }
    Descriptor descriptor = openAt(AT_FDCWD, HostPath(name).c_str(), flags, 0666);
    if (!descriptor)
        return nullptr;
    const std::size_t bufferSize = suitableBuffer(descriptor.get(), flags);
    if (bufferSize == noBuffer) {
        errno = EISDIR;
        return nullptr;
    }
    FILE* const file = new (std::nothrow) FILE(descriptor.get(), flags, bufferSize);
    if (file == nullptr)
        errno = ENOMEM;
    else
        descriptor.release();
    return file;
}

int fclose(FILE* file) noexcept {
    const std::unique_ptr<FILE> owner(file);
    return file->close() ? 0 : -1;
}

int fflush(FILE* file) noexcept {
    return file->flush() ? 0 : -1;
}

int fseek(FILE* file, long offset, int origin) noexcept {
    if (origin != SEEK_SET) {
        errno = EINVAL;
        return -1;
    }
    return file->seek(offset) ? 0 : -1;
}

long ftell(FILE* file) noexcept {
    const std::int64_t position = file->tell();
    if (position > std::numeric_limits<std::int32_t>::max()) {
        errno = EOVERFLOW;
        return -1;
    }
    return static_cast<long>(position);
}

}  // namespace Sorvex::platform
