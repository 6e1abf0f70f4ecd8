#include "messages/catalogue_format.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>

#include "messages/conversion.h"

namespace Sorvex::catalogue {

namespace {

using Length = Conversion::Length;

constexpr std::size_t longestText = blockSize - 1;

// A wider field can't be told from this one unless it holds a value of about this length. The
// runtime spends seconds on the widest.
constexpr std::size_t widest = 1000000;

/// A text as it is handed to the runtime: itself, as nearly always, or a copy that is put right.
class SafeFormat {
public:
    explicit SafeFormat(const char* source) : text(source) {
        std::size_t at = 0;
        while (at < text.size() && guaranteed < longestText) {
            const std::size_t percent = std::min(text.find('%', at), text.size());
            guaranteed += percent - at;
            keep(at, percent - at);
            at = percent;
            if (at < text.size())
                at += takeConversion(at);
        }
    }

    const char* c_str() const { return isCopied ? copy.c_str() : text.data(); }
    bool takesNumbersAsValues() const { return hasNumberValues; }
    bool hasPositions() const { return isNumbered; }

private:
    void keep(std::size_t at, std::size_t count) {
        if (isCopied)
            copy.append(text, at, count);
    }

    std::string& changed(std::size_t at) {
        if (!isCopied)
            copy.assign(text, 0, at);
        isCopied = true;
        return copy;
    }

    /// The conversions that nearly all texts consist of.
    static bool isPlain(std::string_view conversion) {
        constexpr std::string_view kinds = "sdiuxXc";
        return conversion.size() > 1 && kinds.find(conversion[1]) != std::string_view::npos;
    }

    /// Returns how many characters of the text it has dealt with.
    std::size_t takeConversion(std::size_t at) {
        if (isPlain(text.substr(at))) {
            keep(at, 2);
            return 2;
        }
        Conversion conversion;
        if (!parseConversion(text.substr(at), conversion)) {
            changed(at) += "%%";
            ++guaranteed;
            return 1;
        }
        hasNumberValues |= conversion.takesNumbersAsValues();
        isNumbered |= conversion.position > 0;
        guaranteed += conversion.shortest();
        if (conversion.width.value > widest || conversion.precision.value > widest)
            changed(at) += conversion.limitedTo(widest);
        else
            keep(at, conversion.size);
        // Nothing behind a full block can show, and a long rest could take long.
        if (guaranteed >= longestText && at + conversion.size < text.size() && !isCopied)
            changed(at + conversion.size);
        return conversion.size;
    }

    std::string_view text;
    std::string copy;
    std::size_t guaranteed = 0;  // characters that the text so far gives at the least
    bool isCopied = false;
    bool hasNumberValues = false;
    bool isNumbered = false;
};

/// A list of values on its way through the conversions of a format.
struct Values {
    va_list list;
};

template <typename Value>
void passOne(Values& values) {
    static_cast<void>(va_arg(values.list, Value));
}

bool isModest(const Conversion::Number& number, Values& values) {
    if (!number.isValue)
        return true;
    const std::int64_t value = va_arg(values.list, int);
    return value <= std::int64_t{widest} && -value <= std::int64_t{widest};
}

void passInteger(Length length, Values& values) {
    switch (length) {
        case Length::l:
            return passOne<long>(values);
        case Length::ll:
            return passOne<long long>(values);
        case Length::j:
            return passOne<std::intmax_t>(values);
        case Length::z:
            return passOne<std::size_t>(values);
        case Length::t:
            return passOne<std::ptrdiff_t>(values);
        default:
            return passOne<int>(values);
    }
}

void pass(const Conversion& conversion, Values& values) {
    switch (conversion.kind) {
        case '%':
            return;
        case 'p':
        case 's':
            return passOne<void*>(values);
        case 'c':
            return conversion.length == Length::l ? passOne<decltype(+std::wint_t{})>(values)
                                                  : passOne<int>(values);
        case 'd':
        case 'i':
        case 'o':
        case 'u':
        case 'x':
        case 'X':
            return passInteger(conversion.length, values);
        default:
            return conversion.length == Length::L ? passOne<long double>(values)
                                                  : passOne<double>(values);
    }
}

/// Whether all widths and precisions that come as values are within bounds.
bool numbersAreModest(std::string_view format, va_list start) {
    Values values;
    va_copy(values.list, start);
    bool areModest = true;
    Conversion conversion;
    for (std::size_t at = format.find('%'); areModest && at != std::string_view::npos;
         at = format.find('%', at + conversion.size)) {
        parseConversion(format.substr(at), conversion);
        areModest = isModest(conversion.width, values) && isModest(conversion.precision, values);
        if (areModest)
            pass(conversion, values);
    }
    va_end(values.list);
    return areModest;
}

std::string_view copyOf(const char* text, char (&block)[blockSize]) {
    const std::size_t length = std::min(std::strlen(text), longestText);
    std::memcpy(block, text, length);
    return {block, length};
}

/// Collects a text up to the length that counts.
class LimitedText {
public:
    void append(std::string_view part) { text.append(part, 0, longestText - text.size()); }
    void pad(std::size_t count) { text.append(std::min(count, longestText - text.size()), ' '); }
    bool isFull() const { return text.size() == longestText; }
    std::string take() { return std::move(text); }

private:
    std::string text;
};

/// Whether a conversion of a text that is referred to takes one of its two strings.
bool takesString(const Conversion& conversion) {
    return conversion.kind == 's' && conversion.length == Length::none &&
           !conversion.takesNumbersAsValues() && conversion.position <= 2 &&
           conversion.flags.find_first_not_of('-') == std::string_view::npos;
}

void appendString(LimitedText& result, const Conversion& conversion, std::string_view string) {
    if (conversion.precision.isGiven)
        string = string.substr(0, conversion.precision.value);
    const std::size_t padding =
        conversion.width.value > string.size() ? conversion.width.value - string.size() : 0;
    if (conversion.flags.empty())
        result.pad(padding);
    result.append(string);
    if (!conversion.flags.empty())
        result.pad(padding);
}

}  // namespace

std::string_view formatWithValues(char (&block)[blockSize], const std::string& text,
                                  va_list values) {
    const SafeFormat format(text.c_str());
    if (format.takesNumbersAsValues() &&
        (format.hasPositions() || !numbersAreModest(format.c_str(), values)))
        return copyOf(text.c_str(), block);
    if (std::vsnprintf(block, sizeof block, format.c_str(), values) < 0)
        return {};
    return block;
}

std::string formatWithStrings(const std::string& text, std::string_view first,
                              std::string_view second) {
    LimitedText result;
    std::size_t taken = 0;
    for (std::string_view rest = text.c_str(); !rest.empty() && !result.isFull();) {
        const std::size_t percent = std::min(rest.find('%'), rest.size());
        result.append(rest.substr(0, percent));
        rest.remove_prefix(percent);
        Conversion conversion;
        const bool isConversion = !rest.empty() && parseConversion(rest, conversion);
        const std::size_t size =
            isConversion ? conversion.size : std::min<std::size_t>(1, rest.size());
        if (isConversion && conversion.kind == '%')
            result.append("%");
        else if (isConversion && takesString(conversion) &&
                 (conversion.position > 0 || taken < 2)) {
            const std::size_t number = conversion.position > 0 ? conversion.position : ++taken;
            appendString(result, conversion, number == 1 ? first : second);
        } else {
            result.append(rest.substr(0, size));
        }
        rest.remove_prefix(size);
    }
    return result.take();
}

}  // namespace Sorvex::catalogue
