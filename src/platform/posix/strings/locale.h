// What the runtime's locale says about characters and numbers.
//
// The character functions take each char as a signed value, which the runtime's tables answer for
// from -128 on. An object reads the locale that is in force when it is made, and so saves the calls
// that would look it up for each character.
#pragma once

#include <ctype.h>
#include <langinfo.h>

namespace Sorvex::platform {

template <auto tableOfLocale>
class CaseMap {
public:
    char operator()(char c) const noexcept {
        return static_cast<char>(table[static_cast<signed char>(c)]);
    }

private:
    const int* table = *tableOfLocale();
};

using UpperCase = CaseMap<__ctype_toupper_loc>;
using LowerCase = CaseMap<__ctype_tolower_loc>;

template <unsigned short mask>
class CharacterClass {
public:
    bool operator()(char c) const noexcept {
        return (table[static_cast<signed char>(c)] & mask) != 0;
    }

private:
    const unsigned short* table = *__ctype_b_loc();
};

using Printable = CharacterClass<_ISprint>;
using Space = CharacterClass<_ISspace>;

/// The decimal point, which can have more than one byte.
inline const char* decimalPoint() noexcept {
    return nl_langinfo(RADIXCHAR);
}

}  // namespace Sorvex::platform
