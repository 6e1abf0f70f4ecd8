// What the host records of the running process, to show that nothing leaks.
#pragma once

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>

namespace Sorvex::testing {

/// How many descriptors the process has open, the one that counts them not included.
inline std::size_t openDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries))) - 1;
}

/// How many threads the process has.
inline std::size_t runningThreads() {
    const std::filesystem::directory_iterator entries("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace Sorvex::testing
