#include <cstdarg>
#include <utility>

#include <sorvex/bstring.h>

#include "strings/failure.h"
#include "strings/formatting.h"
#include "strings/text_view.h"

namespace Sorvex {

BString::BString(const std::allocator<char>& allocator) noexcept : std::string(allocator) {}

BString::BString(const BString& source) : std::string(textView(source)) {}

// Moving keeps vectors from copying their elements when they grow. A defaulted one would carry NUL
// characters along.
BString::BString(BString&& source) noexcept : std::string(std::move(source)) {
    cutToTextView(*this);
}

BString::BString(const std::string& source) : std::string(textView(source)) {}

BString::BString(std::string&& source) noexcept : std::string(std::move(source)) {
    cutToTextView(*this);
}

BString::BString(const std::string& source, size_type pos, size_type count,
                 const std::allocator<char>& allocator)
    : std::string(textView(source).substr(pos, count), allocator) {}

BString::BString(const char* text, size_type count, const std::allocator<char>& allocator)
    : std::string(text, count, allocator) {}

BString::BString(const char* text, const std::allocator<char>& allocator)
    : std::string(text, allocator) {}

BString::BString(size_type count, char c, const std::allocator<char>& allocator)
    : std::string(count, c, allocator) {}

BString::BString(const char* first, const char* last, const std::allocator<char>& allocator)
    : std::string(first, last, allocator) {}

// A text that is its own source is cut, so the usual test for one would be wrong.
BString& BString::operator=(const BString& source) {
    assign(source.data(), textView(source).size());
    return *this;
}

BString BString::asString(const char* format, ...) {
    FormatBuffer buffer;
    va_list values;
    va_start(values, format);
    const FormatBuffer::Outcome outcome = buffer.format(format, values);
    va_end(values);
    if (outcome != FormatBuffer::Outcome::whole)
        failure::raise("BString::asString() : buffer overflow");
    // Made in the caller's place: a named result could be moved out, and lose its NUL characters.
    return BString(buffer.text(), buffer.size());
}

}  // namespace Sorvex
