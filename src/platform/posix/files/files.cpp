#include "platform/posix/files/files.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <new>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/base/descriptor.h"
#include "platform/posix/base/termination_shield.h"
#include "platform/posix/files/host_path.h"

namespace Sorvex::platform {

namespace {

constexpr std::size_t largestBuffer = 65536;
constexpr std::size_t smallestBuffer = 4096;

// The files that may hold unwritten bytes when the process exits.
constinit std::mutex writersMutex;
constinit FILE* writers = nullptr;

// Set once the bytes held at exit were written. What is written later waits for nothing.
constinit std::atomic<bool> isExiting = false;

void flushWriters() {
    const TerminationShield shield;
    const std::lock_guard<std::mutex> lock(writersMutex);
    isExiting = true;
    for (FILE* file = writers; file != nullptr; file = file->nextWriter)
        file->flush();
}

void addWriter(FILE* file) {
    const TerminationShield shield;
    static const int registered = std::atexit(flushWriters);
    static_cast<void>(registered);
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

constexpr std::int64_t unknown = -1;

// Looks at a file that is opened for reading alone. False for a directory, which the host opens but
// doesn't read; the size of a regular file, which a small one needs no larger buffer than.
bool findSize(int descriptor, int flags, std::int64_t& size) noexcept {
    size = unknown;
    struct stat facts;
    if ((flags & O_ACCMODE) != O_RDONLY || fstat(descriptor, &facts) != 0)
        return true;
    if (S_ISREG(facts.st_mode))
        size = facts.st_size;
    return !S_ISDIR(facts.st_mode);
}

std::size_t suitableBuffer(std::int64_t size) noexcept {
    if (size == unknown || size >= static_cast<std::int64_t>(largestBuffer))
        return largestBuffer;
    return std::max(static_cast<std::size_t>(size) + 1, smallestBuffer);
}

}  // namespace

FILE::FILE(int openDescriptor, int openFlags, std::int64_t sizeAtOpening) noexcept
    : capacity(suitableBuffer(sizeAtOpening)),
      knownSize(sizeAtOpening),
      diskPosition(sizeAtOpening == unknown ? unknown : 0),
      descriptor(openDescriptor),
      isReadable((openFlags & O_ACCMODE) != O_WRONLY),
      isWritable((openFlags & O_ACCMODE) != O_RDONLY),
      isAppending((openFlags & O_APPEND) != 0) {
    if (isWritable)
        addWriter(this);
}

FILE::~FILE() {
    if (isWritable)
        removeWriter(this);
}

bool FILE::fail(int number) noexcept {
    inError = true;
    errno = number;
    return false;
}

bool FILE::allocate() noexcept {
    if (buffer == nullptr)
        buffer.reset(new (std::nothrow) char[capacity]);
    return buffer != nullptr || fail(ENOMEM);
}

std::size_t FILE::unwritten() const noexcept {
    return isWriting ? static_cast<std::size_t>(position - buffer.get()) : 0;
}

bool FILE::startReading() noexcept {
    if (!isReadable)
        return fail(EBADF);
    if (isWriting && !flush())
        return false;
    if (!allocate())
        return false;
    isWriting = false;
    room = 0;
    return true;
}

bool FILE::startWriting() noexcept {
    if (!isWritable)
        return fail(EBADF);
    if (isWriting)
        return true;
    if (!allocate())
        return false;
    // What was read ahead is given back, so that the bytes go where the caller stands. Pipes and
    // terminals have no such place.
    const std::int64_t here = unread > 0 ? tell() : -1;
    if (here >= 0 && !moveDescriptor(here))
        return false;
    isWriting = true;
    atEnd = false;
    unread = 0;
    position = buffer.get();
    room = isExiting ? 0 : capacity;
    return true;
}

// One read of the host; 0 at the end of the file and on failure, with the flag set.
std::size_t FILE::transferIn(char* target, std::size_t size) noexcept {
    ssize_t count = -1;
    do
        count = ::read(descriptor, target, size);
    while (count < 0 && errno == EINTR);
    if (count > 0) {
        if (diskPosition >= 0)
            diskPosition += count;
        // Fewer bytes than asked for, up to the size that the file has: the next read would say
        // that this is the end. The host makes up some files while they are read, of size 0.
        hasReachedSize =
            knownSize > 0 && diskPosition == knownSize && static_cast<std::size_t>(count) < size;
        return static_cast<std::size_t>(count);
    }
    if (count == 0)
        atEnd = true;
    else
        inError = true;
    return 0;
}

// Writes until all is written or the host refuses; how much it took.
std::size_t FILE::transferOut(const char* source, std::size_t size) noexcept {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = ::write(descriptor, source + done, size - done);
        if (count >= 0) {
            done += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            inError = true;
            break;
        }
    }
    if (isAppending)
        diskPosition = -1;
    else if (diskPosition >= 0)
        diskPosition += static_cast<std::int64_t>(done);
    return done;
}

std::size_t FILE::fill() noexcept {
    forgetPlaces();
    position = buffer.get();
    unread = transferIn(position, capacity);
    return unread;
}

std::size_t FILE::readSlowly(char* target, std::size_t size) noexcept {
    if (size == 0 || !startReading())
        return 0;
    std::size_t done = 0;
    hasReachedSize = false;
    while (done < size) {
        if (unread == 0 && hasReachedSize)
            atEnd = true;
        if (unread == 0 && !atEnd && size - done >= capacity) {
            position = buffer.get();
            const std::size_t part = transferIn(target + done, size - done);
            if (part == 0)
                break;
            done += part;
            continue;
        }
        if (unread == 0 && (atEnd || fill() == 0))
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
        if (unwritten() == 0 && (room == 0 || size - done >= capacity))
            return done + transferOut(source + done, size - done);
        const std::size_t part = std::min(room, size - done);
        std::memcpy(position, source + done, part);
        position += part;
        room -= part;
        done += part;
    }
    return done;
}

bool FILE::flush() noexcept {
    const std::size_t size = unwritten();
    if (size == 0)
        return true;
    const std::size_t done = transferOut(buffer.get(), size);
    if (done < size)
        std::memmove(buffer.get(), buffer.get() + done, size - done);
    position = buffer.get() + (size - done);
    // At exit nothing is held any more, since nothing would write it later.
    room = isExiting ? 0 : capacity - (size - done);
    return done == size;
}

bool FILE::seek(std::int64_t target) noexcept {
    if (target < 0) {
        errno = EINVAL;
        return false;
    }
    if (!flush())
        return false;
    forgetPlaces();
    // A target among the bytes read ahead costs no call.
    if (!isWriting && position != nullptr && diskPosition >= 0) {
        const std::int64_t here = diskPosition - static_cast<std::int64_t>(unread);
        if (target <= diskPosition && target >= here - (position - buffer.get())) {
            position += target - here;
            unread = static_cast<std::size_t>(diskPosition - target);
            atEnd = false;
            return true;
        }
    }
    if (!moveDescriptor(target))
        return false;
    isWriting = false;
    atEnd = false;
    unread = 0;
    room = 0;
    position = buffer.get();
    return true;
}

bool FILE::moveDescriptor(std::int64_t target) noexcept {
    if (lseek(descriptor, target, SEEK_SET) < 0)
        return false;
    diskPosition = target;
    return true;
}

std::int64_t FILE::tell() noexcept {
    // Where appended bytes will stand is known only once they do.
    if (isAppending && !flush())
        return -1;
    if (diskPosition < 0)
        diskPosition = lseek(descriptor, 0, SEEK_CUR);
    if (diskPosition < 0)
        return -1;
    return diskPosition - static_cast<std::int64_t>(unread) +
           static_cast<std::int64_t>(unwritten());
}

bool FILE::close() noexcept {
    const bool isFlushed = flush();
    const int number = errno;
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

void FILE::forgetPlaces() noexcept {
    nextReturn.place = nullptr;
    nextFeed.place = nullptr;
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
    std::int64_t size = unknown;
    if (!findSize(descriptor.get(), flags, size)) {
        errno = EISDIR;
        return nullptr;
    }
    FILE* const file = new (std::nothrow) FILE(descriptor.get(), flags, size);
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
