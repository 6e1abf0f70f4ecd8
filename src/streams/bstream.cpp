#include <sorvex/bstream.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <typeinfo>

#include "platform/width.h"

namespace Sorvex {

/// Hands out the bytes of a stream in memory where they lie, with no call of read() or write();
/// null of any other stream, also of one derived from it, whose read() and write() may be its own.
class StreamMemory {
public:
    /// The next unread bytes, which count as read from now on; null when there are fewer.
    static const unsigned char* take(BStream& stream, std::uint32_t size) noexcept {
        BStreamBuffer* const memory = memoryOf(stream);
        if (memory == nullptr ||
            size > static_cast<std::uint32_t>(memory->writePosition - memory->readPosition))
            return nullptr;
        memory->readPosition += size;
        return memory->readPosition - size;
    }

    /// Room for so many bytes behind all others, which count as written from now on; null when the
    /// stream would have to grow.
    static unsigned char* claim(BStream& stream, std::uint32_t size) noexcept {
        BStreamBuffer* const memory = memoryOf(stream);
        if (memory == nullptr ||
            size > memory->bufferCapacity -
                       static_cast<std::uint32_t>(memory->writePosition - memory->bufferStart))
            return nullptr;
        memory->writePosition += size;
        return memory->writePosition - size;
    }

private:
    // The address of a type is quicker to compare than its name. Where it stands twice, nothing is
    // lost but time.
    static BStreamBuffer* memoryOf(BStream& stream) noexcept {
        return &typeid(stream) == &typeid(BStreamBuffer) ? static_cast<BStreamBuffer*>(&stream)
                                                         : nullptr;
    }
};

namespace {

// The operators read into a block of the stack where they can. Texts are mostly short.
constexpr std::size_t stackBlockSize = 1024;

/// The bytes of an unsigned word as they stand on a stream, whatever the order of the host.
template <typename Word>
std::array<unsigned char, sizeof(Word)> bytesOf(Word word) {
    std::array<unsigned char, sizeof(Word)> bytes;
    for (std::size_t place = 0; place < sizeof(Word); ++place)
        bytes[place] = static_cast<unsigned char>(word >> (8 * place));
    return bytes;
}

template <typename Word>
Word wordOf(const unsigned char* bytes) {
    Word word = 0;
    for (std::size_t place = 0; place < sizeof(Word); ++place)
        word = static_cast<Word>(word | static_cast<Word>(bytes[place]) << (8 * place));
    return word;
}

// The ways through a virtual call stand apart: the short ways then need nothing of the stack.
template <typename Word>
[[gnu::noinline]] BStream& putByCall(BStream& stream, Word word) {
    const auto bytes = bytesOf(word);
    stream.write(bytes.data(), bytes.size());
    return stream;
}

template <typename Word>
BStream& put(BStream& stream, Word word) {
    unsigned char* const room = StreamMemory::claim(stream, sizeof word);
    if (room == nullptr)
        return putByCall(stream, word);
    const auto bytes = bytesOf(word);
    std::memcpy(room, bytes.data(), bytes.size());
    return stream;
}

/// Writes characters, which may be the stream's own.
void putCharacters(BStream& stream, const char* characters, std::size_t length) {
    const std::uint32_t size = asUnsigned32(length);
    if (unsigned char* const room = StreamMemory::claim(stream, size))
        std::memmove(room, characters, size);
    else
        stream.write(characters, size);
}

/// What a read makes of a word.
template <typename Word>
struct Taken {
    Word word;
    unsigned long count;  // as read() tells it
};

/// Reads over the bytes of a word, so that those that do not arrive stay.
template <typename Word>
[[gnu::noinline]] Taken<Word> takeByCall(BStream& stream, Word word) {
    auto bytes = bytesOf(word);
    const unsigned long count = stream.read(bytes.data(), bytes.size());
    return {wordOf<Word>(bytes.data()), count};
}

template <typename Word>
Taken<Word> take(BStream& stream, Word word) {
    const unsigned char* const bytes = StreamMemory::take(stream, sizeof word);
    if (bytes == nullptr)
        return takeByCall(stream, word);
    return {wordOf<Word>(bytes), sizeof word};
}

template <typename Word, typename Integer>
BStream& takeInteger(BStream& stream, Integer& value) {
    value = static_cast<Integer>(take(stream, static_cast<Word>(value)).word);
    return stream;
}

/// Whether anything arrived of a word that may be narrower than the value it stands for, which is
/// left alone otherwise. A stream that delivers without counting is believed by its bytes.
template <typename Word>
bool hasArrived(const Taken<Word>& taken, Word before) {
    return taken.count != 0 || taken.word != before;
}

/// The bits of a floating-point value go by memory: passing it by value can change a NaN.
template <typename Word, typename Float>
BStream& takeFloat(BStream& stream, Float& value) {
    static_assert(sizeof(Word) == sizeof(Float) && std::numeric_limits<Float>::is_iec559);
    Word word = 0;
    std::memcpy(&word, &value, sizeof word);
    word = take(stream, word).word;
    std::memcpy(&value, &word, sizeof word);
    return stream;
}

void requireLength(std::size_t length) {
    if (length > std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("BStream::operator<<");
}

std::size_t lengthBeforeNul(const char* characters, std::size_t length) {
    const void* const nul = std::memchr(characters, 0, length);
    return nul == nullptr ? length
                          : static_cast<std::size_t>(static_cast<const char*>(nul) - characters);
}

/// One read of a text's characters into a block; gives those up to the first NUL.
void takeText(BStream& stream, std::string& text, char* block, std::uint32_t size) {
    const std::size_t arrived = std::min<std::size_t>(stream.read(block, size), size);
    // Looking through bytes that have just been stored waits for them, so they are copied first.
    text.assign(block, arrived);
    if (const std::size_t length = lengthBeforeNul(block, arrived); length < arrived)
        text.resize(length);
}

}  // namespace

BStream::BStream() noexcept = default;

BStream::~BStream() = default;

BStream& BStream::operator<<(char value) {
    return put(*this, static_cast<std::uint8_t>(value));
}

BStream& BStream::operator<<(signed char value) {
    return put(*this, static_cast<std::uint8_t>(value));
}

BStream& BStream::operator<<(unsigned char value) {
    return put(*this, static_cast<std::uint8_t>(value));
}

BStream& BStream::operator<<(short value) {
    return put(*this, static_cast<std::uint16_t>(value));
}

BStream& BStream::operator<<(unsigned short value) {
    return put(*this, static_cast<std::uint16_t>(value));
}

BStream& BStream::operator<<(int value) {
    return put(*this, asUnsigned32(value));
}

BStream& BStream::operator<<(unsigned int value) {
    return put(*this, asUnsigned32(value));
}

BStream& BStream::operator<<(long value) {
    return put(*this, asUnsigned32(value));
}

BStream& BStream::operator<<(unsigned long value) {
    return put(*this, asUnsigned32(value));
}

BStream& BStream::operator<<(float value) {
    return put(*this, std::bit_cast<std::uint32_t>(value));
}

BStream& BStream::operator<<(double value) {
    return put(*this, std::bit_cast<std::uint64_t>(value));
}

BStream& BStream::operator<<(long double value) {
    return put(*this, std::bit_cast<std::uint64_t>(static_cast<double>(value)));
}

BStream& BStream::operator<<(const char* text) {
    const std::size_t length = std::strlen(text);
    requireLength(length);
    putCharacters(*this, text, length);
    return *this;
}

BStream& BStream::operator<<(const std::string& text) {
    requireLength(text.size());
    put(*this, asUnsigned32(text.size()));
    putCharacters(*this, text.data(), text.size());
    return *this;
}

BStream& BStream::operator>>(char& value) {
    return takeInteger<std::uint8_t>(*this, value);
}

BStream& BStream::operator>>(signed char& value) {
    return takeInteger<std::uint8_t>(*this, value);
}

BStream& BStream::operator>>(unsigned char& value) {
    return takeInteger<std::uint8_t>(*this, value);
}

BStream& BStream::operator>>(short& value) {
    return takeInteger<std::uint16_t>(*this, value);
}

BStream& BStream::operator>>(unsigned short& value) {
    return takeInteger<std::uint16_t>(*this, value);
}

BStream& BStream::operator>>(int& value) {
    return takeInteger<std::uint32_t>(*this, value);
}

BStream& BStream::operator>>(unsigned int& value) {
    return takeInteger<std::uint32_t>(*this, value);
}

BStream& BStream::operator>>(long& value) {
    const std::uint32_t before = asUnsigned32(value);
    if (const auto taken = take(*this, before); hasArrived(taken, before))
        value = asSigned32(taken.word);
    return *this;
}

BStream& BStream::operator>>(unsigned long& value) {
    const std::uint32_t before = asUnsigned32(value);
    if (const auto taken = take(*this, before); hasArrived(taken, before))
        value = taken.word;
    return *this;
}

BStream& BStream::operator>>(float& value) {
    return takeFloat<std::uint32_t>(*this, value);
}

BStream& BStream::operator>>(double& value) {
    return takeFloat<std::uint64_t>(*this, value);
}

BStream& BStream::operator>>(long double& value) {
    const auto before = std::bit_cast<std::uint64_t>(static_cast<double>(value));
    if (const auto taken = take(*this, before); hasArrived(taken, before))
        value = std::bit_cast<double>(taken.word);
    return *this;
}

BStream& BStream::operator>>(std::string& text) {
    const std::uint32_t length = take(*this, std::uint32_t{0}).word;
    if (length == 0) {
        text.clear();
        return *this;
    }
    if (const unsigned char* const unread = StreamMemory::take(*this, length)) {
        const auto* const characters = reinterpret_cast<const char*>(unread);
        text.assign(characters, lengthBeforeNul(characters, length));
        return *this;
    }
    if (length <= stackBlockSize) {
        char block[stackBlockSize];
        takeText(*this, text, block, length);
        return *this;
    }
    // The block is not cleared, so that only what arrives is ever touched.
    const auto block = std::make_unique_for_overwrite<char[]>(length);
    takeText(*this, text, block.get(), length);
    return *this;
}

}  // namespace Sorvex
