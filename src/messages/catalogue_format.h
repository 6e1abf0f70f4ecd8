// Formatting of texts that come from a catalogue.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

namespace Sorvex::catalogue {

/// The size of the block that a text is formatted into, its terminating NUL included.
constexpr std::size_t blockSize = 4096;

/// Formats a text, up to its first NUL, with a list of values, as the runtime does.
///
/// A text with anything that the host's runtime does not know, with %n, or with numbered values
/// that no list can hold is not formatted: it is given as it stands, and no value is read. Numbers
/// are cut to what the runtime deals with soon. Where the runtime fails, the text ends.
///
/// @return the block
const char* formatWithValues(char (&block)[blockSize], const std::string& text, va_list values);

/// Formats a text, up to its first NUL, with two strings: its first two %s take them in turn, %1$s
/// and %2$s by number, %% is a percent sign, and everything else stays as it is.
std::string formatWithStrings(const std::string& text, std::string_view first,
                              std::string_view second);

}  // namespace Sorvex::catalogue
