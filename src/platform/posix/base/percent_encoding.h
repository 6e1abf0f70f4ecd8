// Text in places that take only some characters.
#pragma once

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

}  // namespace Sorvex::platform
