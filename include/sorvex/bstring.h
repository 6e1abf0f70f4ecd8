// Text values, printf-style formatting, and the way failures are shown.
#ifndef SORVEX_BSTRING_H
#define SORVEX_BSTRING_H

#include <exception>
#include <iosfwd>
#include <string>

#include <sorvex/export.h>

namespace Sorvex {

/// Formats a printf-style list of values, of at most 4095 characters.
///
/// The result ends at the first NUL character of the formatted text.
///
/// @throws std::runtime_error "asString() : buffer overflow" when the text is longer, or when the
///     runtime can't format it.
[[gnu::format(printf, 1, 2)]] SORVEX_API std::string asString(const char* format, ...);

/// Writes an exception as two lines, the first reading "Exception !" and the second what() of it,
/// and flushes the stream after each.
SORVEX_API std::ostream& operator<<(std::ostream& stream, std::exception& failure);

/// Small services of the operating system that belong to no object.
class SORVEX_API OSInterface {
public:
    /// Suspends the calling thread once, for a duration in microseconds cut to whole milliseconds.
    /// Less than 1000 only gives up the rest of the thread's turn. Only the low 32 bits count.
    static void sleep(unsigned long duration);

    /// The character between the names of a path: the backslash, on every host.
    static char directorySeparatorCharacter() noexcept;
};

}  // namespace Sorvex

#endif
