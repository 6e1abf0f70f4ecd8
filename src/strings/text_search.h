// Search for a text in a text.
#ifndef SORVEX_STRINGS_TEXT_SEARCH_H
#define SORVEX_STRINGS_TEXT_SEARCH_H

#include <cstddef>
#include <string_view>

namespace Sorvex {

/// The position of the first occurrence of a text at or behind a position, or npos. The empty text
/// is found at the position itself.
///
/// Allocates nothing, and takes time linear in the characters passed over and the length of what is
/// sought, whatever they are.
std::size_t findText(std::string_view text, std::string_view sought, std::size_t from) noexcept;

}  // namespace Sorvex

#endif
