// What a service was installed with, and its form on the disk.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/base/types.h"

namespace Sorvex::platform::services {

/// Stands before the name of a group in a list of dependencies.
inline constexpr char groupMark = '+';

struct Configuration {
    std::string name;
    std::string displayName;
    DWORD type = 0;
    DWORD startType = 0;
    DWORD errorControl = 0;
    std::string commandLine;
    std::string group;
    std::string account;
    std::vector<std::string> dependencies;  // a group behind a plus sign

    bool operator==(const Configuration&) const = default;

    bool sharesProcess() const noexcept;
};

/// The form on the disk: a line for each value, bytes that would break a line as a percent sign and
/// two digits, and a hash of all that as the last line.
std::string toText(const Configuration& configuration);

/// Reads that form; ERROR_INVALID_DATA for anything else, however it came about.
Configuration fromText(std::string_view text);

/// The names of a list in which each ends with a NUL and the list with one more. Null is none.
std::vector<std::string> splitDependencies(const char* list);

}  // namespace Sorvex::platform::services
