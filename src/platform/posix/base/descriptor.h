// The owner of a descriptor.
#pragma once

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "platform/posix/base/retried.h"

namespace Sorvex::platform {

/// Owns a descriptor of the host, or none, and closes it. The destructor leaves errno as it is.
class Descriptor {
public:
    Descriptor() noexcept = default;
    explicit Descriptor(int number) noexcept : descriptor(number) {}
    Descriptor(Descriptor&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(descriptor, other.descriptor);
        other.close();
        return *this;
    }
    ~Descriptor() {
        const int number = errno;
        close();
        errno = number;
    }

    int get() const noexcept { return descriptor; }
    explicit operator bool() const noexcept { return descriptor >= 0; }

    /// What the host says to the close; true when nothing is open.
    bool close() noexcept { return descriptor < 0 || ::close(std::exchange(descriptor, -1)) == 0; }

    int release() noexcept { return std::exchange(descriptor, -1); }

private:
    int descriptor = -1;
};

/// Opens a name relative to a directory, close-on-exec and again when interrupted; none with errno
/// set on failure.
inline Descriptor openAt(int directory, const char* name, int flags, mode_t mode = 0) noexcept {
    return Descriptor(retried([&] { return ::openat(directory, name, flags | O_CLOEXEC, mode); }));
}

}  // namespace Sorvex::platform
