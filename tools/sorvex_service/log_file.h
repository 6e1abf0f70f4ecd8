// Reading what a service wrote.
#pragma once

#include <string>

#include <sys/stat.h>

#include "platform/posix/base/descriptor.h"

namespace Sorvex::tools {

/// The end of a log as it was when this object was made, whatever becomes of the log. There may be
/// no log at all.
class LogPlace {
public:
    explicit LogPlace(const std::string& logName);

    /// The last lines ahead of the place. Of very long ones only the end is read.
    std::string linesBefore(std::size_t count) const;

    /// What was written behind it, in at most this many last lines.
    std::string linesSince(std::size_t count) const;

    /// Writes the last lines ahead of the place to the standard output.
    void showLinesBefore(std::size_t count) const;

    /// Writes what follows as it comes, for ever.
    [[noreturn]] void follow();

private:
    void showRest();

    std::string name;
    platform::Descriptor file;
    ino_t inode = 0;
    off_t position = 0;
};

}  // namespace Sorvex::tools
