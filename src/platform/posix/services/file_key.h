// Names of services and the names of the host's files that stand for them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Sorvex::platform::services {

/// The longest name and display name, in characters.
inline constexpr std::size_t longestName = 256;

/// Whether a service can have this name: 1 to 256 characters and no separator among them.
bool isServiceName(std::string_view name) noexcept;

/// The text with the ASCII letters in lower case: names that differ only so are the same.
std::string foldCase(std::string_view text);

/// A file name for any text, the same for texts that differ in the case of ASCII letters only. It
/// is never longer than 140 bytes and never begins with a dot. A long text is told by its beginning
/// and a hash, so what is found under it has to be compared with the text.
std::string fileKey(std::string_view text);

/// The 64-bit FNV-1a hash, as published by its authors.
std::uint64_t hashOf(std::string_view bytes, std::uint64_t basis = 0xCBF29CE484222325ULL) noexcept;

/// The 16 hexadecimal digits of a number.
std::string asHexadecimal(std::uint64_t number);

}  // namespace Sorvex::platform::services
