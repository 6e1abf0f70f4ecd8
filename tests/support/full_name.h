// Full names as the library gives them.
#pragma once

#include <algorithm>
#include <filesystem>
#include <string>

namespace Sorvex::testing {

/// The library's spelling of an absolute name of the host: a drive and backslashes.
inline std::string libraryNameOf(const std::filesystem::path& hostName) {
    std::string name = hostName.string();
    if (name.front() == '/')
        name = "C:" + name;
    std::replace(name.begin(), name.end(), '/', '\\');
    return name;
}

}  // namespace Sorvex::testing
