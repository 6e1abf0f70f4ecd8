#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <new>

#include <sorvex/bstream.h>

#include "platform/width.h"

namespace Sorvex {

namespace {

constexpr std::uint32_t blockSize = 8192;
constexpr std::uint32_t largest = std::numeric_limits<std::uint32_t>::max();

/// Copies bytes that may overlap; the widths of numbers without a call.
void copyBytes(void* target, const void* source, std::uint32_t size) {
    switch (size) {
        case 1:
            std::memmove(target, source, 1);
            break;
        case 2:
            std::memmove(target, source, 2);
            break;
        case 4:
            std::memmove(target, source, 4);
            break;
        case 8:
            std::memmove(target, source, 8);
            break;
        default:
            std::memmove(target, source, size);
    }
}

}  // namespace

BStreamBuffer::BStreamBuffer()
    : bufferStart(static_cast<unsigned char*>(std::malloc(blockSize))),
      bufferCapacity(blockSize),
      readPosition(bufferStart),
      writePosition(bufferStart),
      storageSize(blockSize) {
    if (bufferStart == nullptr)
        throw std::bad_alloc();
}

// The delegation lets the destructor release the storage when the write fails.
BStreamBuffer::BStreamBuffer(const void* data, unsigned long size) : BStreamBuffer() {
    BStreamBuffer::write(data, size);
}

BStreamBuffer::~BStreamBuffer() {
    std::free(bufferStart);
}

unsigned long BStreamBuffer::read(void* buffer, unsigned long size) {
    std::uint32_t count = asUnsigned32(size);
    if (const auto unread = static_cast<std::uint32_t>(writePosition - readPosition);
        count > unread)
        count = unread;
    if (count == 0)
        return 0;
    copyBytes(buffer, readPosition, count);
    readPosition += count;
    return count;
}

unsigned long BStreamBuffer::write(const void* buffer, unsigned long size) {
    const std::uint32_t count = asUnsigned32(size);
    if (count == 0)
        return 0;
    const auto used = static_cast<std::uint32_t>(writePosition - bufferStart);
    if (count > bufferCapacity - used) {
        const auto* source = static_cast<const unsigned char*>(buffer);
        const std::less<> before;
        const bool own = !before(source, bufferStart) && before(source, writePosition);
        const auto offset = own ? static_cast<std::size_t>(source - bufferStart) : 0;
        grow(count);
        if (own)
            buffer = bufferStart + offset;
    }
    copyBytes(writePosition, buffer, count);
    writePosition += count;
    return count;
}

bool BStreamBuffer::isEmpty() const noexcept {
    return readPosition == writePosition;
}

unsigned long BStreamBuffer::dataSize() const noexcept {
    return static_cast<unsigned long>(writePosition - readPosition);
}

void* BStreamBuffer::data() noexcept {
    return readPosition;
}

BStreamBuffer& BStreamBuffer::erase() noexcept {
    readPosition = bufferStart;
    writePosition = bufferStart;
    return *this;
}

std::uint32_t BStreamBuffer::grownCapacity(std::uint32_t size) const {
    const std::uint32_t step = size > blockSize ? size : blockSize;
    if (step > largest - bufferCapacity)
        throw std::bad_alloc();
    return bufferCapacity + step;
}

void BStreamBuffer::grow(std::uint32_t size) {
    const std::uint32_t capacity = grownCapacity(size);
    if (capacity > storageSize) {
        // Twice as much, so that the moves add up to linear time; the host moves large blocks
        // without copying them. What is not written to costs no memory.
        const std::uint64_t twice = std::uint64_t{storageSize} * 2;
        if (twice <= capacity || twice > largest || !resize(static_cast<std::uint32_t>(twice))) {
            if (!resize(capacity))
                throw std::bad_alloc();
        }
    }
    bufferCapacity = capacity;
}

bool BStreamBuffer::resize(std::uint32_t size) noexcept {
    const auto unread = readPosition - bufferStart;
    const auto used = writePosition - bufferStart;
    void* const moved = std::realloc(bufferStart, size);
    if (moved == nullptr)
        return false;
    bufferStart = static_cast<unsigned char*>(moved);
    readPosition = bufferStart + unread;
    writePosition = bufferStart + used;
    storageSize = size;
    return true;
}

}  // namespace Sorvex
