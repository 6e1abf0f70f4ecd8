// The short way into and out of a stream in memory.
#pragma once

#include <cstdint>
#include <typeinfo>

#include <sorvex/bstream.h>

namespace Sorvex {

/// Hands out the bytes of a stream in memory where they lie, with no call of read() or write().
class StreamMemory {
public:
    /// The next unread bytes, which count as read from now on; null when there are fewer.
    static const unsigned char* take(BStreamBuffer& stream, std::uint32_t size) noexcept {
        const unsigned char* const bytes = stream.readPosition;
        if (size > static_cast<std::uint32_t>(stream.writePosition - bytes))
            return nullptr;
        stream.readPosition += size;
        return bytes;
    }

    /// Room for so many bytes behind all others, which count as written from now on; null when the
    /// stream would have to grow.
    static unsigned char* claim(BStreamBuffer& stream, std::uint32_t size) noexcept {
        unsigned char* const room = stream.writePosition;
        const auto used = static_cast<std::uint32_t>(room - stream.bufferStart);
        if (size > stream.bufferCapacity - used)
            return nullptr;
        stream.writePosition += size;
        return room;
    }

    /// The same of any stream; null when it is another one, or of a class derived from the one in
    /// memory, whose read() and write() may be its own.
    static const unsigned char* takeFrom(BStream& stream, std::uint32_t size) noexcept {
        return isMemory(stream) ? take(static_cast<BStreamBuffer&>(stream), size) : nullptr;
    }

    static unsigned char* claimIn(BStream& stream, std::uint32_t size) noexcept {
        return isMemory(stream) ? claim(static_cast<BStreamBuffer&>(stream), size) : nullptr;
    }

private:
    // The address is quicker to compare than the name. Where type information stands twice, nothing
    // is lost but time.
    static bool isMemory(const BStream& stream) noexcept {
        return &typeid(stream) == &typeid(BStreamBuffer);
    }
};

}  // namespace Sorvex
