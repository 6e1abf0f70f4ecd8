// What the kernel tells of processes and threads in files.
#pragma once

#include <cstddef>
#include <cstdint>

#include <sys/types.h>

namespace Sorvex::platform {

/// Reads the start of a file of the kernel into a block, at most `size` - 1 bytes and a NUL;
/// nothing but the NUL when it can't be read.
void readKernelFile(const char* name, char* block, std::size_t size) noexcept;

/// The stat line of a process or a thread, as proc(5) tells of it. Allocates nothing.
class StatLine {
public:
    static StatLine ofProcess(pid_t process) noexcept { return {"/proc/%d/stat", process}; }

    /// Of a thread of this process.
    static StatLine ofThread(pid_t thread) noexcept { return {"/proc/self/task/%d/stat", thread}; }

    /// The letter of the third field; NUL when the line can't be read.
    char state() const noexcept { return text[behindName]; }

    /// A number of the line; 0 when there is none.
    ///
    /// @param index the field's as the manual counts them, from 4
    std::uint64_t field(int index) const noexcept;

private:
    StatLine(const char* nameFormat, pid_t number) noexcept;

    char text[1024];
    std::size_t behindName = 0;
};

}  // namespace Sorvex::platform
