#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "strings/literal_steps.h"
#include "strings/random_texts.h"
#include "support/bstring_printer.h"

namespace {

using Sorvex::BString;
using namespace std::string_literals;

BString whole(const std::string& text) {
    return BString(text.data(), text.size());
}

TEST(BStringStrip, TakesTheRunsOfASetOffTheEnds) {
    const struct {
        std::string text;
        std::string set;
        std::string leading;
        std::string trailing;
        std::string both;
    } cases[] = {
        {"", "x", "", "", ""},
        {"xxaxbxx", "x", "axbxx", "xxaxb", "axb"},
        {"xxaxbxx", "", "xxaxbxx", "xxaxbxx", "xxaxbxx"},
        {"xxxx", "x", "", "", ""},
        {"xyzzyabzyx", "xyz", "abzyx", "xyzzyab", "ab"},
        {"+-*/=a=/*-+", "+-*/=", "a=/*-+", "+-*/=a", "a"},
        {"\xE9\xFF"
         "a\xFF",
         "\xFF\xE9", "a\xFF",
         "\xE9\xFF"
         "a",
         "a"},
        {"\0a\0b\0\0"s, "\0"s, "a\0b\0\0"s, "\0a\0b"s, "a\0b"s},
        {std::string(150, '-') + "a-b" + std::string(150, '-'), "-", "a-b" + std::string(150, '-'),
         std::string(150, '-') + "a-b", "a-b"},
        {std::string(300, '-'), "+-*/=", "", "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.text));
        EXPECT_EQ(whole(c.text).stripLeading(c.set), c.leading);
        EXPECT_EQ(whole(c.text).stripTrailing(c.set), c.trailing);
        EXPECT_EQ(whole(c.text).strip(c.set), c.both);
        if (c.text.find('\0') != std::string::npos)
            continue;
        EXPECT_EQ(whole(c.text).strip(c.set.c_str()), c.both);
        EXPECT_EQ(BString::stripLeading(c.text, c.set), c.leading);
        EXPECT_EQ(BString::stripTrailing(c.text, c.set.c_str()), c.trailing);
        EXPECT_EQ(BString::strip(c.text, c.set), c.both);
        if (c.set.size() != 1)
            continue;
        EXPECT_EQ(whole(c.text).stripLeading(c.set[0]), c.leading);
        EXPECT_EQ(whole(c.text).stripTrailing(c.set[0]), c.trailing);
        EXPECT_EQ(BString::strip(c.text, c.set[0]), c.both);
    }
}

TEST(BStringStrip, TakesBlankTabReturnAndNewlineByDefault) {
    const std::string text = " \t\r\n\fa b\v\n\r\t ";
    EXPECT_EQ(whole(text).strip(), "\fa b\v");
    EXPECT_EQ(whole(text).stripLeading(), "\fa b\v\n\r\t ");
    EXPECT_EQ(whole(text).stripTrailing(), " \t\r\n\fa b\v");
    EXPECT_EQ(BString::stripBlanks(text), "\fa b\v");
    EXPECT_EQ(BString::stripLeadingBlanks(text), "\fa b\v\n\r\t ");
    EXPECT_EQ(BString::stripTrailingBlanks(text), " \t\r\n\fa b\v");
    EXPECT_EQ(whole(" \t\r\n\n\r\t ").strip(), "");
}

TEST(BStringStrip, ReadsTheTextViewInTwinsAndACSetToItsNul) {
    EXPECT_EQ(BString::stripBlanks(" a \0 b "s), "a");
    EXPECT_EQ(whole("ab\0\0"s).stripTrailing("\0"), "ab\0\0"s);
    EXPECT_EQ(whole("ab\0\0"s).stripTrailing("\0"s), "ab");
}

TEST(BStringStrip, TakesItselfAsTheSet) {
    BString text("abcxyz");
    EXPECT_EQ(text.strip(text), "");
    text = "ab-cd-ab";
    EXPECT_EQ(text.strip(text.c_str() + 6), "-cd-");
}

TEST(BStringChange, ReplacesInOnePassFromTheLeft) {
    const struct {
        std::string text;
        std::string from;
        std::string to;
        std::string expected;
    } cases[] = {
        {"abcabc", "abc", "x", "xx"},       {"a", "a", "aa", "aa"},
        {"aaa", "aa", "b", "ba"},           {"", "a", "b", ""},
        {"aab", "ab", "b", "ab"},           {"abc", "", "x", "abc"},
        {"abc", "abcd", "x", "abc"},        {"a.b.c", ".", "", "abc"},
        {"a\0b\0"s, "\0"s, "--", "a--b--"}, {"a-b", "-", "\0"s, "a\0b"s},
        {"abab", "ab", "ba", "baba"},       {"aaaa", "a", "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.text) + ::testing::PrintToString(c.from));
        EXPECT_EQ(whole(c.text).change(c.from, c.to), c.expected);
    }
    EXPECT_EQ(BString::change("a-b-\0-"s, "-", "+"), "a+b+");
    EXPECT_EQ(BString::change("a-b", "-", "\0"s), "a");
}

TEST(BStringChange, AgreesWithRepeatedReplacing) {
    Sorvex::testing::RandomTexts texts(7);
    for (int i = 0; i < 4000; ++i) {
        const std::string text = texts.next("ab\0"s, i % 8 == 0 ? 300 : 20);
        const std::string from = texts.next("ab", 3) + 'a';
        const std::string to = texts.next("ab", 6);
        ASSERT_EQ(whole(text).change(from, to),
                  Sorvex::testing::changeByRepeatedReplacing(text, from, to))
            << ::testing::PrintToString(text) << ' ' << from << ' ' << to;
    }
}

TEST(BStringChange, TakesItselfAsEitherArgument) {
    BString text("abca");
    EXPECT_EQ(text.change("a", text), "abcabcabca");
    EXPECT_EQ(text.change(text, "xyz"), "xyz");
    EXPECT_EQ(text.change(text, "longer than it was"), "longer than it was");
    EXPECT_EQ(text.change(text, text), "longer than it was");
    EXPECT_EQ(text.change(text, ""), "");
}

TEST(BStringChange, ReplacesCharactersInTheWholeView) {
    EXPECT_EQ(BString("banana").change('a', 'b'), "bbnbnb");
    EXPECT_EQ(whole("a\0a"s).change('a', 'b'), "b\0b"s);
    EXPECT_EQ(whole("a\0b"s).change('\0', '-'), "a-b");
    EXPECT_EQ(BString("aba").change('a', '\0'), "\0b\0"s);
    EXPECT_EQ(BString(100, 'a').change('a', '\xFF'), std::string(100, '\xFF'));
}

TEST(BStringJustify, PadsAndCutsToTheWidth) {
    const struct {
        std::string text;
        std::size_t width;
        char fill;
        std::string left;
        std::string right;
    } cases[] = {
        {"ab", 5, '.', "ab...", "...ab"},
        {"abcde", 2, '.', "ab", "ab"},
        {"abcde", 5, '.', "abcde", "abcde"},
        {"abcde", 0, '.', "", ""},
        {"", 2, '-', "--", "--"},
        {"ab", 4, '\0', "ab\0\0"s, "\0\0ab"s},
        {"a\0b"s, 3, '.', "a\0b"s, "a\0b"s},
        {"a\0b"s, 5, '.', "a\0b.."s, "....a"},
        {"a\0bc"s, 3, '.', "a", "a"},
        {"\0b"s, 3, '.', "\0b."s, "..."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.text));
        EXPECT_EQ(whole(c.text).leftJustify(c.width, c.fill), c.left);
        EXPECT_EQ(whole(c.text).rightJustify(c.width, c.fill), c.right);
    }
    EXPECT_EQ(BString("7").rightJustify(3), "  7");
    EXPECT_EQ(BString("7").leftJustify(3), "7  ");
}

TEST(BStringJustify, LosesNothingWhenTheWidthIsBeyondAnyText) {
    BString text = whole("a\0b"s);
    EXPECT_THROW(text.rightJustify(std::string::npos), std::length_error);
    EXPECT_THROW(text.leftJustify(std::string::npos), std::length_error);
    EXPECT_EQ(text, "a\0b"s);
}

TEST(BStringEditing, IsLinearWhereTheLiteralStepsAreNot) {
    // Hours, or memory without end, if any of these were done step by step.
    std::string text;
    std::string expected;
    for (int i = 0; i < 100000; ++i) {
        text += "name=1\n   ";
        expected += "name  <-  1\n   ";
    }
    EXPECT_EQ(whole(text).change("=", "  <-  "), expected);
    EXPECT_EQ(BString("7").rightJustify(1000000, '0').size(), 1000000U);
    const std::string almost = std::string(200000, 'a') + 'b';
    EXPECT_EQ(whole(std::string(1000000, 'a')).change(almost, "").size(), 1000000U);
}

}  // namespace
