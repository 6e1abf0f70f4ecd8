#include "sorvex_service/log_file.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <thread>

#include <fcntl.h>

#include "platform/posix/base/retried.h"
#include "sorvex_service/failure.h"

namespace Sorvex::tools {

namespace {

using platform::Descriptor;
using platform::retried;

constexpr off_t blockSize = 1 << 16;  // bytes
constexpr off_t mostOfText = 1 << 20;

// The log as it is now; a file of nothing for what is no log. No link is followed, and a pipe that
// lies in its place is not waited for.
struct OpenLog {
    explicit OpenLog(const std::string& name)
        : file(platform::openAt(AT_FDCWD, name.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW)) {
        if (file && (fstat(file.get(), &facts) != 0 || !S_ISREG(facts.st_mode)))
            file.close();
    }

    Descriptor file;
    struct stat facts {};
};

// What there is of a part of a file.
std::string readFrom(int file, off_t begin, off_t end) {
    std::string text(static_cast<std::size_t>(std::max<off_t>(end - begin, 0)), '\0');
    std::size_t length = 0;
    while (length < text.size()) {
        const ssize_t count = retried([&] {
            return pread(file, text.data() + length, text.size() - length,
                         begin + static_cast<off_t>(length));
        });
        if (count <= 0)
            break;
        length += static_cast<std::size_t>(count);
    }
    text.resize(length);
    return text;
}

// Where the last lines of a part of a file begin.
off_t beginOfLines(int file, off_t begin, off_t end, std::size_t lines) {
    if (lines == 0)
        return end;
    // The last character ends the last line or is one of it.
    for (off_t upTo = end - 1; upTo > begin;) {
        const off_t from = std::max(begin, upTo - blockSize);
        const std::string block = readFrom(file, from, upTo);
        for (std::size_t place = block.size(); place > 0; --place)
            if (block[place - 1] == '\n' && --lines == 0)
                return from + static_cast<off_t>(place);
        upTo = from;
    }
    return begin;
}

std::string textOfLines(int file, off_t begin, off_t end, std::size_t lines) {
    begin = std::max(begin, end - mostOfText);
    return readFrom(file, beginOfLines(file, begin, end, lines), end);
}

void show(int file, off_t begin, off_t end) {
    while (begin < end) {
        const std::string block = readFrom(file, begin, std::min(end, begin + blockSize));
        if (block.empty())
            break;
        std::cout << block;
        begin += static_cast<off_t>(block.size());
    }
    flushOutput();
}

}  // namespace

LogPlace::LogPlace(const std::string& logName) : name(logName) {
    OpenLog log(name);
    file = std::move(log.file);
    inode = log.facts.st_ino;
    position = log.facts.st_size;
}

std::string LogPlace::linesBefore(std::size_t count) const {
    return file ? textOfLines(file.get(), 0, position, count) : "";
}

std::string LogPlace::linesSince(std::size_t count) const {
    const OpenLog log(name);
    const off_t begin = file && log.facts.st_ino == inode ? position : 0;
    return log.file ? textOfLines(log.file.get(), begin, log.facts.st_size, count) : "";
}

void LogPlace::showLinesBefore(std::size_t count) const {
    if (file)
        show(file.get(), beginOfLines(file.get(), 0, position, count), position);
}

void LogPlace::follow() {
    constexpr std::chrono::milliseconds pause{200};
    for (;; std::this_thread::sleep_for(pause)) {
        OpenLog log(name);
        // What was written to a log before it was turned over still belongs to it.
        showRest();
        if (log.file && (!file || log.facts.st_ino != inode)) {
            file = std::move(log.file);
            inode = log.facts.st_ino;
            position = 0;
            showRest();
        }
    }
}

void LogPlace::showRest() {
    struct stat facts {};
    if (!file || fstat(file.get(), &facts) != 0)
        return;
    // A log that was cut begins anew.
    show(file.get(), facts.st_size < position ? 0 : position, facts.st_size);
    position = facts.st_size;
}

}  // namespace Sorvex::tools
