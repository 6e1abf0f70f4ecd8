#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "support/bstring_printer.h"
#include "support/failure_assertions.h"

namespace {

using Sorvex::BString;
using namespace std::string_literals;

static_assert(sizeof(BString) == sizeof(std::string));
static_assert(std::is_nothrow_move_constructible_v<BString>, "vectors copy when they grow");

const std::string withNul = "ab\0cd"s;

TEST(BString, CopiesAndAssignsTheTextViewAndKeepsTheSource) {
    const BString source(withNul.data(), withNul.size());
    ASSERT_EQ(source.size(), 5U);
    EXPECT_EQ(BString(source), "ab");
    EXPECT_EQ(BString(withNul), "ab");
    EXPECT_EQ(BString(std::string(withNul)), "ab");
    EXPECT_EQ(BString(BString(source.data(), source.size()) + ""), "ab");
    BString movedFrom(source.data(), source.size());
    EXPECT_EQ(BString(std::move(movedFrom)), "ab");

    BString target("longer than the source");
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(target, "ab");
    target = withNul;
    EXPECT_EQ(target, "ab");
    EXPECT_EQ(source.size(), 5U);

    BString itself(withNul.data(), withNul.size());
    const BString& alias = itself;
    itself = alias;
    EXPECT_EQ(itself, "ab");
}

TEST(BString, KeepsTheTextViewWhenAVectorGrowsAndWhenTwoAreExchanged) {
    std::vector<BString> grown;
    grown.emplace_back(withNul.data(), withNul.size());
    grown.reserve(grown.capacity() + 1);
    EXPECT_EQ(grown.front(), "ab");

    BString one(withNul.data(), withNul.size());
    BString other("x");
    std::swap(one, other);
    EXPECT_EQ(one, "x");
    EXPECT_EQ(other, "ab");
}

TEST(BString, TakesAPartOfTheTextView) {
    EXPECT_EQ(BString("abcd"s, 1, 2), "bc");
    EXPECT_EQ(BString("abcd"s, 1, 99), "bcd");
    EXPECT_EQ(BString("abcd"s, 4, 1), "");
    EXPECT_EQ(BString(withNul, 1, 4), "b");
    EXPECT_EQ(BString(withNul, 2, 4), "");
    EXPECT_THROW(BString(withNul, 3, 1), std::out_of_range);
}

TEST(BString, TakesExactlyTheCharactersOfARange) {
    const char* const text = withNul.data();
    EXPECT_EQ(BString(text, 4), "ab\0c"s);
    EXPECT_EQ(BString(text + 1, text + 5), "b\0cd"s);
    EXPECT_EQ(BString(3, '\0'), "\0\0\0"s);
    EXPECT_EQ(BString(text), "ab");
    EXPECT_EQ(BString(std::allocator<char>()), "");
    EXPECT_EQ(BString(), "");
}

TEST(BString, TakesTextsAndNumbersByAssignment) {
    BString text;
    text = "characters";
    EXPECT_EQ(text, "characters");
    text = 7;
    EXPECT_EQ(text, "7");
    text = 0.5;
    EXPECT_EQ(text, "0.500000");
    text = {};
    EXPECT_EQ(text, "");
}

TEST(BStringAsString, KeepsNulCharactersAndRefusesLongTexts) {
    EXPECT_EQ(BString::asString("%c", 0), "\0"s);
    EXPECT_EQ(BString::asString("%d%cb", 1, 0), "1\0b"s);
    EXPECT_EQ(BString::asString("%s", ""), "");
    const std::string longest(4095, 'x');
    EXPECT_EQ(BString::asString("%s", longest.c_str()), longest);
    EXPECT_FAILURE(BString::asString("%s%c", longest.c_str(), 0),
                   "BString::asString() : buffer overflow");
    EXPECT_FAILURE(BString::asString("%5000s", ""), "BString::asString() : buffer overflow");
}

}  // namespace
