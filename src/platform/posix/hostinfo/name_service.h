// Questions to the host's name service about one user or group.
#pragma once

#include <cerrno>
#include <cstddef>
#include <memory>

#include <string.h>

#include "platform/posix/base/termination_shield.h"

namespace Sorvex::platform {

/// The storage behind the texts of one record. It is wiped, since a text can be a hash.
class LookupBuffer {
public:
    LookupBuffer() = default;
    ~LookupBuffer() { ::explicit_bzero(data(), length); }

    LookupBuffer(const LookupBuffer&) = delete;
    LookupBuffer& operator=(const LookupBuffer&) = delete;

    char* data() noexcept { return bytes.get(); }
    std::size_t size() const noexcept { return length; }

    /// Makes the storage larger and loses its contents; false at the bound.
    bool grow() {
        if (length >= largest)
            return false;
        ::explicit_bzero(data(), length);
        bytes = std::make_unique_for_overwrite<char[]>(length * growth);
        length *= growth;
        return true;
    }

private:
    static constexpr std::size_t growth = 4;
    static constexpr std::size_t smallest = 1024;
    // Room for some hundred thousand members of a group.
    static constexpr std::size_t largest = smallest << 14;

    std::size_t length = smallest;
    std::unique_ptr<char[]> bytes = std::make_unique_for_overwrite<char[]>(smallest);
};

/// Asks one of the reentrant get functions, with as much storage as the answer takes.
///
/// @param get called with the record, the storage, its size, and the place of the result
/// @return 0 when the record is there, ENOENT when there is none, or why it can't be told
template <typename Record, typename Get>
int lookUp(Record& record, LookupBuffer& buffer, Get get) {
    for (;;) {
        Record* result = nullptr;
        // The services' own modules take locks of the whole process.
        const TerminationShield shield;
        const int error = get(&record, buffer.data(), buffer.size(), &result);
        if (result != nullptr)
            return 0;
        if (error == EINTR || (error == ERANGE && buffer.grow()))
            continue;
        // Services report in several ways that they have no such record.
        const bool isMissing =
            error == 0 || error == ENOENT || error == ESRCH || error == EBADF || error == EPERM;
        return isMissing ? ENOENT : error;
    }
}

}  // namespace Sorvex::platform
