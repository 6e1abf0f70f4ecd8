// Sixteen characters at a time, through the vector types that GCC and Clang share.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Sorvex {

/// Comparing gives a vector whose lanes are all ones where the answer is yes, and zero elsewhere.
class ByteVector {
public:
    static constexpr std::size_t size = 16;

    /// The sixteen characters at a place of any alignment.
    explicit ByteVector(const char* characters) noexcept { std::memcpy(&lanes, characters, size); }

    /// The same character in each lane.
    explicit ByteVector(char c) noexcept : lanes(Lanes{} + static_cast<unsigned char>(c)) {}

    ByteVector operator==(const ByteVector& other) const noexcept {
        return ByteVector(Answers(lanes == other.lanes));
    }

    /// Compares as unsigned numbers.
    ByteVector operator<(const ByteVector& other) const noexcept {
        return ByteVector(Answers(lanes < other.lanes));
    }

    ByteVector operator-(const ByteVector& other) const noexcept {
        return ByteVector(Answers(lanes - other.lanes));
    }

    ByteVector operator|(const ByteVector& other) const noexcept {
        return ByteVector(Answers(lanes | other.lanes));
    }

    ByteVector operator&(const ByteVector& other) const noexcept {
        return ByteVector(Answers(lanes & other.lanes));
    }

    /// Whether the answer is yes in each lane.
    bool all() const noexcept { return (half(0) & half(8)) == ~std::uint64_t{0}; }

    /// The first lane in which the answer is yes; size when there is none.
    std::size_t first() const noexcept {
        if (const std::uint64_t low = half(0); low != 0)
            return firstByte(low);
        const std::uint64_t high = half(8);
        return high != 0 ? 8 + firstByte(high) : size;
    }

private:
    using Lanes [[gnu::vector_size(16)]] = unsigned char;
    using Answers [[gnu::vector_size(16)]] = signed char;

    explicit ByteVector(const Answers& answers) noexcept { std::memcpy(&lanes, &answers, size); }

    std::uint64_t half(std::size_t start) const noexcept {
        unsigned char bytes[size];
        std::memcpy(bytes, &lanes, size);
        std::uint64_t eight = 0;
        std::memcpy(&eight, bytes + start, sizeof eight);
        return eight;
    }

    static std::size_t firstByte(std::uint64_t eight) noexcept {
        const int zeros = std::endian::native == std::endian::little ? std::countr_zero(eight)
                                                                     : std::countl_zero(eight);
        return static_cast<std::size_t>(zeros) / 8;
    }

    Lanes lanes;
};

}  // namespace Sorvex
