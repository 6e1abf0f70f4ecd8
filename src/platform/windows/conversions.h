// What the runtime's printf knows: the C library's conversions and the host's own spellings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/conversion_rule.h"

namespace Sorvex::platform {

constexpr std::string_view conversionFlags = "-+ #0'";

/// A plain vsprintf takes its values in turn.
constexpr bool conversionsHaveNumbers = false;

constexpr std::string_view integerKinds = "diouxX";
constexpr std::string_view realKinds = "aAeEfFgG";

/// What may stand behind flags, width and precision, but n, which writes. The usual ones come
/// first.
constexpr ConversionRule conversionRules[] = {
    {"", "s", ValueType::text},
    {"", integerKinds, ValueType::integer},
    {"", "cC", ValueType::integer},
    {"", realKinds, ValueType::real},
    {"", "%", ValueType::none},
    {"", "p", ValueType::pointer},
    {"", "S", ValueType::wideText},
    {"l", integerKinds, ValueType::longInteger},
    {"l", realKinds, ValueType::real},
    {"l", "c", ValueType::integer},
    {"l", "s", ValueType::wideText},
    // The system's spelling, which the formatter of this toolchain's library lacks.
    {"w", "c", ValueType::integer, "l"},
    {"w", "s", ValueType::wideText, "l"},
    {"ll", integerKinds, ValueType::longLong},
    {"L", realKinds, ValueType::longReal},
    {"h", integerKinds, ValueType::integer},
    {"h", "c", ValueType::integer},
    {"h", "s", ValueType::text},
    {"hh", integerKinds, ValueType::integer},
    {"I32", integerKinds, ValueType::integer},
    {"I64", integerKinds, ValueType::longLong},
    {"I", integerKinds, passedAs<std::size_t>},
    {"j", integerKinds, passedAs<std::intmax_t>},
    {"z", integerKinds, passedAs<std::size_t>},
    {"t", integerKinds, passedAs<std::ptrdiff_t>},
};

}  // namespace Sorvex::platform
