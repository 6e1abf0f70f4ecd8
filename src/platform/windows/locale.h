// What the runtime's locale says about characters and numbers.
//
// The character functions take each char as a signed value. The runtime has an answer for -1 and
// for 0 to 255 only and would read before its tables for others: those stay as they are and belong
// to no class.
#pragma once

#include <cctype>
#include <clocale>

namespace Sorvex::platform {

struct UpperCase {
    char operator()(char c) const noexcept {
        return c < 0 ? c : static_cast<char>(std::toupper(c));
    }
};

struct LowerCase {
    char operator()(char c) const noexcept {
        return c < 0 ? c : static_cast<char>(std::tolower(c));
    }
};

struct Printable {
    bool operator()(char c) const noexcept { return c >= 0 && std::isprint(c) != 0; }
};

struct Space {
    bool operator()(char c) const noexcept { return c >= 0 && std::isspace(c) != 0; }
};

/// The decimal point.
inline const char* decimalPoint() noexcept {
    return std::localeconv()->decimal_point;
}

}  // namespace Sorvex::platform
