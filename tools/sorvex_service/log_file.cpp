#include "sorvex_service/log_file.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/posix/base/descriptor.h"
#include "platform/posix/base/retried.h"

namespace Sorvex::tools {

namespace {

using platform::Descriptor;
using platform::retried;

constexpr off_t mostRead = 1 << 20;

struct OpenLog {
    Descriptor file;
    struct stat facts {};
};

OpenLog openLogFile(const std::string& name) {
    OpenLog log;
    log.file = platform::openAt(AT_FDCWD, name.c_str(), O_RDONLY | O_NONBLOCK);
    if (log.file && (fstat(log.file.get(), &log.facts) != 0 || !S_ISREG(log.facts.st_mode)))
        log.file = Descriptor();
    return log;
}

std::string readFrom(int file, off_t begin, off_t end) {
    begin = std::max(begin, end - mostRead);
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

std::string ending(const std::string& text, std::size_t lines) {
    if (text.empty() || lines == 0)
        return "";
    std::size_t begin = text.size() - 1;
    for (; lines > 0; --lines) {
        if (begin == 0)
            return text;
        begin = text.rfind('\n', begin - 1);
        if (begin == std::string::npos)
            return text;
    }
    return text.substr(begin + 1);
}

}  // namespace

std::string lastLines(const std::string& name, std::size_t count) {
    const OpenLog log = openLogFile(name);
    return log.file ? ending(readFrom(log.file.get(), 0, log.facts.st_size), count) : "";
}

LogPlace::LogPlace(const std::string& logName) : name(logName) {
    const OpenLog log = openLogFile(name);
    if (!log.file)
        return;
    file = log.facts.st_ino;
    position = log.facts.st_size;
}

std::string LogPlace::linesSince(std::size_t count) const {
    const OpenLog log = openLogFile(name);
    if (!log.file)
        return "";
    const off_t begin = log.facts.st_ino == file ? position : 0;
    return ending(readFrom(log.file.get(), begin, log.facts.st_size), count);
}

void LogPlace::follow() {
    constexpr std::chrono::milliseconds pause{200};
    for (;;) {
        const OpenLog log = openLogFile(name);
        if (log.file) {
            // A log that was turned over, or cut, begins anew.
            if (log.facts.st_ino != file || log.facts.st_size < position)
                position = 0;
            file = log.facts.st_ino;
            std::cout << readFrom(log.file.get(), position, log.facts.st_size) << std::flush;
            position = log.facts.st_size;
        }
        std::this_thread::sleep_for(pause);
    }
}

}  // namespace Sorvex::tools
