// Text in places that take only some characters.
#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>

namespace Sorvex::platform {

/// The text with all bytes but those that stand for themselves as % and two hexadecimal digits.
/// Different texts stay different as long as % doesn't stand for itself.
///
/// @param standsForItself called with each character and its place in the text
template <typename Predicate>
std::string percentEncoded(std::string_view text, Predicate standsForItself) {
    constexpr char digits[] = "0123456789abcdef";
    std::string encoded;
    for (std::size_t place = 0; place < text.size(); ++place) {
        const auto byte = static_cast<unsigned char>(text[place]);
        if (standsForItself(text[place], place))
            encoded += text[place];
        else
            encoded += {'%', digits[byte >> 4U], digits[byte & 15U]};
    }
    return encoded;
}

/// The text that was encoded; nothing where a % is not followed by two digits.
inline std::optional<std::string> percentDecoded(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t place = 0; place < text.size(); ++place) {
        if (text[place] != '%') {
            decoded += text[place];
            continue;
        }
        unsigned char byte = 0;
        const std::string_view digits = text.substr(place + 1, 2);
        const char* const last = digits.data() + digits.size();
        const auto [end, error] = std::from_chars(digits.data(), last, byte, 16);
        if (error != std::errc() || digits.size() != 2 || end != last)
            return std::nullopt;
        decoded += static_cast<char>(byte);
        place += 2;
    }
    return decoded;
}

}  // namespace Sorvex::platform
