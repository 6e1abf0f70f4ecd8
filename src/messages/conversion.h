// The conversions of printf-style formats, as far as texts from outside may use them.
#ifndef SORVEX_MESSAGES_CONVERSION_H
#define SORVEX_MESSAGES_CONVERSION_H

#include <cstddef>
#include <string>
#include <string_view>

namespace Sorvex::catalogue {

/// One conversion of a format, taken apart.
struct Conversion {
    enum class Length { none, hh, h, l, ll, j, z, t, L };

    /// A number of the format, or one that comes as an int among the values.
    struct Number {
        bool isGiven = false;
        bool isValue = false;
        std::size_t value = 0;  ///< a number of more than nine digits is cut to nine nines
    };

    std::size_t size = 0;      ///< characters from the % to the last, both included
    std::size_t position = 0;  ///< of a numbered conversion, from 1; else 0
    std::string_view flags;
    Number width;
    Number precision;
    Length length = Length::none;
    std::string_view lengthText;
    char kind = 0;  ///< its last character

    bool takesNumbersAsValues() const { return width.isValue || precision.isValue; }

    /// How many characters it gives at the least, whatever its value.
    std::size_t shortest() const;

    /// The same conversion with width and precision cut to a limit.
    std::string limitedTo(std::size_t limit) const;
};

/// Takes apart the conversion at the beginning of a text that begins with %.
///
/// @return false for anything that the C library does not define: an unknown or unfinished
///     conversion, a length that does not go with it, and %n in every spelling
bool parseConversion(std::string_view text, Conversion& conversion);

}  // namespace Sorvex::catalogue

#endif
