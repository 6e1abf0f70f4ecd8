// A row of the table of what a host's printf knows.
#pragma once

#include <string_view>

namespace Sorvex::platform {

/// The type of the value that a conversion takes.
enum class ValueType {
    none,
    integer,
    longInteger,
    longLong,
    real,
    longReal,
    text,
    wideText,
    pointer
};

/// The type that an integer is passed as.
template <typename Integer>
constexpr ValueType passedAs = sizeof(Integer) <= sizeof(int)    ? ValueType::integer
                               : sizeof(Integer) == sizeof(long) ? ValueType::longInteger
                                                                 : ValueType::longLong;

struct ConversionRule {
    std::string_view length;  ///< what stands before the conversion's last character
    std::string_view kinds;   ///< last characters
    ValueType value;
    std::string_view handed = length;  ///< what stands there for the runtime
};

}  // namespace Sorvex::platform
