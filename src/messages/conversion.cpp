#include "messages/conversion.h"

namespace Sorvex::catalogue {

namespace {

using platform::ValueType;

constexpr int largestNumber = 999999999;

/// Reads a text from its beginning.
class Reader {
public:
    explicit Reader(std::string_view source) : rest(source) {}

    bool skip(char character) {
        const bool isThere = rest.starts_with(character);
        rest.remove_prefix(isThere ? 1 : 0);
        return isThere;
    }

    std::string_view run(std::string_view set) {
        const std::string_view found = rest.substr(0, rest.find_first_not_of(set));
        rest.remove_prefix(found.size());
        return found;
    }

    int number() {
        int value = 0;
        for (const char digit : run("0123456789"))
            value = value > largestNumber / 10 ? largestNumber : value * 10 + (digit - '0');
        return value;
    }

    /// A number with $ behind it; 0 where none stands.
    std::size_t position() {
        const std::string_view start = rest;
        const int value = platform::conversionsHaveNumbers ? number() : 0;
        if (value > 0 && skip('$'))
            return static_cast<std::size_t>(value);
        rest = start;
        return 0;
    }

    std::string_view rest;
};

/// A width or precision: a number of the text, or one that comes as an int among the values.
int parseNumber(Reader& reader, Conversion::Slot& slot) {
    if (!reader.skip('*'))
        return reader.number();
    slot = {ValueType::integer, reader.position()};
    return 0;
}

bool parseKind(Reader& reader, Conversion& conversion) {
    for (const platform::ConversionRule& rule : platform::conversionRules) {
        const std::string_view rest = reader.rest;
        const std::size_t length = rule.length.size();
        if (rest.size() > length && rest.starts_with(rule.length) &&
            rule.kinds.find(rest[length]) != std::string_view::npos) {
            conversion.length = rule.handed;
            conversion.kind = rest[length];
            conversion.slot.type = rule.value;
            reader.rest.remove_prefix(length + 1);
            return true;
        }
    }
    return false;
}

}  // namespace

bool parseConversion(std::string_view text, Conversion& conversion) {
    conversion = Conversion{};
    Reader reader(text);
    reader.skip('%');
    conversion.slot.position = reader.position();
    conversion.flags = reader.run(platform::conversionFlags);
    conversion.width = parseNumber(reader, conversion.widthSlot);
    if (reader.skip('.'))
        conversion.precision = parseNumber(reader, conversion.precisionSlot);
    if (!parseKind(reader, conversion))
        return false;
    conversion.size = text.size() - reader.rest.size();
    if (conversion.kind == '%')
        return conversion.size == 2;
    return conversion.slot.type != ValueType::none || conversion.slot.position == 0;
}

}  // namespace Sorvex::catalogue
