// The stack buffer that both formatters write into.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string_view>

namespace Sorvex {

/// Holds one formatted text of at most 4095 characters without touching the heap.
class FormatBuffer {
public:
    enum class Outcome { whole, tooLong, failed };

    /// Formats as vsprintf does. Where that fails, the text is what the runtime left of it.
    Outcome format(const char* format, va_list values);

    /// Whether all conversions of a format are those that most consist of and that look the same
    /// in every locale: %s, %d, %u and %c.
    static bool isPlain(const char* format) noexcept;

    /// Formats a plain format. False for any other, and when the text does not fit: the runtime has
    /// the last word then.
    bool formatPlain(const char* format, va_list values) noexcept;

    const char* text() const noexcept { return characters; }
    std::size_t size() const noexcept { return length; }

private:
    bool append(std::string_view part) noexcept;

    template <typename Integer>
    bool appendNumber(Integer value) noexcept;

    char characters[4096];
    std::size_t length = 0;
};

}  // namespace Sorvex
