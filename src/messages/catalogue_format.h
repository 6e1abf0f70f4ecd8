// Formatting of texts that come from a catalogue.
#ifndef SORVEX_MESSAGES_CATALOGUE_FORMAT_H
#define SORVEX_MESSAGES_CATALOGUE_FORMAT_H

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

namespace Sorvex::catalogue {

/// The size of the block that a text is formatted into, its terminating NUL included.
constexpr std::size_t blockSize = 4096;

/// Formats a text, up to its first NUL, with a list of values.
///
/// The runtime sees only conversions that it defines, without %n, with numbers of bounded size, and
/// no more of the text than can show.
///
/// @return the formatted text up to its first NUL, in the block
std::string_view formatWithValues(char (&block)[blockSize], const std::string& text,
                                  va_list values);

/// Formats a text, up to its first NUL, with two strings: its first two %s take them in turn, %1$s
/// and %2$s by number, %% is a percent sign, and everything else stays as it is.
std::string formatWithStrings(const std::string& text, std::string_view first,
                              std::string_view second);

}  // namespace Sorvex::catalogue

#endif
