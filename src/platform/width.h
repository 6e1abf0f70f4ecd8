// Narrowing to the widths of the interface, where long has 32 bits on every host.
#pragma once

#include <cstdint>

namespace Sorvex {

/// The low 32 bits of a value, as the interface's unsigned long holds them.
template <typename Integer>
constexpr std::uint32_t asUnsigned32(Integer value) noexcept {
    return static_cast<std::uint32_t>(value);
}

/// The low 32 bits of a value in two's complement, as the interface's long holds them.
template <typename Integer>
constexpr std::int32_t asSigned32(Integer value) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

/// A count of bytes, or as many as 32 bits can count.
constexpr std::uint32_t atMost32Bits(unsigned long count) noexcept {
    return asUnsigned32(count) == count ? asUnsigned32(count) : UINT32_MAX;
}

}  // namespace Sorvex
