#include <algorithm>
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
    return readBytes(buffer, atMost32Bits(size));
}

unsigned long BStreamBuffer::write(const void* buffer, unsigned long size) {
    if (asUnsigned32(size) != size)
        throw std::bad_alloc();
    return writeBytes(buffer, asUnsigned32(size));
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

std::uint32_t BStreamBuffer::offsetOf(const unsigned char* position) const noexcept {
    return static_cast<std::uint32_t>(position - bufferStart);
}

std::uint32_t BStreamBuffer::unread() const noexcept {
    return static_cast<std::uint32_t>(writePosition - readPosition);
}

std::uint32_t BStreamBuffer::room() const noexcept {
    return bufferCapacity - offsetOf(writePosition);
}

std::uint32_t BStreamBuffer::readBytes(void* buffer, std::uint32_t size) noexcept {
    const std::uint32_t count = std::min(size, unread());
    if (count == 0)
        return 0;
    std::memmove(buffer, readPosition, count);
    readPosition += count;
    return count;
}

std::uint32_t BStreamBuffer::writeBytes(const void* buffer, std::uint32_t size) {
    if (size == 0)
        return 0;
    if (size > room()) {
        const auto* source = static_cast<const unsigned char*>(buffer);
        const std::less<> before;
        const bool isOwn = !before(source, bufferStart) && before(source, writePosition);
        const std::uint32_t offset = isOwn ? offsetOf(source) : 0;
        grow(size);
        if (isOwn)
            buffer = bufferStart + offset;
    }
    std::memmove(writePosition, buffer, size);
    writePosition += size;
    return size;
}

std::uint32_t BStreamBuffer::grownCapacity(std::uint32_t size) const {
    const std::uint32_t step = std::max(size, blockSize);
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
    const std::uint32_t readOffset = offsetOf(readPosition);
    const std::uint32_t writeOffset = offsetOf(writePosition);
    void* const moved = std::realloc(bufferStart, size);
    if (moved == nullptr)
        return false;
    bufferStart = static_cast<unsigned char*>(moved);
    readPosition = bufferStart + readOffset;
    writePosition = bufferStart + writeOffset;
    storageSize = size;
    return true;
}

}  // namespace Sorvex
