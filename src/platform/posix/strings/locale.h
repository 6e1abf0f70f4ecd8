// What the runtime's locale says about characters and numbers.
//
// The character functions take each char as a signed value, which the runtime's tables answer for
// from -128 on. An object reads the locale that is in force when it is made, and so saves the calls
// that would look it up for each character.
#pragma once

#include <ctype.h>
#include <langinfo.h>

namespace Sorvex::platform {

class UpperCase {
public:
    char operator()(char c) const noexcept {
        return static_cast<char>(table[static_cast<signed char>(c)]);
    }

private:
    const int* table = *__ctype_toupper_loc();
};

class LowerCase {
public:
    char operator()(char c) const noexcept {
        return static_cast<char>(table[static_cast<signed char>(c)]);
    }

private:
    const int* table = *__ctype_tolower_loc();
};

class Printable {
public:
    bool operator()(char c) const noexcept {
        return (table[static_cast<signed char>(c)] & _ISprint) != 0;
    }

private:
    const unsigned short* table = *__ctype_b_loc();
};

class Space {
public:
    bool operator()(char c) const noexcept {
        return (table[static_cast<signed char>(c)] & _ISspace) != 0;
    }

private:
    const unsigned short* table = *__ctype_b_loc();
};

/// The decimal point, which can have more than one byte.
inline const char* decimalPoint() noexcept {
    return nl_langinfo(RADIXCHAR);
}

}  // namespace Sorvex::platform
