#include <random>
#include <stdexcept>
#include <string>
#include <tuple>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "strings/literal_steps.h"
#include "support/bstring_printer.h"

namespace {

using namespace Sorvex::testing;
using Sorvex::BString;
using namespace std::string_literals;

BString whole(const std::string& text) {
    return BString(text.data(), text.size());
}

template <typename Set>
void expectStripped(const std::string& text, const Set& set, const std::string& leading,
                    const std::string& trailing, const std::string& both) {
    SCOPED_TRACE(text);
    EXPECT_EQ(BString(text).stripLeading(set), leading);
    EXPECT_EQ(BString(text).stripTrailing(set), trailing);
    EXPECT_EQ(BString(text).strip(set), both);
    EXPECT_EQ(BString::stripLeading(text + "\0x"s, set), leading);
    EXPECT_EQ(BString::stripTrailing(text + "\0x"s, set), trailing);
    EXPECT_EQ(BString::strip(text + "\0x"s, set), both);
}

TEST(BStringStrip, TakesTheRunsOfASetOffTheEnds) {
    const std::string run(150, '-');
    const std::string cases[][5] = {{"xxaxbxx", "x", "axbxx", "xxaxb", "axb"},
                                    {"xxaxbxx", "", "xxaxbxx", "xxaxbxx", "xxaxbxx"},
                                    {"xyzzyabzyx", "xyz", "abzyx", "xyzzyab", "ab"},
                                    {"+-*/=a=/*-+", "+-*/=", "a=/*-+", "+-*/=a", "a"},
                                    {"\xE9\xFFz\xFF", "\xFF\xE9", "z\xFF", "\xE9\xFFz", "z"},
                                    {run + "a-b" + run, "-", "a-b" + run, run + "a-b", "a-b"},
                                    {run + run, "+-*/=", "", "", ""}};
    for (const auto& [text, set, leading, trailing, both] : cases) {
        expectStripped(text, set, leading, trailing, both);
        expectStripped(text, set.c_str(), leading, trailing, both);
        if (set.size() == 1)
            expectStripped(text, set[0], leading, trailing, both);
    }
    EXPECT_EQ(whole("\0a\0b\0\0"s).strip("\0"s), "a\0b"s);
    EXPECT_EQ(whole("ab\0\0"s).stripTrailing("\0"), "ab\0\0"s);
    BString itself("ab-cd-ab");
    EXPECT_EQ(itself.strip(itself.c_str() + 6), "-cd-");
    EXPECT_EQ(itself.strip(itself), "");
}

TEST(BStringStrip, TakesBlankTabReturnAndNewlineByDefault) {
    const std::string text = " \t\r\n\fa b\v\n\r\t ";
    EXPECT_EQ(BString(text).strip(), "\fa b\v");
    EXPECT_EQ(BString(text).stripLeading(), "\fa b\v\n\r\t ");
    EXPECT_EQ(BString(text).stripTrailing(), " \t\r\n\fa b\v");
    EXPECT_EQ(BString::stripBlanks(text + "\0x"s), "\fa b\v");
    EXPECT_EQ(BString::stripLeadingBlanks(text), "\fa b\v\n\r\t ");
    EXPECT_EQ(BString::stripTrailingBlanks(text), " \t\r\n\fa b\v");
}

TEST(BStringChange, ReplacesInOnePassFromTheLeft) {
    EXPECT_EQ(BString("aab").change("ab", "b"), "ab");
    EXPECT_EQ(BString("abc").change("", "x"), "abc");
    EXPECT_EQ(whole("a\0b"s).change("\0"s, "--"), "a--b");
    EXPECT_EQ(BString::change("a-b-\0-"s, "-", "+"), "a+b+");
    EXPECT_EQ(BString::change("a-b", "-", "\0"s), "a");
    EXPECT_EQ(BString::change("ab", "", "x"), "ab");
    EXPECT_EQ(whole("a\0b"s).change('\0', '-'), "a-b");
    EXPECT_EQ(BString(100, 'a').change('a', '\xFF'), std::string(100, '\xFF'));

    std::mt19937 random(7);
    for (int i = 0; i < 4000; ++i) {
        const std::string text = randomText(random, "ab\0"s, i % 8 == 0 ? 300 : 20);
        const std::string from = randomText(random, "ab", 3) + 'a';
        const std::string to = randomText(random, "ab", 6);
        ASSERT_EQ(whole(text).change(from, to), changeByRepeatedReplacing(text, from, to))
            << ::testing::PrintToString(text) << ' ' << from << ' ' << to;
    }

    BString text("abca");
    EXPECT_EQ(text.change("a", text), "abcabcabca");
    EXPECT_EQ(text.change(text, "xyz"), "xyz");
    EXPECT_EQ(text.change(text, "longer than it was"), "longer than it was");
    EXPECT_EQ(text.change(text, text), "longer than it was");
}

TEST(BStringJustify, PadsAndCutsToTheWidth) {
    const std::tuple<std::string, std::size_t, std::string, std::string> cases[] = {
        {"ab", 5, "ab...", "...ab"},      {"abcde", 2, "ab", "ab"},
        {"abcde", 5, "abcde", "abcde"},   {"a\0b"s, 3, "a\0b"s, "a\0b"s},
        {"a\0b"s, 5, "a\0b.."s, "....a"}, {"a\0bc"s, 3, "a", "a"}};
    for (const auto& [text, width, left, right] : cases) {
        EXPECT_EQ(whole(text).leftJustify(width, '.'), left);
        EXPECT_EQ(whole(text).rightJustify(width, '.'), right);
    }
    EXPECT_EQ(BString("7").rightJustify(3), "  7");
    EXPECT_EQ(BString("7").leftJustify(3), "7  ");
    BString text = whole("a\0b"s);
    EXPECT_THROW(text.rightJustify(std::string::npos), std::length_error);
    EXPECT_THROW(text.leftJustify(std::string::npos), std::length_error);
    EXPECT_EQ(text, "a\0b"s);
}

TEST(BStringChange, IsLinearWhereTheLiteralStepsAreNot) {
    // Minutes, or memory without end, if this were done step by step.
    std::string text;
    std::string expected;
    for (int i = 0; i < 500000; ++i) {
        text += "name=1\n   ";
        expected += "name  <-  1\n   ";
    }
    EXPECT_EQ(BString(text).change("=", "  <-  "), expected);
}

}  // namespace
