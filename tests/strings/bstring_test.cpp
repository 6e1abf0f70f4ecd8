#include <cstdio>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "support/bstring_printer.h"
#include "support/failure_assertions.h"

namespace {

using Sorvex::asString;
using Sorvex::BString;
using namespace std::string_literals;

static_assert(sizeof(BString) == sizeof(std::string));
static_assert(std::is_nothrow_move_constructible_v<BString>, "vectors copy when they grow");

TEST(BString, CopiesMovesAndAssignsTheTextViewAndKeepsTheSource) {
    const std::string withNul = "ab\0cd"s;
    const BString source(withNul.data(), withNul.size());
    EXPECT_EQ(BString(source), "ab");
    EXPECT_EQ(BString(withNul), "ab");
    EXPECT_EQ(BString(std::string(withNul)), "ab");
    BString target("longer than the source");
    EXPECT_EQ(target = source, "ab");
    EXPECT_EQ(source, withNul);

    BString itself(source.data(), source.size());
    const BString& alias = itself;
    itself = alias;
    EXPECT_EQ(itself, "ab");

    std::vector<BString> grown;
    grown.emplace_back(source.data(), source.size());
    grown.reserve(grown.capacity() + 1);
    EXPECT_EQ(grown.front(), "ab");
}

TEST(BString, TakesAPartOfTheTextViewAndExactlyARange) {
    const char* const text = "ab\0cd";
    EXPECT_EQ(BString("abcd"s, 1, 2), "bc");
    EXPECT_EQ(BString("ab\0cd"s, 1, 4), "b");
    EXPECT_EQ(BString("ab\0cd"s, 2, 4), "");
    EXPECT_THROW(BString("ab\0cd"s, 3, 1), std::out_of_range);
    EXPECT_EQ(BString(text, 4), "ab\0c"s);
    EXPECT_EQ(BString(text + 1, text + 5), "b\0cd"s);
    EXPECT_EQ(BString(3, '\0'), "\0\0\0"s);
}

TEST(AsString, FormatsUpToItsLimitAndKeepsNulCharactersInABStringAlone) {
    EXPECT_EQ(asString("a%cb", 0), "a");
    EXPECT_EQ(BString::asString("%d%cb", 1, 0), "1\0b"s);
    const std::string longest(4095, 'x');
    EXPECT_EQ(asString("%s", longest.c_str()), longest);
    EXPECT_FAILURE(asString("%sx", longest.c_str()), "asString() : buffer overflow");
    EXPECT_FAILURE(BString::asString("%s%c", longest.c_str(), 0),
                   "BString::asString() : buffer overflow");
}

TEST(AsString, FormatsPlainValuesAsTheRuntimeDoes) {
    // The compiler would refuse a null text that it can see.
    const char* volatile const missing = nullptr;
    EXPECT_EQ(asString("%d %u %s%%", std::numeric_limits<int>::min(), 4294967295U, "t"),
              "-2147483648 4294967295 t%");
    EXPECT_EQ(asString("%s %5d", "then as wide", 7), "then as wide     7");
    EXPECT_EQ(asString("%d %s", 1, missing), "1 (null)");
    const std::string nearly(4094, 'x');
    EXPECT_EQ(asString("%s%d", nearly.c_str(), 7), nearly + "7");
    EXPECT_FAILURE(asString("%s%d", nearly.c_str(), 42), "asString() : buffer overflow");
    // The runtimes differ in whether they refuse a character that they can't convert.
    char left[16] = "";
    const int count = std::snprintf(left, sizeof left, "abc%lsdef", L"\u20AC");
    EXPECT_EQ(asString("abc%lsdef", L"\u20AC"), left);
    if (count < 0) {
        EXPECT_FAILURE(BString::asString("abc%lsdef", L"\u20AC"),
                       "BString::asString() : buffer overflow");
    }
}

TEST(Exceptions, AreShownAsTwoLines) {
    std::ostringstream stream;
    std::runtime_error failed("what failed");
    Sorvex::operator<<(stream, failed);
    EXPECT_EQ(stream.str(), "Exception !\nwhat failed\n");
}

TEST(OSInterface, SeparatesWithTheBackslash) {
    EXPECT_EQ(Sorvex::OSInterface::directorySeparatorCharacter(), '\x5C');
}

}  // namespace
