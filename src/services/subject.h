// The subject of a failure that may be a null pointer.
#pragma once

#include <string>

namespace Sorvex {

/// The text, or nothing for null.
inline std::string subject(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

}  // namespace Sorvex
