// Reading what a service wrote.
#pragma once

#include <string>

#include <sys/types.h>

namespace Sorvex::tools {

/// The last lines of a log; empty when there is none. Of a very long log only the end is read.
std::string lastLines(const std::string& file, std::size_t count);

/// A place in a log that may be turned over.
class LogPlace {
public:
    /// The end of the log as it is now.
    explicit LogPlace(const std::string& file);

    /// What was written behind the place, in at most this many last lines.
    std::string linesSince(std::size_t count) const;

    /// Writes what follows to the standard output as it comes, for ever.
    [[noreturn]] void follow();

private:
    std::string name;
    ino_t file = 0;
    off_t position = 0;
};

}  // namespace Sorvex::tools
