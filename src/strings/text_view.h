// The text view of a string: its characters before the first NUL.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

namespace Sorvex {

inline std::string_view textView(const std::string& text) noexcept {
    // Hardly any text holds a NUL. Its length is known before the search for one has ended, and the
    // host can run ahead with it.
    const std::string_view whole = text;
    if (whole.find('\0') == std::string_view::npos) [[likely]]
        return whole;
    return text.c_str();
}

/// The same of a part of a string, which no NUL need follow.
inline std::string_view textView(std::string_view text) noexcept {
    return text.substr(0, text.find('\0'));
}

/// Drops the first NUL and what stands behind it.
inline void cutToTextView(std::string& text) noexcept {
    const std::size_t length = std::strlen(text.data());
    if (length < text.size())
        text.resize(length);
}

}  // namespace Sorvex
