#include <algorithm>
#include <bit>
#include <cerrno>
#include <cfloat>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include <sorvex/bstring.h>

#include "platform/platform.h"
#include "platform/width.h"

namespace Sorvex {

namespace {

/// Room for any whole number of 32 bits. A string of this length is made without an allocation, and
/// its digits are written where they stay.
constexpr std::string_view wholeNumberRoom = "-2147483648";

template <typename Integer>
void writeWholeNumber(std::string& text, Integer value) noexcept {
    char* const first = text.data();
    const char* const last = std::to_chars(first, first + wholeNumberRoom.size(), value).ptr;
    text.resize(static_cast<std::size_t>(last - first));
}

/// The text of a floating number, of at most 31 characters.
class NumberText {
public:
    explicit NumberText(double value);

    std::string_view view() const noexcept { return {characters, length}; }

private:
    bool formatWholeArithmetic(double value) noexcept;
    void formatExponentForm(double value);

    char characters[32];
    std::size_t length = 0;
};

bool fullStopIsDecimalPoint() noexcept {
    const char* point = platform::decimalPoint();
    return point[0] == '.' && point[1] == '\0';
}

// The runtime's conversions follow the rounding mode of the thread; the fast ways below round to
// the nearest. Adding the tiniest number shows a mode that rounds up, taking it away the others.
bool roundsToNearest() noexcept {
    static const volatile float smallest = FLT_MIN;
    const float tiny = smallest;
    return 1.0F + tiny == 1.0F - tiny;
}

/// numerator / 2^shift in millionths, rounded to the nearest, ties to even.
///
/// @param numerator less than 2^shift, and less than 2^53
/// @return 0 to 1000000
std::uint32_t millionths(std::uint64_t numerator, unsigned int shift) noexcept {
    constexpr unsigned int lowBits = 32;
    constexpr std::uint64_t lowMask = 0xFFFFFFFF;
    constexpr std::uint64_t million = 1'000'000;
    // The product is below 2^73, so with these it can't reach a half.
    if (shift > 73)
        return 0;
    // The halves of the product below are cut behind their low part, for any shift above 32.
    if (shift <= lowBits) {
        numerator <<= lowBits + 1 - shift;
        shift = lowBits + 1;
    }
    const std::uint64_t low = (numerator & lowMask) * million;
    const std::uint64_t high = (numerator >> lowBits) * million + (low >> lowBits);
    const unsigned int highShift = shift - lowBits;
    const auto quotient = static_cast<std::uint32_t>(high >> highShift);
    const std::uint64_t half = std::uint64_t{1} << (highShift - 1);
    const std::uint64_t rest = high & (half * 2 - 1);
    const bool exactHalf = rest == half && (low & lowMask) == 0;
    const bool up = exactHalf ? quotient % 2 == 1 : rest >= half;
    return quotient + (up ? 1 : 0);
}

NumberText::NumberText(double value) {
    if (fullStopIsDecimalPoint() && roundsToNearest() && formatWholeArithmetic(value))
        return;
    const int count = std::snprintf(characters, sizeof characters, "%f", value);
    if (count >= 0 && static_cast<std::size_t>(count) < sizeof characters)
        length = static_cast<std::size_t>(count);
    else
        formatExponentForm(value);
}

/// Works out the six decimals in whole numbers. False for a magnitude of 2^64 or more, and for what
/// is no number.
bool NumberText::formatWholeArithmetic(double value) noexcept {
    constexpr unsigned int significandBits = 52;
    constexpr unsigned int exponentMask = 0x7FF;
    constexpr int exponentOfLastBit = 1075;
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const auto biasedExponent = static_cast<unsigned int>(bits >> significandBits) & exponentMask;
    std::uint64_t significand = bits & ((std::uint64_t{1} << significandBits) - 1);
    if (biasedExponent != 0)
        significand |= std::uint64_t{1} << significandBits;
    // The value is significand * 2^exponent; denormal numbers keep the least exponent.
    const int exponent = std::max(static_cast<int>(biasedExponent), 1) - exponentOfLastBit;

    std::uint64_t whole = 0;
    std::uint32_t decimals = 0;
    if (exponent > 11)
        return false;
    if (exponent >= 0) {
        whole = significand << exponent;
    } else {
        const auto shift = static_cast<unsigned int>(-exponent);
        if (shift <= significandBits) {
            whole = significand >> shift;
            significand &= (std::uint64_t{1} << shift) - 1;
        }
        decimals = millionths(significand, shift);
        if (decimals == 1'000'000) {
            ++whole;
            decimals = 0;
        }
    }

    char* next = characters;
    if (bits >> 63 != 0)
        *next++ = '-';
    next = std::to_chars(next, std::end(characters), whole).ptr;
    *next++ = '.';
    for (int place = 5; place >= 0; --place) {
        next[place] = static_cast<char>('0' + decimals % 10);
        decimals /= 10;
    }
    length = static_cast<std::size_t>(next + 6 - characters);
    return true;
}

/// The shortest form that reads back as the same number, with the locale's decimal point.
void NumberText::formatExponentForm(double value) {
    char* const last =
        std::to_chars(characters, std::end(characters), value, std::chars_format::scientific).ptr;
    std::string text(characters, last);
    const std::size_t point = text.find('.');
    if (point != std::string::npos)
        text.replace(point, 1, platform::decimalPoint());
    length = std::min(text.size(), sizeof characters);
    text.copy(characters, length);
}

constexpr bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

/// The value of a digit of any base up to 36; 36 for another character.
constexpr unsigned int digitValue(char c) noexcept {
    if (isDigit(c))
        return static_cast<unsigned int>(c - '0');
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'z' ? static_cast<unsigned int>(lower - 'a') + 10 : 36;
}

/// Passes over white space. What is white among the characters beyond ASCII is for the locale to
/// say.
const char* skipSpace(const char* text) noexcept {
    for (;; ++text) {
        const char c = *text;
        if (c == ' ' || (c >= '\t' && c <= '\r'))
            continue;
        if (static_cast<signed char>(c) >= 0 || !platform::Space()(c))
            return text;
    }
}

/// Passes over one sign, and tells whether it is a minus sign.
bool takeSign(const char*& text) noexcept {
    const bool negative = *text == '-';
    if (negative || *text == '+')
        ++text;
    return negative;
}

std::int32_t readSigned(const char* text) noexcept {
    using Limits = std::numeric_limits<std::int32_t>;
    const char* next = skipSpace(text);
    const bool negative = takeSign(next);
    const std::int64_t limit = negative ? -std::int64_t{Limits::min()} : Limits::max();
    std::int64_t magnitude = 0;
    for (; isDigit(*next); ++next) {
        magnitude = magnitude * 10 + (*next - '0');
        if (magnitude > limit) {
            errno = ERANGE;
            return negative ? Limits::min() : Limits::max();
        }
    }
    return static_cast<std::int32_t>(negative ? -magnitude : magnitude);
}

bool hasHexadecimalPrefix(const char* text) noexcept {
    return text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
}

std::uint32_t readUnsigned(const char* text, int base) noexcept {
    if (base < 0 || base == 1 || base > 36) {
        errno = EINVAL;
        return 0;
    }
    const char* next = skipSpace(text);
    const bool negative = takeSign(next);
    // A prefix with no digit behind it reads as the digit 0, so passing over it gives 0 as well.
    const bool prefixed = hasHexadecimalPrefix(next);
    if (base == 0)
        base = prefixed ? 16 : *next == '0' ? 8 : 10;
    if (base == 16 && prefixed)
        next += 2;

    const auto radix = static_cast<unsigned int>(base);
    std::uint64_t magnitude = 0;
    for (unsigned int digit = digitValue(*next); digit < radix; digit = digitValue(*++next)) {
        magnitude = magnitude * radix + digit;
        if (magnitude > std::numeric_limits<std::uint32_t>::max()) {
            errno = ERANGE;
            return std::numeric_limits<std::uint32_t>::max();
        }
    }
    return asUnsigned32(negative ? 0 - magnitude : magnitude);
}

/// Where doubles are computed with a greater precision than they are stored, the standard library's
/// fast conversion rounds twice.
constexpr bool convertsExactly = FLT_EVAL_METHOD == 0;

/// Whether a plain decimal number begins here, which the locale and the runtime's other notations
/// have no part in.
bool beginsPlainDecimal(const char* text) noexcept {
    if (*text == '.')
        return isDigit(text[1]);
    return isDigit(*text) && !hasHexadecimalPrefix(text);
}

}  // namespace

BString::BString(int value) : std::string(wholeNumberRoom) {
    writeWholeNumber(*this, std::int32_t{value});
}

BString::BString(unsigned int value) : std::string(wholeNumberRoom) {
    writeWholeNumber(*this, std::uint32_t{value});
}

BString::BString(long value) : std::string(wholeNumberRoom) {
    writeWholeNumber(*this, asSigned32(value));
}

BString::BString(unsigned long value) : std::string(wholeNumberRoom) {
    writeWholeNumber(*this, asUnsigned32(value));
}

BString::BString(double value) : std::string(NumberText(value).view()) {}

int BString::asInt() const {
    return readSigned(c_str());
}

long BString::asLong() const {
    return readSigned(c_str());
}

float BString::asFloat() const {
    return static_cast<float>(asDouble());
}

double BString::asDouble() const {
    const char* next = skipSpace(c_str());
    const bool negative = takeSign(next);
    if (convertsExactly && beginsPlainDecimal(next) && fullStopIsDecimalPoint() &&
        roundsToNearest()) {
        double magnitude = 0;
        const auto result = std::from_chars(next, c_str() + size(), magnitude);
        // Numbers out of range and the smallest ones are the runtime's, which sets errno for them.
        if (result.ec == std::errc() && magnitude >= DBL_MIN)
            return negative ? -magnitude : magnitude;
    }
    return std::strtod(c_str(), nullptr);
}

unsigned long BString::asUnsigned(int base) const {
    return readUnsigned(c_str(), base);
}

}  // namespace Sorvex
