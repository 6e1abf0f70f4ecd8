#include "messages/conversion.h"

#include <algorithm>

namespace Sorvex::catalogue {

namespace {

using Length = Conversion::Length;

constexpr std::size_t mostPositions = 99;
constexpr std::size_t largestNumber = 999999999;

bool isOneOf(char character, std::string_view set) {
    return set.find(character) != std::string_view::npos;
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/// Reads a text from its beginning. Behind the end it sees NUL characters.
class Reader {
public:
    explicit Reader(std::string_view source) : text(source) {}

    char peek(std::size_t ahead = 0) const {
        return at + ahead < text.size() ? text[at + ahead] : '\0';
    }

    bool skip(char character) {
        if (peek() != character || at >= text.size())
            return false;
        ++at;
        return true;
    }

    std::string_view take(std::size_t count) {
        at += count;
        return text.substr(at - count, count);
    }

    std::string_view run(std::string_view set) {
        std::size_t count = 0;
        while (at + count < text.size() && isOneOf(text[at + count], set))
            ++count;
        return take(count);
    }

    std::size_t number() {
        std::size_t value = 0;
        for (const char digit : run("0123456789"))
            value = value > largestNumber / 10 ? largestNumber
                                               : value * 10 + static_cast<std::size_t>(digit - '0');
        return value;
    }

    std::size_t position() const { return at; }
    void returnTo(std::size_t position) { at = position; }

private:
    std::string_view text;
    std::size_t at = 0;
};

bool parsePosition(Reader& reader, Conversion& conversion) {
    const std::size_t start = reader.position();
    if (!isDigit(reader.peek()) || reader.peek() == '0')
        return true;
    const std::size_t number = reader.number();
    if (!reader.skip('$')) {
        reader.returnTo(start);
        return true;
    }
    conversion.position = number;
    return number <= mostPositions;
}

void parseNumber(Reader& reader, Conversion::Number& number) {
    number.isValue = reader.skip('*');
    number.isGiven = number.isValue || isDigit(reader.peek());
    if (!number.isValue)
        number.value = reader.number();
}

void parseLength(Reader& reader, Conversion& conversion) {
    static constexpr struct {
        std::string_view text;
        Length length;
    } lengths[] = {{"hh", Length::hh}, {"h", Length::h}, {"ll", Length::ll}, {"l", Length::l},
                   {"j", Length::j},   {"z", Length::z}, {"t", Length::t},   {"L", Length::L}};
    for (const auto& candidate : lengths) {
        if (reader.peek() == candidate.text[0] &&
            (candidate.text.size() == 1 || reader.peek(1) == candidate.text[1])) {
            conversion.length = candidate.length;
            conversion.lengthText = reader.take(candidate.text.size());
            return;
        }
    }
}

bool isDefined(const Conversion& conversion) {
    const Length length = conversion.length;
    if (isOneOf(conversion.kind, "diouxX"))
        return length != Length::L;
    if (isOneOf(conversion.kind, "aAeEfFgG"))
        return length == Length::none || length == Length::l || length == Length::L;
    if (isOneOf(conversion.kind, "cs"))
        return length == Length::none || length == Length::l;
    if (conversion.kind == '%')
        return conversion.size == 2;
    return conversion.kind == 'p' && length == Length::none;
}

void append(std::string& text, const Conversion::Number& number, std::size_t limit) {
    if (number.isValue)
        text += '*';
    else if (number.isGiven)
        text += std::to_string(std::min(number.value, limit));
}

}  // namespace

std::size_t Conversion::shortest() const {
    if (kind == 's')
        return width.value;
    if (isOneOf(kind, "cp%"))
        return std::max<std::size_t>(width.value, 1);
    // An integer 0 with the precision 0 gives nothing.
    return std::max(width.value, precision.isGiven ? precision.value : 1);
}

std::string Conversion::limitedTo(std::size_t limit) const {
    std::string text = "%";
    if (position > 0)
        text += std::to_string(position) + '$';
    text += flags;
    append(text, width, limit);
    if (precision.isGiven) {
        text += '.';
        append(text, precision, limit);
    }
    text += lengthText;
    return text += kind;
}

bool parseConversion(std::string_view text, Conversion& conversion) {
    conversion = Conversion{};
    Reader reader(text);
    reader.skip('%');
    if (!parsePosition(reader, conversion))
        return false;
    conversion.flags = reader.run("-+ #0'");
    parseNumber(reader, conversion.width);
    if (reader.skip('.')) {
        parseNumber(reader, conversion.precision);
        conversion.precision.isGiven = true;
    }
    parseLength(reader, conversion);
    conversion.kind = reader.peek();
    conversion.size = reader.position() + 1;
    if (conversion.position > 0 && conversion.takesNumbersAsValues())
        return false;
    return conversion.size <= text.size() && isDefined(conversion);
}

}  // namespace Sorvex::catalogue
