// What the runtime's printf knows: all that glibc's manual defines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <features.h>

#include "platform/conversion_rule.h"

namespace Sorvex::platform {

constexpr std::string_view conversionFlags = "-+ #0'I";

/// Conversions can name their values by number: %2$s.
constexpr bool conversionsHaveNumbers = true;

#if __GLIBC_PREREQ(2, 35)
constexpr std::string_view integerKinds = "diouxXbB";
#else
constexpr std::string_view integerKinds = "diouxX";
#endif
constexpr std::string_view realKinds = "aAeEfFgG";

/// What may stand behind flags, width and precision, but n, which writes. The usual ones come
/// first.
constexpr ConversionRule conversionRules[] = {
    {"", "s", ValueType::text},
    {"", integerKinds, ValueType::integer},
    {"", "c", ValueType::integer},
    {"", realKinds, ValueType::real},
    {"", "%m", ValueType::none},
    {"", "p", ValueType::pointer},
    {"", "C", passedAs<wchar_t>},
    {"", "S", ValueType::wideText},
    {"l", integerKinds, ValueType::longInteger},
    {"l", realKinds, ValueType::real},
    {"l", "c", passedAs<wchar_t>},
    {"l", "s", ValueType::wideText},
    {"ll", integerKinds, ValueType::longLong},
    {"ll", realKinds, ValueType::longReal},
    {"L", integerKinds, ValueType::longLong},
    {"L", realKinds, ValueType::longReal},
    {"q", integerKinds, ValueType::longLong},
    {"q", realKinds, ValueType::longReal},
    {"h", integerKinds, ValueType::integer},
    {"h", "c", ValueType::integer},
    {"h", "s", ValueType::text},
    {"hh", integerKinds, ValueType::integer},
    {"hh", "c", ValueType::integer},
    {"hh", "s", ValueType::text},
    {"j", integerKinds, passedAs<std::intmax_t>},
    {"z", integerKinds, passedAs<std::size_t>},
    {"Z", integerKinds, passedAs<std::size_t>},
    {"t", integerKinds, passedAs<std::ptrdiff_t>},
};

}  // namespace Sorvex::platform
