// UTF-16, the platform's wide text, and UTF-8, the host's 8-bit text.
#pragma once

#include <cstddef>

#include "platform/posix/base/types.h"

namespace Sorvex {

constexpr platform::UINT CP_ACP = 0;
constexpr platform::DWORD MB_PRECOMPOSED = 1;

}  // namespace Sorvex

namespace Sorvex::platform {

/// Converts 8-bit text to UTF-16.
///
/// The host's 8-bit text is UTF-8. A byte that belongs to no character becomes a lone surrogate
/// (0xDC00 and the byte), which WideCharToMultiByte turns back, so that every name of the host
/// survives both ways.
///
/// @param codePage CP_ACP, the only one there is
/// @param flags MB_PRECOMPOSED or 0; the text is taken as it is composed
/// @param length in bytes; -1: up to and with the terminating NUL
/// @param capacity in units; 0 asks for the number of units needed
/// @return the number of units; 0 with the last error ERROR_INSUFFICIENT_BUFFER or
///     ERROR_INVALID_PARAMETER
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int length, WCHAR* wide,
                        int capacity) noexcept;

/// Converts UTF-16 to 8-bit text: MultiByteToWideChar the other way round, with bytes and units
/// exchanged. A surrogate that stands for no byte becomes U+FFFD.
///
/// @param defaultCharacter, usedDefault null, since UTF-8 has every character
int WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* wide, int length, char* text,
                        int capacity, const char* defaultCharacter, BOOL* usedDefault) noexcept;

/// The most bytes that encodeUtf8 writes.
constexpr std::size_t longestUtf8 = 4;

/// Writes one character as UTF-8, U+FFFD for a surrogate, and gives the number of bytes.
std::size_t encodeUtf8(char32_t character, char* out) noexcept;

/// The character that begins at a unit, and how many units it takes; a lone surrogate is given as
/// it is. Unit(index) yields the UTF-16 unit at an index.
template <typename Unit>
char32_t characterAt(Unit unit, std::size_t index, std::size_t count, std::size_t& taken) {
    const char32_t first = unit(index);
    taken = 1;
    if (first < 0xD800 || first > 0xDBFF || index + 1 == count)
        return first;
    const char32_t second = unit(index + 1);
    if (second < 0xDC00 || second > 0xDFFF)
        return first;
    taken = 2;
    return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
}

}  // namespace Sorvex::platform
