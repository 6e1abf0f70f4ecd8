#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "strings/literal_steps.h"
#include "strings/text_search.h"
#include "support/bstring_printer.h"

namespace {

using namespace Sorvex::testing;
using Sorvex::BString;
using namespace std::string_literals;

using Texts = std::vector<std::string>;

BString whole(const std::string& text) {
    return BString(text.data(), text.size());
}

Texts words(const std::string& text, const char* delimiters, const char* quotes) {
    Texts found;
    whole(text).parseWords(found, delimiters, quotes);
    return found;
}

Texts fields(const std::string& text, const char* delimiters) {
    std::vector<BString> found;
    whole(text).parseFields(found, delimiters);
    return {found.begin(), found.end()};
}

TEST(BStringWords, AreRunsOfOtherThanBlanksCountedFromOne) {
    const BString text("  ab c\td   e ");
    EXPECT_EQ(text.word(2), "c\td");
    EXPECT_EQ(text.word(4), "");
    EXPECT_EQ(text.indexOfWord(0), BString::npos);
    // A start inside a word makes a word of the rest.
    EXPECT_EQ(text.word(1, 3), "b");
    EXPECT_EQ(text.numberOfWords(3), 3U);
    EXPECT_EQ(text.numberOfWords(99), 0U);
    EXPECT_EQ(text.indexOfWord(1, 99), BString::npos);
    EXPECT_EQ(whole("a\0b c"s).numberOfWords(), 2U);
    EXPECT_EQ(whole("a\0b c"s).word(1), "a");

    std::string longText;
    std::vector<std::size_t> starts;
    std::mt19937 random(3);
    for (int i = 0; i < 300; ++i) {
        longText.append(1 + random() % (i % 50 == 0 ? 150 : 3), ' ');
        starts.push_back(longText.size());
        longText.append(1 + random() % (i % 70 == 0 ? 150 : 4), 'w');
    }
    const BString all(longText);
    for (std::size_t i = 0; i < starts.size(); ++i) {
        ASSERT_EQ(all.indexOfWord(i + 1), starts[i]);
        ASSERT_EQ(all.numberOfWords(starts[i]), starts.size() - i);
    }
    EXPECT_EQ(all.indexOfWord(starts.size() + 1), BString::npos);
}

TEST(ParseWords, TakesQuotedWordsApartAndEndsOthersAtTheCharacterBeforeThem) {
    const std::pair<std::string, Texts> cases[] = {
        {",a b,c d", {"a b", "c d"}},  {"a b,c d", {"a", "b,c", "d"}},
        {"a\0b  c "s, {"a\0b"s, "c"}}, {"a 'b c' d", {"a", "b c", "d"}},
        {"'a'b' c", {"a'b", "c"}},     {"'a'b c", {"a'b c"}},
        {"ab'c d'", {"ab'c", "d'"}}};
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(words(text, " ,", "'"), expected) << text;
    Texts found{"a"};
    EXPECT_EQ(BString("b c").parseWords(found, " ", ""), 3U);
    EXPECT_EQ(found, (Texts{"a", "b", "c"}));

    const char* const sets[][2] = {{" ", "'"}, {" ,", "'\""}, {"", "'"}, {" ", ""}, {" '", "'"}};
    std::mt19937 random(11);
    for (int i = 0; i < 60000; ++i) {
        const auto& set = sets[i % 5];
        const std::string text =
            randomText(random, i % 3 == 0 ? "a '" : "ab ,'\"", i % 64 == 0 ? 90 : 12);
        ASSERT_EQ(words(text, set[0], set[1]), wordsByLiteralSteps(text, set[0], set[1]))
            << '[' << text << "] by [" << set[0] << "] and [" << set[1] << ']';
    }
}

TEST(ParseWords, IsLinearInTextsFullOfQuotes) {
    // The delimiter stands at the very end, or nowhere: a search for it at each quote never ends.
    std::string text = "'";
    std::string unmatched;
    for (int i = 0; i < 500000; ++i) {
        text += "a'";
        unmatched += "'a ";
    }
    EXPECT_EQ(words(text + "b ", " ", "'").size(), 1U);
    EXPECT_EQ(words(text, " ", "'").size(), 1U);
    EXPECT_EQ(words(unmatched, " ", "'").size(), 1U);
    // The first quote that no delimiter follows ends the first word; the quote itself parts the
    // rest.
    EXPECT_EQ(words(text + "b", " ", "'").size(), 500001U);
}

TEST(ParseFields, PartsAtTheFirstDelimiterAllAlong) {
    EXPECT_EQ(fields("a;b,c;d", ",;"), (Texts{"a", "b,c", "d"}));
    EXPECT_EQ(fields(",a;b,,", ",;"), (Texts{"", "a;b", ""}));
    EXPECT_EQ(fields("a,b", ""), (Texts{"a,b"}));
    EXPECT_EQ(fields("a\0b,c,\0"s, ","), (Texts{"a", "c", ""}));

    std::mt19937 random(5);
    for (int i = 0; i < 20000; ++i) {
        const std::string text = randomText(random, "ab,;\0"s, i % 64 == 0 ? 200 : 12);
        ASSERT_EQ(fields(text, ",;"), fieldsByLiteralSteps(text, ",;"))
            << ::testing::PrintToString(text);
    }

    // The vector moves away from under the text that is parsed.
    std::vector<BString> own{"x", "a,b,c,d,e"};
    own.shrink_to_fit();
    EXPECT_EQ(own[1].parseFields(own, ","), 7U);
    EXPECT_EQ(Texts(own.begin(), own.end()), (Texts{"x", "a,b,c,d,e", "a", "b", "c", "d", "e"}));
}

TEST(IsLike, TakesEachLiteralWhereItFirstOccurs) {
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"abc", "abcd", false}, {"ABC", "abc", false},   {"a?c", "abc", true},
        {"a*b", "ab", true},    {"*a*", "bab", true},    {"*bc", "abcbc", false},
        {"*a?", "aab", false},  {"?*", "abc", true},     {"*??", "a", false},
        {"", "", true},         {"", "a", false},        {"**", "", true},
        {"*.t", "a.t", true},   {"*.t", "a.t.t", false}, {"\xFF*", "\xFF\x80", true}};
    for (const auto& [pattern, text, expected] : cases) {
        SCOPED_TRACE(pattern + " on "s + text);
        EXPECT_EQ(BString(text).isLike(pattern), expected);
        EXPECT_EQ(BString(text).isLike(pattern + "\0x"s), expected);
        EXPECT_EQ(BString::isLike(text, pattern), expected);
        EXPECT_EQ(BString::isLike(text + "\0x"s, pattern + "\0x"s), expected);
    }
    EXPECT_TRUE(BString("ab\0c", 4).isLike("ab?c"));
}

TEST(IsLike, AgreesWithTheLiteralSteps) {
    std::mt19937 random(13);
    for (int i = 0; i < 60000; ++i) {
        const std::string text = randomText(random, "ab", i % 64 == 0 ? 90 : 10);
        const std::string pattern = randomText(random, i % 2 == 0 ? "ab?*" : "aab?***", 8);
        ASSERT_EQ(BString(text).isLike(pattern), matchesByLiteralSteps(text, pattern))
            << pattern << " on " << text;
    }
}

TEST(IsLike, IsLinearInPatternAndText) {
    // Each pass of moving question marks forward moves them by one place.
    std::string pattern;
    for (int i = 0; i < 10000; ++i)
        pattern += "*?";
    EXPECT_TRUE(BString::isLike(std::string(10000, 'a'), pattern));
    EXPECT_FALSE(BString::isLike(std::string(9999, 'a'), pattern));
    // A literal that almost occurs everywhere.
    const std::string run(200000, 'a');
    EXPECT_FALSE(BString::isLike(run + run + run, "*a" + run.substr(1) + "b" + run + "a*"));
}

TEST(TextFinder, AgreesWithTheStandardSearch) {
    std::mt19937 random(17);
    for (int i = 0; i < 30000; ++i) {
        std::string text = randomText(random, "ab", i % 4 == 0 ? 3000 : 60);
        std::string sought = randomText(random, "ab", 9);
        // Periodic texts, in which the sure way through long searches has its difficult cases.
        if (i % 8 == 0) {
            const std::string unit = randomText(random, "ab", 6) + 'a';
            for (text.clear(); text.size() < 6000;)
                text += i % 3 == 0 && random() % 20 == 0 ? "b" : unit;
            while (sought.size() < 300)
                sought.insert(0, unit);
            if (i % 16 == 0)
                sought[random() % sought.size()] ^= 3;
        }
        const std::size_t from = random() % (text.size() + 2);
        ASSERT_EQ(Sorvex::TextFinder(sought).find(text, from), text.find(sought, from))
            << sought << " from " << from << " in " << text;
    }
}

}  // namespace
