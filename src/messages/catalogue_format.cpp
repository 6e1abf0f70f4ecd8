#include "messages/catalogue_format.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <variant>
#include <vector>

#include "messages/conversion.h"
#include "platform/platform.h"
#include "strings/formatting.h"

namespace Sorvex::catalogue {

namespace {

using platform::ValueType;

constexpr int longestText = blockSize - 1;

// A wider field can't be told from this one unless it holds a value of about this length. The
// runtime spends seconds on the widest.
constexpr int widest = 1000000;

using Value =
    std::variant<int, long, long long, double, long double, const char*, const wchar_t*, void*>;

/// The places of the values in the order in which conversions take them, numbered or not.
class Places {
public:
    std::size_t of(const Conversion::Slot& slot) {
        return slot.position > 0 ? slot.position - 1 : taken++;
    }

private:
    std::size_t taken = 0;
};

/// Finds the types of the values that a text takes.
///
/// @return false for a text that is not to be formatted: one with anything that the runtime does
///     not know, or with values that no list can hold. A number that is left out has a type that
///     the runtime could only guess.
bool findTypes(std::string_view text, std::vector<ValueType>& types) {
    Places places;
    bool takesInTurn = false;
    bool takesByNumber = false;
    Conversion conversion;
    for (std::size_t at = text.find('%'); at != std::string_view::npos;
         at = text.find('%', at + conversion.size)) {
        if (!parseConversion(text.substr(at), conversion))
            return false;
        for (const Conversion::Slot& slot :
             {conversion.widthSlot, conversion.precisionSlot, conversion.slot}) {
            if (slot.type == ValueType::none)
                continue;
            (slot.position > 0 ? takesByNumber : takesInTurn) = true;
            const std::size_t place = places.of(slot);
            // So many values can't all be named in a text of this size.
            if (place > text.size())
                return false;
            if (place >= types.size())
                types.resize(place + 1, ValueType::none);
            if (types[place] != ValueType::none && types[place] != slot.type)
                return false;
            types[place] = slot.type;
        }
    }
    return !(takesInTurn && takesByNumber) &&
           std::find(types.begin(), types.end(), ValueType::none) == types.end();
}

/// A copy of a list of values that can be handed on.
struct List {
    explicit List(va_list source) { va_copy(values, source); }
    ~List() { va_end(values); }
    va_list values;
};

void take(ValueType type, List& list, std::vector<Value>& taken) {
    const auto keep = [&](auto value) { taken.emplace_back(value); };
    switch (type) {
        case ValueType::none:
            return;
        case ValueType::integer:
            return keep(va_arg(list.values, int));
        case ValueType::longInteger:
            return keep(va_arg(list.values, long));
        case ValueType::longLong:
            return keep(va_arg(list.values, long long));
        case ValueType::real:
            return keep(va_arg(list.values, double));
        case ValueType::longReal:
            return keep(va_arg(list.values, long double));
        case ValueType::text:
            return keep(va_arg(list.values, const char*));
        case ValueType::wideText:
            return keep(va_arg(list.values, const wchar_t*));
        case ValueType::pointer:
            return keep(va_arg(list.values, void*));
    }
}

/// Collects a text up to the length that counts.
class Output {
public:
    explicit Output(char (&target)[blockSize]) : block(target) { block[0] = '\0'; }

    bool isFull() const { return length == longestText; }

    void append(std::string_view part) {
        length += part.copy(block + length, longestText - length);
        block[length] = '\0';
    }

    /// Formats one conversion by the runtime. False when the runtime fails; what it left counts.
    bool append(const Conversion& conversion, int width, int precision, const Value& value) {
        width = std::clamp(width, -widest, widest);
        precision = std::min(precision, widest);
        // No more of a string than can show: the runtime fails when it is longer than INT_MAX.
        const ValueType type = conversion.slot.type;
        const int most = std::max(std::abs(width), longestText) + MB_LEN_MAX;
        if ((type == ValueType::text || type == ValueType::wideText) &&
            (precision < 0 || precision > most))
            precision = most;
        std::string format = "%";
        format += conversion.flags;
        // A negative one brings the minus sign that it stands for.
        if (width != 0)
            format += std::to_string(width);
        if (precision >= 0)
            format.append(".").append(std::to_string(precision));
        format += conversion.length;
        format += conversion.kind;
        const int count =
            std::visit([&](auto passed) { return print(format.c_str(), passed); }, value);
        length = std::min(length + static_cast<std::size_t>(std::max(count, 0)),
                          std::size_t{longestText});
        return count >= 0;
    }

private:
    int print(const char* format, ...) {
        va_list values;
        va_start(values, format);
        const int count = std::vsnprintf(block + length, blockSize - length, format, values);
        va_end(values);
        block[longestText] = '\0';
        return count;
    }

    char* block;
    std::size_t length = 0;
};

/// Whether a conversion of a text that is referred to takes one of its two strings.
bool takesString(const Conversion& conversion) {
    return conversion.slot.type == ValueType::text && conversion.length.empty() &&
           conversion.widthSlot.type == ValueType::none &&
           conversion.precisionSlot.type == ValueType::none && conversion.slot.position <= 2 &&
           conversion.flags.find_first_not_of('-') == std::string_view::npos;
}

/// Writes a text, its conversions as told: write(conversion, spelling) is false at the end.
template <typename Write>
void writeText(Output& output, std::string_view text, Write write) {
    while (!text.empty() && !output.isFull()) {
        const std::size_t percent = std::min(text.find('%'), text.size());
        output.append(text.substr(0, percent));
        text.remove_prefix(percent);
        if (text.empty())
            return;
        Conversion conversion;
        if (!parseConversion(text, conversion)) {
            conversion.size = 1;
            output.append("%");
        } else if (conversion.kind == '%') {
            output.append("%");
        } else if (!write(conversion, text.substr(0, conversion.size))) {
            return;
        }
        text.remove_prefix(conversion.size);
    }
}

}  // namespace

const char* formatWithValues(char (&block)[blockSize], const std::string& text, va_list values) {
    const int errorToShow = errno;
    Output output(block);
    List list(values);
    FormatBuffer whole;
    if (FormatBuffer::isPlain(text.c_str()) && whole.formatPlain(text.c_str(), values)) {
        output.append(whole.text());
        return block;
    }
    std::vector<ValueType> types;
    if (!findTypes(text.c_str(), types)) {
        output.append(text.c_str());
        return block;
    }
    std::vector<Value> taken;
    taken.reserve(types.size());
    for (const ValueType type : types)
        take(type, list, taken);

    Places places;
    const auto numberOf = [&](const Conversion::Slot& slot, int given) {
        return slot.type == ValueType::none ? given : std::get<int>(taken[places.of(slot)]);
    };
    writeText(output, text.c_str(), [&](const Conversion& conversion, std::string_view) {
        const int width = numberOf(conversion.widthSlot, conversion.width);
        const int precision = numberOf(conversion.precisionSlot, conversion.precision);
        const Value value =
            conversion.slot.type == ValueType::none ? Value() : taken[places.of(conversion.slot)];
        errno = errorToShow;
        return output.append(conversion, width, precision, value);
    });
    return block;
}

std::string formatWithStrings(const std::string& text, std::string_view first,
                              std::string_view second) {
    char block[blockSize];
    Output output(block);
    const std::string strings[] = {std::string(first), std::string(second)};
    Places places;
    writeText(output, text.c_str(), [&](const Conversion& conversion, std::string_view spelling) {
        const std::size_t place = takesString(conversion) ? places.of(conversion.slot) : 2;
        if (place < 2)
            return output.append(conversion, conversion.width, conversion.precision,
                                 strings[place].c_str());
        output.append(spelling);
        return true;
    });
    return block;
}

}  // namespace Sorvex::catalogue
