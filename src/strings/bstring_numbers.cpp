#include <cerrno>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

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

bool fullStopIsDecimalPoint() noexcept {
    const char* point = platform::decimalPoint();
    return point[0] == '.' && point[1] == '\0';
}

// The runtime's conversions follow the rounding mode of the thread; the standard library's, which
// are faster, round to the nearest. Adding the tiniest number shows a mode that rounds up, taking
// it away the others.
bool roundsToNearest() noexcept {
    static const volatile float smallest = FLT_MIN;
    const float tiny = smallest;
    return 1.0F + tiny == 1.0F - tiny;
}

/// The text of a floating number, of at most 31 characters.
class NumberText {
public:
    explicit NumberText(double value) {
        // The runtimes name infinities and what is no number each in their own way.
        const bool standard = std::isfinite(value) && fullStopIsDecimalPoint() && roundsToNearest();
        if (standard ? !formatByStandard(value) : !formatByRuntime(value))
            formatExponentForm(value);
    }

    std::string_view view() const noexcept { return {characters, length}; }

private:
    bool formatByStandard(double value) noexcept {
        constexpr int decimals = 6;
        const auto result = std::to_chars(characters, std::end(characters), value,
                                          std::chars_format::fixed, decimals);
        length = static_cast<std::size_t>(result.ptr - characters);
        return result.ec == std::errc();
    }

    bool formatByRuntime(double value) noexcept {
        char text[sizeof characters + 1];
        const int count = std::snprintf(text, sizeof text, "%f", value);
        if (count < 0 || static_cast<std::size_t>(count) > sizeof characters)
            return false;
        length = std::string_view(text).copy(characters, sizeof characters);
        return true;
    }

    /// The shortest form that reads back as the same number, with the locale's decimal point.
    void formatExponentForm(double value) {
        char* const last =
            std::to_chars(characters, std::end(characters), value, std::chars_format::scientific)
                .ptr;
        std::string text(characters, last);
        const std::size_t point = text.find('.');
        if (point != std::string::npos)
            text.replace(point, 1, platform::decimalPoint());
        length = text.copy(characters, sizeof characters);
    }

    char characters[31];
    std::size_t length = 0;
};

constexpr bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
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

/// The number that some digits stand for; what 64 bits can't hold is the largest that they can.
std::uint64_t readMagnitude(const char* digits, const std::string& text, int base) noexcept {
    std::uint64_t magnitude = 0;
    const auto result = std::from_chars(digits, text.c_str() + text.size(), magnitude, base);
    return result.ec == std::errc::result_out_of_range ? UINT64_MAX : magnitude;
}

std::int32_t readSigned(const std::string& text) noexcept {
    const char* next = skipSpace(text.c_str());
    const bool negative = takeSign(next);
    const std::uint64_t limit = negative ? 0x80000000U : 0x7FFFFFFFU;
    std::uint64_t magnitude = readMagnitude(next, text, 10);
    if (magnitude > limit) {
        errno = ERANGE;
        magnitude = limit;
    }
    return asSigned32(negative ? 0 - magnitude : magnitude);
}

bool hasHexadecimalPrefix(const char* text) noexcept {
    return text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
}

std::uint32_t readUnsigned(const std::string& text, int base) noexcept {
    if (base < 0 || base == 1 || base > 36) {
        errno = EINVAL;
        return 0;
    }
    const char* next = skipSpace(text.c_str());
    const bool negative = takeSign(next);
    // A prefix with no digit behind it reads as the digit 0, so passing over it gives 0 as well.
    const bool prefixed = hasHexadecimalPrefix(next);
    if (base == 0)
        base = prefixed ? 16 : *next == '0' ? 8 : 10;
    if (base == 16 && prefixed)
        next += 2;

    const std::uint64_t magnitude = readMagnitude(next, text, base);
    if (magnitude > UINT32_MAX) {
        errno = ERANGE;
        return UINT32_MAX;
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
    return readSigned(*this);
}

long BString::asLong() const {
    return readSigned(*this);
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
    return readUnsigned(*this, base);
}

}  // namespace Sorvex
