#include <algorithm>
#include <bit>
#include <cerrno>
#include <cfenv>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "support/bstring_printer.h"

namespace {

using Sorvex::BString;

constexpr int lowest = std::numeric_limits<int>::min();
constexpr int highest = std::numeric_limits<int>::max();
constexpr std::uint32_t most = 0xFFFFFFFF;

TEST(BStringNumbers, AreWrittenInDecimalOfThirtyTwoBits) {
    const auto wide = static_cast<unsigned long>(0x1'8000'0001ULL);
    EXPECT_EQ(BString(lowest), "-2147483648");
    EXPECT_EQ(BString(4294967295U), "4294967295");
    EXPECT_EQ(BString(static_cast<long>(wide)), "-2147483647");
    EXPECT_EQ(BString(wide), "2147483649");
}

TEST(BStringNumbers, AreReadAsThirtyTwoBitsHold) {
    EXPECT_EQ(BString(" \t\r\n\v\f-7").asInt(), -7);
    EXPECT_EQ(BString("1\0002", 3).asInt(), 1);
    EXPECT_EQ(BString("-2147483649").asLong(), lowest);
    EXPECT_EQ(BString("-4294967295").asUnsigned(), 1U);
    for (const int base : {-1, 1, 37}) {
        errno = 0;
        EXPECT_EQ(BString("1").asUnsigned(base), 0U);
        EXPECT_EQ(errno, EINVAL);
    }
}

void expectReadAsTheRuntimeDoes(const std::string& text) {
    SCOPED_TRACE(text);
    const BString number(text);
    const long long whole = std::strtoll(text.c_str(), nullptr, 10);
    errno = 0;
    EXPECT_EQ(number.asInt(), std::clamp<long long>(whole, lowest, highest));
    EXPECT_EQ(errno == ERANGE, whole < lowest || whole > highest);
    for (const int base : {0, 2, 8, 10, 16, 36}) {
        const long long wide = std::strtoll(text.c_str(), nullptr, base);
        const bool fits = wide <= most && wide >= -std::int64_t{most};
        errno = 0;
        EXPECT_EQ(number.asUnsigned(base), fits ? static_cast<std::uint32_t>(wide) : most) << base;
        EXPECT_EQ(errno, fits ? 0 : ERANGE);
    }
    errno = 0;
    const double expected = std::strtod(text.c_str(), nullptr);
    const int expectedError = std::exchange(errno, 0);
    const double actual = number.asDouble();
    EXPECT_EQ(errno, expectedError);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(actual), std::bit_cast<std::uint64_t>(expected));
}

/// Numbers of more characters take another form.
void expectWrittenAsTheRuntimeDoes(double value) {
    char text[512];
    if (std::snprintf(text, sizeof text, "%f", value) <= 31) {
        EXPECT_EQ(BString(value), text);
    }
}

TEST(BStringNumbers, AgreeWithTheRuntimeOnAwkwardOnes) {
    std::istringstream texts(
        "- + +5abc 0000000000000000000012 2147483647 2147483648 -2147483648 -2147483649 4294967295 "
        "4294967296 -4294967295 -4294967296 18446744073709551617 0x1f 0xFFffFFff 017 08 zZ 102 "
        "\xE9 "
        ". -. -1.5 +1.5 +-1 -+1 1.5.5 -.5 5. 1e5 1e 1e+ 1E-3x .e1 1e400 -1e400 1e-400 4.9e-324 "
        "2e-324 2.2250738585072011e-308 1.7976931348623157e308 0x1.8p1 0x 0xg -0x10 -INFinity "
        "infin "
        "nan -nan(12) 1,5 0 -0 000.1 9007199254740993 1e23 \xA0-1 123456789012345678901234567890 "
        "0.1000000000000000055511151231257827021181583404541015625 "
        // Halves of a millionth and their neighbours, and the ends of whole numbers.
        "0.5e-6 1.5e-6 2.5e-6 0.4999999e-6 -1e-9 1e-300 0.9999995 0.99999949999 0.0078125 "
        "0.015625 0.007812559604644775390625 123456.7890625 999999.9999995 4503599627370495.5 "
        "4503599627370496.5 9223372036854775808 18446744073709549568 18446744073709551616 1e22 "
        "9.9999999999999e22 -9.9999999999999e22 3.0000005");
    for (std::string text; texts >> text;) {
        expectReadAsTheRuntimeDoes(text);
        expectWrittenAsTheRuntimeDoes(std::strtod(text.c_str(), nullptr));
    }
    EXPECT_EQ(BString(" \n\t1.25e2").asDouble(), 125);
    EXPECT_EQ(BString("1.5\0007", 5).asDouble(), 1.5);
    EXPECT_EQ(BString("0.1").asFloat(), 0.1F);
}

TEST(BStringNumbers, AgreeWithTheRuntimeOnRandomOnes) {
    std::mt19937_64 random(20240229);
    for (int i = 0; i < 20000 && !HasFailure(); ++i) {
        // Magnitudes about the range of the six decimals, then all bit patterns.
        double value = std::ldexp(static_cast<double>(random()), i % 130 - 110);
        if (i % 4 == 0)
            value = std::bit_cast<double>(std::uint64_t{random()});
        expectWrittenAsTheRuntimeDoes(value);
        char text[64];
        std::snprintf(text, sizeof text, i % 2 == 0 ? "%.17g" : "%.15e", value);
        expectReadAsTheRuntimeDoes(text);
    }
}

TEST(BStringNumbers, ComeBackFromTheExponentFormThatLongOnesTake) {
    EXPECT_EQ(BString(-1e22), "-10000000000000000000000.000000");
    EXPECT_EQ(BString(-2e23), "-2e+23");
    EXPECT_EQ(BString(-DBL_MAX), "-1.7976931348623157e+308");
    for (double value = 1e23; std::isfinite(value); value *= -1.7) {
        EXPECT_LE(BString(value).size(), 31U);
        EXPECT_EQ(BString(value).asDouble(), value);
    }
}

TEST(BStringNumbers, FollowTheRoundingModeAsTheRuntimeDoes) {
    for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        ASSERT_EQ(std::fesetround(mode), 0);
        expectWrittenAsTheRuntimeDoes(2.0 / 3);
        expectReadAsTheRuntimeDoes("0.1");
        std::fesetround(FE_TONEAREST);
    }
}

}  // namespace
