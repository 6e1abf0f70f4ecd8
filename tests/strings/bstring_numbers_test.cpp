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
#include <string>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "support/bstring_printer.h"

namespace {

using Sorvex::BString;
using namespace std::string_literals;

TEST(BStringNumbers, AreWrittenInDecimal) {
    EXPECT_EQ(BString(-5), "-5");
    EXPECT_EQ(BString(std::numeric_limits<int>::min()), "-2147483648");
    EXPECT_EQ(BString(4294967295U), "4294967295");
    EXPECT_EQ(BString(-2147483647L - 1), "-2147483648");
    EXPECT_EQ(BString(4294967295UL), "4294967295");
}

TEST(BStringNumbers, KeepThirtyTwoBitsOfALong) {
    const auto wide = static_cast<unsigned long>(0x1'8000'0001ULL);
    EXPECT_EQ(BString(static_cast<long>(wide)), "-2147483647");
    EXPECT_EQ(BString(wide), "2147483649");
}

TEST(BStringNumbers, AreReadAsThirtyTwoBitsHold) {
    const struct {
        const char* text;
        int expected;
    } cases[] = {
        {"", 0},
        {"-", 0},
        {"12abc", 12},
        {" \t\r\n\v\f-7", -7},
        {"+5", 5},
        {"+-5", 0},
        {"- 5", 0},
        {"0x10", 0},
        {"0000000000000000000012", 12},
        {"2147483647", 2147483647},
        {"2147483648", 2147483647},
        {"-2147483648", -2147483647 - 1},
        {"-2147483649", -2147483647 - 1},
        {"4294967297", 2147483647},
        {"99999999999999999999999999", 2147483647},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(BString(c.text).asInt(), c.expected);
        EXPECT_EQ(BString(c.text).asLong(), c.expected);
    }
    EXPECT_EQ(BString("1\0002", 3).asInt(), 1);
}

TEST(BStringNumbers, AreReadUnsignedInAnyBase) {
    const struct {
        const char* text;
        int base;
        unsigned long expected;
    } cases[] = {
        {"", 10, 0},
        {"ff", 16, 255},
        {"ff", 10, 0},
        {"0xFFffFFff", 16, 4294967295},
        {"0x", 16, 0},
        {"0xg", 16, 0},
        {"0x1f", 0, 31},
        {"017", 0, 15},
        {"08", 0, 0},
        {"19", 0, 19},
        {"0x1f", 10, 0},
        {"zZ", 36, 35 * 36 + 35},
        {"102", 2, 2},
        {" +12", 10, 12},
        {"-1", 10, 4294967295},
        {"-4294967295", 10, 1},
        {"-4294967296", 10, 4294967295},
        {"-4294967297", 10, 4294967295},
        {"4294967296", 10, 4294967295},
        {"18446744073709551617", 10, 4294967295},
        {"1\xE9", 36, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(BString(c.text).asUnsigned(c.base), c.expected);
    }
    EXPECT_EQ(BString("12").asUnsigned(), 12U);
}

TEST(BStringNumbers, ReportWhatTheRuntimeReports) {
    const auto errorOf = [](auto conversion) {
        errno = 0;
        conversion();
        return errno;
    };
    EXPECT_EQ(errorOf([] { return BString("2147483648").asInt(); }), ERANGE);
    EXPECT_EQ(errorOf([] { return BString("4294967296").asUnsigned(); }), ERANGE);
    EXPECT_EQ(errorOf([] { return BString("1e999").asDouble(); }), ERANGE);
    EXPECT_EQ(errorOf([] { return BString("1e-320").asDouble(); }), ERANGE);
    EXPECT_EQ(errorOf([] { return BString("1").asUnsigned(1); }), EINVAL);
    EXPECT_EQ(errorOf([] { return BString("1").asUnsigned(37); }), EINVAL);
    EXPECT_EQ(errorOf([] { return BString("2147483647").asInt(); }), 0);
    EXPECT_EQ(BString("1").asUnsigned(37), 0U);
}

TEST(BStringNumbers, AreReadAsTheRuntimeReadsFloatingOnes) {
    for (const char* text : {"",
                             "-",
                             "+",
                             ".",
                             "-.",
                             "1",
                             "-1.5",
                             "+1.5",
                             "+-1",
                             "-+1",
                             "1.5.5",
                             ".5",
                             "-.5",
                             "5.",
                             "1e5",
                             "1e",
                             "1e+",
                             "1E-3x",
                             ".e1",
                             "1e400",
                             "-1e400",
                             "1e-400",
                             "4.9e-324",
                             "2e-324",
                             "2.2250738585072011e-308",
                             "1.7976931348623157e308",
                             "0x1.8p1",
                             "0x",
                             "0xg",
                             "-0x10",
                             "inf",
                             "-INFinity",
                             "infin",
                             "nan",
                             "-nan(12)",
                             " \n\t1.25e2",
                             "1,5",
                             "0",
                             "-0",
                             "000.1",
                             "9007199254740993",
                             "0.1000000000000000055511151231257827021181583404541015625",
                             "123456789012345678901234567890",
                             "1e23",
                             "8.5e-5d",
                             "\xA0-1"}) {
        SCOPED_TRACE(text);
        const double expected = std::strtod(text, nullptr);
        const double actual = BString(text).asDouble();
        EXPECT_EQ(std::bit_cast<std::uint64_t>(actual), std::bit_cast<std::uint64_t>(expected))
            << actual;
    }
    EXPECT_EQ(BString("0.1").asFloat(), 0.1F);
    EXPECT_EQ(BString("1e300").asFloat(), std::numeric_limits<float>::infinity());
    EXPECT_EQ(BString("1.5\0007", 5).asDouble(), 1.5);
}

std::string withSixDecimals(double value) {
    char text[512];
    return {text, static_cast<std::size_t>(std::snprintf(text, sizeof text, "%f", value))};
}

TEST(BStringNumbers, AreWrittenWithSixDecimalsExactlyRounded) {
    for (const double value : {0.0,
                               -0.0,
                               1.5,
                               -1.5,
                               0.5e-6,
                               1.5e-6,
                               2.5e-6,
                               0.4999999e-6,
                               -1e-9,
                               1e-300,
                               5e-324,
                               0.9999995,
                               0.99999949999,
                               1.0 / 128,
                               1.0 / 64,
                               0.0078125 + 0.000000059604644775390625,
                               123456.7890625,
                               999999.9999995,
                               4503599627370495.5,
                               4503599627370496.5,
                               9007199254740993.0,
                               9223372036854775808.0,
                               18446744073709549568.0,
                               18446744073709551616.0,
                               1e22,
                               9.9999999999999e22,
                               -9.9999999999999e22,
                               3.0000005,
                               0.0000005}) {
        EXPECT_EQ(BString(value), withSixDecimals(value));
    }
    EXPECT_EQ(BString(1.5), "1.500000");
    EXPECT_EQ(BString(-1e22), "-10000000000000000000000.000000");
    EXPECT_EQ(BString(std::numeric_limits<double>::infinity()), "inf");
}

TEST(BStringNumbers, ComeBackFromTheExponentFormThatLongOnesTake) {
    EXPECT_EQ(BString(2e24), "2e+24");
    EXPECT_EQ(BString(-2e23), "-2e+23");
    EXPECT_EQ(BString(-DBL_MAX), "-1.7976931348623157e+308");
    for (double value = 1e23; std::isfinite(value); value *= -1.7) {
        EXPECT_LE(BString(value).size(), 31U);
        EXPECT_EQ(BString(value).asDouble(), value);
    }
}

TEST(BStringNumbers, AgreeWithTheRuntimeOnRandomValues) {
    std::mt19937_64 random(20240229);
    for (int i = 0; i < 20000; ++i) {
        // Magnitudes about the range of the six decimals, then all bit patterns.
        double value = std::ldexp(static_cast<double>(random()), static_cast<int>(i % 130) - 110);
        if (i % 4 == 0) {
            value = std::bit_cast<double>(std::uint64_t{random()});
        }
        const std::string expected = withSixDecimals(value);
        if (expected.size() <= 31) {
            ASSERT_EQ(BString(value), expected);
        }
        char text[64];
        std::snprintf(text, sizeof text, i % 2 == 0 ? "%.17g" : "%.15e", value);
        const double read = BString(text).asDouble();
        const double alike = std::strtod(text, nullptr);
        ASSERT_TRUE(std::isnan(alike) ? std::isnan(read) : read == alike) << text;
    }
}

TEST(BStringNumbers, FollowTheRoundingModeAsTheRuntimeDoes) {
    for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        ASSERT_EQ(std::fesetround(mode), 0);
        const std::string text = BString(2.0 / 3);
        const std::string expectedText = withSixDecimals(2.0 / 3);
        const double read = BString("0.1").asDouble();
        const double expected = std::strtod("0.1", nullptr);
        std::fesetround(FE_TONEAREST);
        EXPECT_EQ(text, expectedText);
        EXPECT_EQ(read, expected);
    }
}

}  // namespace
