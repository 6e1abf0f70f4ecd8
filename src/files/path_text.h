// The parts of a name, by its text alone.
#pragma once

#include <string_view>

namespace Sorvex {

/// A name in two pieces, of any length, that make it up again.
struct SplitName {
    std::string_view place;  ///< drive and directory, with the separator at its end
    std::string_view file;   ///< the file's name with its extension
};

/// Splits a name behind its last separator, or else behind its drive: any character and a colon.
SplitName splitName(std::string_view name) noexcept;

/// Where the extension of a file's name begins: at its last dot, or at its end.
std::string_view::size_type extensionStart(std::string_view file) noexcept;

}  // namespace Sorvex
