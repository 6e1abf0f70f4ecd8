#include "strings/formatting.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iterator>
#include <ostream>
#include <system_error>

#include <sorvex/bstring.h>

#include "strings/failure.h"

namespace Sorvex {

FormatBuffer::Outcome FormatBuffer::format(const char* format, va_list values) {
    va_list copy;
    va_copy(copy, values);
    const bool isFormatted = formatPlain(format, copy);
    va_end(copy);
    if (isFormatted)
        return Outcome::whole;
    characters[0] = '\0';
    const int count = std::vsnprintf(characters, sizeof characters, format, values);
    // A count beyond its type's maximum is a failure to the runtime.
    if (count < 0 ? errno == EOVERFLOW : static_cast<std::size_t>(count) >= sizeof characters)
        return Outcome::tooLong;
    characters[sizeof characters - 1] = '\0';
    length = count < 0 ? std::strlen(characters) : static_cast<std::size_t>(count);
    return count < 0 ? Outcome::failed : Outcome::whole;
}

bool FormatBuffer::isPlain(const char* format) noexcept {
    while ((format = std::strchr(format, '%')) != nullptr) {
        if (format[1] == '\0' || std::strchr("sduc", format[1]) == nullptr)
            return false;
        format += 2;
    }
    return true;
}

bool FormatBuffer::formatPlain(const char* format, va_list values) noexcept {
    length = 0;
    for (bool fits = true; fits; ++format) {
        const std::size_t run = std::strcspn(format, "%");
        if (!append({format, run}))
            return false;
        format += run;
        if (*format == '\0') {
            characters[length] = '\0';
            return true;
        }
        switch (*++format) {
            case 's': {
                const char* const text = va_arg(values, const char*);
                fits = text != nullptr && append(text);
                break;
            }
            case 'd':
                fits = appendNumber(va_arg(values, int));
                break;
            case 'u':
                fits = appendNumber(va_arg(values, unsigned int));
                break;
            case 'c': {
                const char character = static_cast<char>(va_arg(values, int));
                fits = append({&character, 1});
                break;
            }
            default:
                return false;
        }
    }
    return false;
}

bool FormatBuffer::append(std::string_view part) noexcept {
    if (part.size() >= sizeof characters - length)
        return false;
    part.copy(characters + length, part.size());
    length += part.size();
    return true;
}

template <typename Integer>
bool FormatBuffer::appendNumber(Integer value) noexcept {
    // The last character is kept for the terminator.
    const auto result = std::to_chars(characters + length, std::end(characters) - 1, value);
    length = static_cast<std::size_t>(result.ptr - characters);
    return result.ec == std::errc();
}

std::string asString(const char* format, ...) {
    FormatBuffer buffer;
    va_list values;
    va_start(values, format);
    const FormatBuffer::Outcome outcome = buffer.format(format, values);
    va_end(values);
    if (outcome == FormatBuffer::Outcome::tooLong)
        failure::raise("asString() : buffer overflow");
    return buffer.text();
}

std::ostream& operator<<(std::ostream& stream, std::exception& failure) {
    return stream << "Exception !" << std::endl << failure.what() << std::endl;
}

}  // namespace Sorvex
