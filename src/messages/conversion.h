// The conversions of printf-style formats, as far as texts from outside may use them.
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/platform.h"

namespace Sorvex::catalogue {

/// One conversion of a format, taken apart.
struct Conversion {
    /// A value that it takes from the list, if any.
    struct Slot {
        platform::ValueType type = platform::ValueType::none;
        std::size_t position = 0;  ///< of a value that is named by number, from 1; else 0
    };

    std::size_t size = 0;  ///< characters from the % to the last, both included
    std::string_view flags;
    Slot widthSlot;
    int width = 0;  ///< a number of more than nine digits is cut to nine nines
    Slot precisionSlot;
    int precision = -1;       ///< the same; -1 where none is given
    std::string_view length;  ///< as the runtime takes it
    char kind = 0;            ///< its last character
    Slot slot;
};

/// Takes apart the conversion at the beginning of a text that begins with %.
///
/// @return false for anything that the host's runtime does not know, and for n, which writes, in
///     every spelling
bool parseConversion(std::string_view text, Conversion& conversion);

}  // namespace Sorvex::catalogue
