// A file without a directory entry, for tests that write many.
#pragma once

#include <string>
#include <string_view>

#include <sys/mman.h>
#include <unistd.h>

namespace Sorvex::testing {

/// A file in memory that goes at the end of the scope.
class MemoryFile {
public:
    explicit MemoryFile(std::string_view contents) { setContents(contents); }
    ~MemoryFile() { ::close(descriptor); }

    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    /// False when the host has no room for the contents.
    bool setContents(std::string_view contents) const {
        const auto size = static_cast<ssize_t>(contents.size());
        return ::ftruncate(descriptor, size) == 0 &&
               ::pwrite(descriptor, contents.data(), contents.size(), 0) == size;
    }

    /// The name under which this process can open it.
    std::string name() const { return "/proc/self/fd/" + std::to_string(descriptor); }

private:
    int descriptor = ::memfd_create("sorvex", MFD_CLOEXEC);
};

}  // namespace Sorvex::testing
