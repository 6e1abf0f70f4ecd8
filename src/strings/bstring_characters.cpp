#include <sorvex/bstring.h>

#include "platform/platform.h"
#include "strings/byte_blocks.h"
#include "strings/text_view.h"

namespace Sorvex {

namespace {

/// Changes the case of 26 letters by a comparison, which becomes vector code.
class AsciiCase {
public:
    explicit constexpr AsciiCase(char firstLetter) noexcept : first(firstLetter) {}

    constexpr char operator()(char c) const noexcept {
        const bool letter = static_cast<unsigned char>(c - first) < 26;
        return static_cast<char>(c ^ (letter ? 0x20 : 0));
    }

private:
    char first;
};

/// Whether the locale changes the case of the ASCII letters and of nothing else.
template <typename CaseMap>
bool isAsciiOnly(const CaseMap& map, const AsciiCase& ascii) noexcept {
    bool same = true;
    for (int value = 0; value < 256; ++value) {
        const char c = static_cast<char>(value);
        same &= map(c) == ascii(c);
    }
    return same;
}

/// Asking about all characters pays off from about this length.
constexpr std::size_t longText = 1024;

template <typename CaseMap>
void changeCase(std::string& text, const CaseMap& map, const AsciiCase& ascii) {
    if (text.size() >= longText && isAsciiOnly(map, ascii))
        transformCharacters(text, ascii);
    else
        transformCharacters(text, map);
}

bool allPrintable(std::string_view text) {
    return holdsForAll(text, platform::Printable());
}

/// In every locale the digits are these ten.
struct Digits {
    bool operator()(char c) const noexcept { return static_cast<unsigned char>(c - '0') < 10; }

    ByteVector operator()(const ByteVector& characters) const noexcept {
        return characters - ByteVector('0') < ByteVector(char{10});
    }
};

bool allDigits(std::string_view text) {
    return holdsForAll(text, Digits());
}

bool isDecimal(std::string_view text) {
    if (!text.empty() && text.front() == '-')
        text.remove_prefix(1);
    const std::size_t point = text.find('.');
    if (point == std::string_view::npos)
        return allDigits(text);
    // A second full stop is no digit, so the part behind the first one refuses it.
    return allDigits(text.substr(0, point)) && allDigits(text.substr(point + 1));
}

}  // namespace

BString& BString::upperCase() {
    changeCase(*this, platform::UpperCase(), AsciiCase('a'));
    return *this;
}

BString BString::upperCase(const std::string& text) {
    return upperCase(text.c_str());
}

BString BString::upperCase(const char* text) {
    BString result(text);
    result.upperCase();
    return result;
}

BString& BString::lowerCase() {
    changeCase(*this, platform::LowerCase(), AsciiCase('A'));
    return *this;
}

BString BString::lowerCase(const std::string& text) {
    return lowerCase(text.c_str());
}

BString BString::lowerCase(const char* text) {
    BString result(text);
    result.lowerCase();
    return result;
}

bool BString::isPrintable() const {
    return allPrintable(*this);
}

bool BString::isPrintable(const std::string& text) {
    return allPrintable(textView(text));
}

bool BString::isPrintable(const char* text) {
    return allPrintable(text);
}

bool BString::isDigits() const {
    return allDigits(*this);
}

bool BString::isDigits(const std::string& text) {
    return allDigits(textView(text));
}

bool BString::isDigits(const char* text) {
    return allDigits(text);
}

bool BString::isSigned() const {
    return !empty() && front() == '-' ? allDigits(textView(*this).substr(1)) : allDigits(*this);
}

bool BString::isSigned(const std::string& text) {
    return isSigned(text.c_str());
}

bool BString::isSigned(const char* text) {
    return allDigits(*text == '-' ? text + 1 : text);
}

bool BString::isDouble() const {
    return isDecimal(textView(*this));
}

bool BString::isDouble(const std::string& text) {
    return isDecimal(textView(text));
}

bool BString::isDouble(const char* text) {
    return isDecimal(text);
}

}  // namespace Sorvex
