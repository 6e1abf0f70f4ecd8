// Buffered files.
//
// A file belongs to one thread at a time: nothing here locks. What was written and not yet flushed
// reaches the disk at the latest when the process exits in the ordinary way.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

namespace Sorvex::platform {

/// An open file with a buffer.
///
/// Bytes that the disk refuses stay in the buffer, so that a later flush can still succeed.
class FILE {
public:
    /// Takes over a descriptor that was just opened with these flags.
    FILE(int descriptor, int openFlags, std::size_t bufferSize) noexcept;

    FILE(const FILE&) = delete;
    FILE& operator=(const FILE&) = delete;

    // A size of 0 wraps round, so that the fast ways never see it.
    std::size_t read(void* target, std::size_t size) noexcept {
        if (size - 1 >= unread)
            return readSlowly(static_cast<char*>(target), size);
        copyBytes(target, position, size);
        position += size;
        unread -= size;
        return size;
    }

    std::size_t write(const void* source, std::size_t size) noexcept {
        if (size - 1 >= room)
            return writeSlowly(static_cast<const char*>(source), size);
        append(source, size);
        return size;
    }

    bool flush() noexcept;
    bool seek(std::int64_t target) noexcept;
    std::int64_t tell() noexcept;
    bool close() noexcept;

    bool appendLine(std::string& line);

    bool isAtEnd() const noexcept { return atEnd; }
    bool isInError() const noexcept { return inError; }

    /// Whether the file lies on a disk, unlike a pipe or a terminal.
    bool hasPositions() const noexcept;

    /// Writes what is buffered when the process ends or forks while another thread may be at work
    /// on the file: the one thing of the object that it changes is what it tells the owner by.
    /// False while the owner is writing it himself.
    bool writeForOwner() noexcept;

    void leaveToParent() noexcept;  ///< Gives up what a child holds of its parent's bytes.

    FILE* previousWriter = nullptr;
    FILE* nextWriter = nullptr;

private:
    // Without a call for the sizes of single values.
    static void copyBytes(void* target, const void* source, std::size_t size) noexcept {
        switch (size) {
            case 1:
                std::memcpy(target, source, 1);
                break;
            case 4:
                std::memcpy(target, source, 4);
                break;
            case 8:
                std::memcpy(target, source, 8);
                break;
            default:
                std::memcpy(target, source, size);
        }
    }

    // The bytes are whole before writeForOwner sees that there are more.
    void append(const void* source, std::size_t size) noexcept {
        copyBytes(position, source, size);
        std::atomic_ref(position).store(position + size, std::memory_order_release);
        room -= size;
    }

    // The next place of a character among the bytes read ahead, or their end. It is looked for anew
    // only once it is passed, so that a line costs no search for what is rare.
    struct NextPlace {
        char character;
        const char* place = nullptr;

        const char* from(const char* begin, const char* end) noexcept;
    };

    // Who is changing what the buffer's state and its bytes already written are.
    enum class User : std::uint8_t { nobody, owner, process };
    class Hold;

    void appendText(std::string& line, std::size_t size);
    bool startReading() noexcept;
    bool startWriting() noexcept;
    void makeEmpty() noexcept;
    bool allocate() noexcept;
    std::size_t fill() noexcept;
    std::size_t readSlowly(char* target, std::size_t size) noexcept;
    std::size_t writeSlowly(const char* source, std::size_t size) noexcept;
    std::size_t transferIn(char* target, std::size_t size) noexcept;
    bool moveDescriptor(std::int64_t target) noexcept;
    void advanceDisk(std::size_t size) noexcept;

    // The buffer is in one of three states:
    // - empty: nothing is unread, there is no room, and it isn't writing;
    // - reading: the unread bytes behind the position were read ahead; there is no room;
    // - writing: the bytes up to the position are to be written, but for those already written, and
    //   there is room for more behind it; nothing is unread.
    char* position = nullptr;
    std::size_t unread = 0;
    std::size_t room = 0;
    NextPlace nextReturn{'\r'};
    NextPlace nextFeed{'\f'};
    std::unique_ptr<char[]> buffer;
    std::size_t capacity;
    std::size_t alreadyWritten = 0;  // from the start of the buffer
    std::int64_t diskPosition = -1;  // of the descriptor, when writing of the start of the buffer;
                                     // negative while it isn't known
    int descriptor;
    bool isReadable;
    bool isWritable;
    bool isAppending;
    bool isWriting = false;
    bool atEnd = false;
    bool inError = false;
    std::atomic<User> user = User::nobody;
};

/// Opens a file; null with errno set on failure, also for a directory.
///
/// @param mode r, w or a; then any of +, x (the file must be new) and the letters b, t and those
///     that tune the platform's buffering, which make no difference here
FILE* fopen(const char* name, const char* mode) noexcept;

/// Writes what is still to be written and ends the file, whatever happens. 0 on success, else -1.
int fclose(FILE* file) noexcept;

/// 0 on success, else -1.
int fflush(FILE* file) noexcept;

/// Sets the position from the start of the file, the one origin there is. 0 on success, else -1;
/// a position below 0 is refused.
int fseek(FILE* file, long offset, int origin) noexcept;

/// The position; -1 on failure, also for one of 2 to the power 31 or more.
long ftell(FILE* file) noexcept;

/// How many whole items were read. Fewer than asked for are the end of the file or an error.
inline std::size_t fread(void* buffer, std::size_t size, std::size_t count, FILE* file) noexcept {
    return size == 0 ? 0 : file->read(buffer, size * count) / size;
}

/// How many whole items were written.
inline std::size_t fwrite(const void* buffer, std::size_t size, std::size_t count,
                          FILE* file) noexcept {
    return size == 0 ? 0 : file->write(buffer, size * count) / size;
}

/// Whether a read has hit the end of the file.
inline int feof(FILE* file) noexcept {
    return file->isAtEnd();
}

/// Whether a call on this file has failed.
inline int ferror(FILE* file) noexcept {
    return file->isInError();
}

/// Appends what stands before the next line feed, without carriage returns and form feeds, and
/// takes the line feed too.
///
/// @return whether there was a line feed; otherwise the file has ended or a read has failed
inline bool appendLine(FILE* file, std::string& line) {
    return file->appendLine(line);
}

}  // namespace Sorvex::platform
