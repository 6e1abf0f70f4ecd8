#include <string>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "strings/literal_steps.h"
#include "strings/random_texts.h"
#include "strings/text_search.h"
#include "support/bstring_printer.h"

namespace {

using namespace Sorvex::testing;
using Sorvex::BString;
using namespace std::string_literals;

TEST(IsLike, TakesEachLiteralWhereItFirstOccurs) {
    const struct {
        const char* pattern;
        const char* text;
        bool expected;
    } cases[] = {
        {"abc", "abc", true},
        {"abc", "abcd", false},
        {"ABC", "abc", false},
        {"a?c", "abc", true},
        {"a?c", "ac", false},
        {"a*c", "abc", true},
        {"a*b", "ab", true},
        {"*c", "abc", true},
        {"*b", "abc", false},
        {"*a*", "bab", true},
        {"a*b*c", "axbxc", true},
        {"*bc", "abcbc", false},
        {"*a?", "aab", false},
        {"ab*ab", "ab", false},
        {"a*", "a", true},
        {"a?*", "a", false},
        {"?*", "abc", true},
        {"*?", "abc", true},
        {"*??", "abcd", true},
        {"*??", "a", false},
        {"", "", true},
        {"", "a", false},
        {"*", "", true},
        {"**", "", true},
        {"?", "", false},
        {"?*", "", false},
        {"a", "", false},
        {"*", "any", true},
        {"?", "a", true},
        {"?", "ab", false},
        {"*.txt", "a.txt", true},
        {"*.txt", "a.txt.txt", false},
        {"a*?b*??c", "a1b23c", true},
        {"a*?b*??c", "ab23c", false},
        {"\xFF*", "\xFF\x80", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pattern + " on "s + c.text);
        EXPECT_EQ(BString(c.text).isLike(c.pattern), c.expected);
        EXPECT_EQ(BString::isLike(c.text, c.pattern), c.expected);
        EXPECT_EQ(BString::isLike(std::string(c.text), std::string(c.pattern)), c.expected);
    }
}

TEST(IsLike, ReadsPatternsAndTheTextsOfTwinsToTheFirstNul) {
    const BString text("ab\0c", 4);
    EXPECT_TRUE(text.isLike("ab?c"));
    EXPECT_FALSE(text.isLike("ab"));
    EXPECT_TRUE(BString::isLike(text, "ab"s));
    EXPECT_TRUE(BString("ab").isLike("a?\0x"s));
}

TEST(IsLike, AgreesWithTheLiteralSteps) {
    RandomTexts texts(13);
    for (int i = 0; i < 60000; ++i) {
        const std::string text = texts.next("ab", i % 64 == 0 ? 90 : 10);
        const std::string pattern = texts.next(i % 2 == 0 ? "ab?*" : "aab?***", 8);
        ASSERT_EQ(BString(text).isLike(pattern), matchesByLiteralSteps(text, pattern))
            << pattern << " on " << text;
    }
}

TEST(IsLike, IsLinearInPatternAndText) {
    // Each pass of moving question marks forward moves them by one place.
    for (const char* pair : {"*?", "?*"}) {
        std::string pattern;
        for (int i = 0; i < 10000; ++i)
            pattern += pair;
        EXPECT_TRUE(BString::isLike(std::string(10000, 'a'), pattern));
        EXPECT_FALSE(BString::isLike(std::string(9999, 'a'), pattern));
    }
    // A literal that almost occurs everywhere.
    const std::string run(200000, 'a');
    EXPECT_FALSE(BString::isLike(run + run + run, "*" + run + "b"));
    EXPECT_FALSE(BString::isLike(run + run + run, "*a" + run.substr(1) + "b" + run + "a*"));
}

TEST(TextFinder, AgreesWithTheStandardSearch) {
    RandomTexts texts(17);
    for (int i = 0; i < 30000; ++i) {
        const std::string text = texts.next("ab", i % 4 == 0 ? 3000 : 60);
        const std::size_t from = texts.below(text.size() + 2);
        const std::string sought = i % 4 == 0
                                       ? std::string(texts.below(200), 'a') + texts.next("ab", 3) +
                                             std::string(texts.below(200), 'a')
                                       : texts.next("ab", 9);
        ASSERT_EQ(Sorvex::TextFinder(sought).find(text, from), text.find(sought, from))
            << sought << " from " << from << " in " << text;
    }
}

// Periodic texts, in which the sure way through long searches has its difficult cases.
TEST(TextFinder, AgreesWithTheStandardSearchInPeriodicTexts) {
    RandomTexts texts(19);
    for (int i = 0; i < 3000; ++i) {
        const std::string unit = texts.next("ab", 6) + 'a';
        std::string text;
        while (text.size() < 6000)
            text += i % 3 == 0 && texts.below(20) == 0 ? "b" : unit;
        std::string sought;
        while (sought.size() < 300)
            sought += unit;
        sought += texts.next("ab", 4);
        if (i % 2 == 0)
            sought[texts.below(sought.size())] ^= 3;
        ASSERT_EQ(Sorvex::TextFinder(sought).find(text, 0), text.find(sought))
            << sought << " in " << text;
    }
}

}  // namespace
