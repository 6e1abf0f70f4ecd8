// Binary streams: the form of values as bytes, and a stream in memory.
#ifndef SORVEX_BSTREAM_H
#define SORVEX_BSTREAM_H

#include <cstdint>
#include <string>

#include <sorvex/export.h>

namespace Sorvex {

/// A stream of bytes, and the binary form of values on it.
///
/// A derived class supplies read() and write(). The operators put values on the stream one behind
/// the other, with no tags, alignment or separators, and take them off again in the same order and
/// with the same types. The form is the same on every host: integers in two's complement and
/// floating-point values in their IEEE-754 form, the low-order byte first, of these widths:
///
/// | Type                     | Bytes                                             |
/// |--------------------------|---------------------------------------------------|
/// | char, signed or unsigned | 1                                                 |
/// | short, signed or not     | 2                                                 |
/// | int, long, signed or not | 4; of a wider long, the low-order 32 bits         |
/// | float                    | 4                                                 |
/// | double, long double      | 8; a wider long double is rounded to a double     |
/// | std::string              | 4 for the length, then the characters, NUL or not |
/// | const char*              | the characters before the NUL, and nothing else   |
///
/// A stream is used by one thread at a time.
class SORVEX_API BStream {
public:
    BStream() noexcept;
    virtual ~BStream();

    BStream(const BStream&) = delete;
    BStream& operator=(const BStream&) = delete;

    /// Delivers up to size bytes into a buffer.
    ///
    /// @return how many arrived: fewer than size is a short read, 0 that nothing could be read
    virtual unsigned long read(void* buffer, unsigned long size) = 0;

    /// Takes size bytes from a buffer.
    ///
    /// @return how many were taken
    virtual unsigned long write(const void* buffer, unsigned long size) = 0;

    /// Writes 1 byte. Each of these calls write() once, with the width of its type, and takes no
    /// notice of the result.
    BStream& operator<<(char value);
    BStream& operator<<(signed char value);     ///< Writes 1 byte.
    BStream& operator<<(unsigned char value);   ///< Writes 1 byte.
    BStream& operator<<(short value);           ///< Writes 2 bytes.
    BStream& operator<<(unsigned short value);  ///< Writes 2 bytes.
    BStream& operator<<(int value);             ///< Writes 4 bytes.
    BStream& operator<<(unsigned int value);    ///< Writes 4 bytes.
    BStream& operator<<(long value);  ///< Writes 4 bytes, of a wider long the low-order ones.
    BStream& operator<<(unsigned long value);  ///< Writes 4 bytes, as of a long.
    BStream& operator<<(float value);          ///< Writes 4 bytes.
    BStream& operator<<(double value);         ///< Writes 8 bytes.
    BStream& operator<<(long double value);    ///< Writes 8 bytes, rounded to a double.

    // The form has no 64-bit integers. Write two 32-bit halves or a text.
    BStream& operator<<(long long) = delete;
    BStream& operator<<(unsigned long long) = delete;

    /// Calls write() once with the characters of the text. The text can't be read back by >>, since
    /// its length does not go along.
    ///
    /// @throws std::length_error for a text of 4 GB or more; nothing is written then
    BStream& operator<<(const char* text);

    /// Calls write() twice: with the length, then with the characters, also when there are none.
    ///
    /// @throws std::length_error for a text of 4 GB or more; nothing is written then
    BStream& operator<<(const std::string& text);

    /// Reads 1 byte. Each of these calls read() once, with the width of its type.
    ///
    /// A value of which nothing arrives stays as it was. When only some bytes arrive, they replace
    /// the low-order bytes of the value.
    BStream& operator>>(char& value);
    BStream& operator>>(signed char& value);     ///< Reads 1 byte.
    BStream& operator>>(unsigned char& value);   ///< Reads 1 byte.
    BStream& operator>>(short& value);           ///< Reads 2 bytes.
    BStream& operator>>(unsigned short& value);  ///< Reads 2 bytes.
    BStream& operator>>(int& value);             ///< Reads 4 bytes.
    BStream& operator>>(unsigned int& value);    ///< Reads 4 bytes.
    BStream& operator>>(long& value);            ///< Reads 4 bytes; a wider long gets their sign.
    BStream& operator>>(unsigned long& value);   ///< Reads 4 bytes; a wider one gets 0 above them.
    BStream& operator>>(float& value);           ///< Reads 4 bytes.
    BStream& operator>>(double& value);          ///< Reads 8 bytes.
    BStream& operator>>(long double& value);     ///< Reads 8 bytes.

    BStream& operator>>(long long&) = delete;
    BStream& operator>>(unsigned long long&) = delete;

    /// Reads a length and then, with one call of read(), that many characters.
    ///
    /// The text is what arrived, up to its first NUL; all that arrived is taken from the stream.
    /// Where no length arrives the text is empty. Memory is touched only for what arrives, whatever
    /// the length says.
    ///
    /// @throws std::bad_alloc for a length that can't be allocated; the text stays as it was
    BStream& operator>>(std::string& text);
};

/// A stream in memory: bytes are written behind those that are there and read from the front.
///
/// Its capacity starts at 8192 bytes and grows, when a write does not fit, by the size of that
/// write or by 8192 bytes, whichever is more. Bytes that were read keep their room until erase().
/// The stream ends at 4 GB.
class SORVEX_API BStreamBuffer : public BStream {
public:
    /// An empty stream.
    ///
    /// @throws std::bad_alloc
    BStreamBuffer();

    /// A stream with a copy of size bytes, unread; the caller keeps the data.
    ///
    /// @throws std::bad_alloc
    BStreamBuffer(const void* data, unsigned long size);

    ~BStreamBuffer() override;

    BStreamBuffer(const BStreamBuffer&) = delete;
    BStreamBuffer& operator=(const BStreamBuffer&) = delete;

    /// Copies the next size bytes, or all that are left, into a buffer and moves on behind them.
    ///
    /// @return how many bytes were there
    unsigned long read(void* buffer, unsigned long size) override;

    /// Stores size bytes behind all others. They may come from this stream's own data().
    ///
    /// @return size
    /// @throws std::bad_alloc when memory is short or the stream would pass 4 GB; the stream is
    ///     then as it was
    unsigned long write(const void* buffer, unsigned long size) override;

    bool isEmpty() const noexcept;            ///< Whether no byte is left to read.
    unsigned long dataSize() const noexcept;  ///< How many bytes are left to read.

    /// The first byte that is left to read. Valid until the next write that has to grow the stream.
    void* data() noexcept;

    BStreamBuffer& erase() noexcept;  ///< Drops all bytes, read or not, and keeps the capacity.

private:
    friend class StreamMemory;

    std::uint32_t offsetOf(const unsigned char* position) const noexcept;
    std::uint32_t unread() const noexcept;
    std::uint32_t room() const noexcept;
    std::uint32_t readBytes(void* buffer, std::uint32_t size) noexcept;
    std::uint32_t writeBytes(const void* buffer, std::uint32_t size);
    std::uint32_t grownCapacity(std::uint32_t size) const;
    void grow(std::uint32_t size);
    bool resize(std::uint32_t size) noexcept;

    unsigned char* bufferStart;
    std::uint32_t bufferCapacity;
    unsigned char* readPosition;
    unsigned char* writePosition;
    // The size of the block behind bufferStart. It grows in larger steps than the capacity, so that
    // many small writes take linear time.
    std::uint32_t storageSize;
};

}  // namespace Sorvex

#endif
