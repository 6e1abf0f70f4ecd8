#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "strings/literal_steps.h"
#include "strings/random_texts.h"
#include "support/bstring_printer.h"

namespace {

using namespace Sorvex::testing;
using Sorvex::BString;
using ::testing::ElementsAre;
using namespace std::string_literals;

BString whole(const std::string& text) {
    return BString(text.data(), text.size());
}

std::vector<std::string> words(const std::string& text, const char* delimiters,
                               const char* quotes) {
    std::vector<std::string> found;
    const std::size_t size = whole(text).parseWords(found, delimiters, quotes);
    EXPECT_EQ(size, found.size());
    return found;
}

std::vector<BString> fields(const std::string& text, const char* delimiters) {
    std::vector<BString> found;
    const std::size_t size = whole(text).parseFields(found, delimiters);
    EXPECT_EQ(size, found.size());
    return found;
}

TEST(BStringWords, AreRunsOfOtherThanBlanksCountedFromOne) {
    const BString text("  ab c\td   e ");
    EXPECT_EQ(text.numberOfWords(), 3U);
    EXPECT_EQ(text.indexOfWord(1), 2U);
    EXPECT_EQ(text.indexOfWord(2), 5U);
    EXPECT_EQ(text.word(2), "c\td");
    EXPECT_EQ(text.word(3), "e");
    EXPECT_EQ(text.indexOfWord(4), BString::npos);
    EXPECT_EQ(text.word(4), "");
    EXPECT_EQ(text.indexOfWord(0), BString::npos);
    EXPECT_EQ(text.word(0), "");

    // A start inside a word makes a word of the rest.
    EXPECT_EQ(text.word(1, 3), "b");
    EXPECT_EQ(text.numberOfWords(3), 3U);
    EXPECT_EQ(text.indexOfWord(2, 4), 11U);
    EXPECT_EQ(text.numberOfWords(text.size()), 0U);
    EXPECT_EQ(text.indexOfWord(1, 99), BString::npos);
    EXPECT_EQ(text.word(1, 99), "");

    EXPECT_EQ(BString("   ").numberOfWords(), 0U);
    EXPECT_EQ(BString().numberOfWords(), 0U);
    EXPECT_EQ(whole("a\0b c"s).numberOfWords(), 2U);
    EXPECT_EQ(whole("a\0b c"s).word(1), "a");
}

TEST(BStringWords, AreFoundInLongTextsOneByOne) {
    std::string text;
    std::vector<std::size_t> starts;
    RandomTexts random(3);
    for (int i = 0; i < 300; ++i) {
        text.append(1 + random.below(i % 50 == 0 ? 150 : 3), ' ');
        starts.push_back(text.size());
        text.append(1 + random.below(i % 70 == 0 ? 150 : 4), 'w');
    }
    const BString all(text);
    EXPECT_EQ(all.numberOfWords(), starts.size());
    for (std::size_t i = 0; i < starts.size(); ++i) {
        ASSERT_EQ(all.indexOfWord(i + 1), starts[i]);
        ASSERT_EQ(all.indexOfWord(1, starts[i]), starts[i]);
        ASSERT_EQ(all.numberOfWords(starts[i]), starts.size() - i);
    }
    EXPECT_EQ(all.indexOfWord(starts.size() + 1), BString::npos);
}

TEST(ParseWords, TakesQuotedWordsApart) {
    const struct {
        const char* text;
        std::vector<std::string> expected;
    } cases[] = {
        {"  a  b c ", {"a", "b", "c"}},
        {"'a b' c", {"a b", "c"}},
        {"a 'b c' d", {"a", "b c", "d"}},
        {"'a'b' c", {"a'b", "c"}},
        {"'a'b c", {"a'b c"}},
        {"'a'b", {"a", "b"}},
        {"'a'b'", {"a'b"}},
        {"'abc", {"abc"}},
        {"'", {}},
        {"a '", {"a"}},
        {"''", {""}},
        {"ab'c d'", {"ab'c", "d'"}},
        {"", {}},
        {"   ", {}},
        {"a 'b\"c' \"d'e\" f", {"a", "b\"c", "d'e", "f"}},
        {"'a''b'", {"a''b"}},
        {"'a'\"b\"'c'd", {"a", "b", "c", "d"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(words(c.text, " ", "'\""), c.expected);
    }
}

TEST(ParseWords, EndsAWordAtTheCharacterBeforeIt) {
    EXPECT_THAT(words("a b,c d", " ,", ""), ElementsAre("a", "b,c", "d"));
    EXPECT_THAT(words(",a b,c", " ,", ""), ElementsAre("a b", "c"));
    EXPECT_THAT(words("'a,b',c", "", ""), ElementsAre("'a,b',c"));
    EXPECT_THAT(words("'a' b", "", "'"), ElementsAre("a", " b"));
    EXPECT_THAT(words("a\0b c"s, " ", ""), ElementsAre("a\0b"s, "c"));
}

TEST(ParseWords, AppendsAndCountsWhatWasThere) {
    const BString text("a b");
    std::vector<std::string> found;
    EXPECT_EQ(text.parseWords(found, " ", ""), 2U);
    EXPECT_EQ(text.parseWords(found, " ", ""), 4U);
    EXPECT_THAT(found, ElementsAre("a", "b", "a", "b"));
    EXPECT_EQ(BString().parseWords(found, " ", ""), 4U);
}

TEST(ParseWords, AgreesWithTheLiteralSteps) {
    const char* const sets[][2] = {{" ", "'"}, {" ,", "'\""}, {"", "'"}, {" ", ""}, {" '", "'"}};
    RandomTexts texts(11);
    for (int i = 0; i < 60000; ++i) {
        const auto& set = sets[i % 5];
        const std::string text = texts.next(i % 3 == 0 ? "a '" : "ab ,'\"", i % 64 == 0 ? 90 : 12);
        ASSERT_EQ(words(text, set[0], set[1]), wordsByLiteralSteps(text, set[0], set[1]))
            << '[' << text << "] by [" << set[0] << "] and [" << set[1] << ']';
    }
}

TEST(ParseFields, PartsAtTheFirstDelimiterAllAlong) {
    EXPECT_THAT(fields("a,b,c", ",;"), ElementsAre("a", "b", "c"));
    EXPECT_THAT(fields("a,,b", ",;"), ElementsAre("a", "", "b"));
    EXPECT_THAT(fields("a,b;c,d", ",;"), ElementsAre("a", "b;c", "d"));
    EXPECT_THAT(fields("a;b,c;d", ",;"), ElementsAre("a", "b,c", "d"));
    EXPECT_THAT(fields("a,", ",;"), ElementsAre("a"));
    EXPECT_THAT(fields("a,,", ",;"), ElementsAre("a", ""));
    EXPECT_THAT(fields("abc", ",;"), ElementsAre("abc"));
    EXPECT_THAT(fields("a,b", ""), ElementsAre("a,b"));
    EXPECT_THAT(fields("", ","), ElementsAre());
    EXPECT_THAT(fields("a\0b,c,\0"s, ","), ElementsAre("a", "c", ""));
}

TEST(ParseFields, BeginsWithAnEmptyFieldBehindWhichItsDelimiterHolds) {
    EXPECT_THAT(fields(",a;b,c", ",;"), ElementsAre("", "a;b", "c"));
    EXPECT_THAT(fields(",", ",;"), ElementsAre(""));
    EXPECT_THAT(fields(",,", ",;"), ElementsAre("", ""));
}

TEST(ParseFields, AgreesWithTheLiteralSteps) {
    RandomTexts texts(5);
    for (int i = 0; i < 20000; ++i) {
        const std::string text = texts.next("ab,;\0"s, i % 64 == 0 ? 200 : 12);
        const auto found = fields(text, ",;");
        ASSERT_EQ(std::vector<std::string>(found.begin(), found.end()),
                  fieldsByLiteralSteps(text, ",;"))
            << ::testing::PrintToString(text);
    }
}

TEST(ParseFields, ParsesAnElementOfTheVectorThatItFills) {
    std::vector<BString> found{"x", "a,b,c,d,e"};
    found.shrink_to_fit();
    EXPECT_EQ(found[1].parseFields(found, ","), 7U);
    EXPECT_THAT(found, ElementsAre("x", "a,b,c,d,e", "a", "b", "c", "d", "e"));
}

TEST(ParseWords, IsLinearInTextsFullOfQuotes) {
    // The delimiter stands at the very end, or nowhere: a search for it at each quote never ends.
    std::string text = "'";
    for (int i = 0; i < 500000; ++i)
        text += "a'";
    EXPECT_EQ(words(text + "b ", " ", "'").size(), 1U);
    EXPECT_EQ(words(text, " ", "'").size(), 1U);
    // The first quote that no delimiter follows ends the first word; the quote itself parts the
    // rest.
    EXPECT_EQ(words(text + "b", " ", "'").size(), 500001U);
    std::string unmatched;
    for (int i = 0; i < 300000; ++i)
        unmatched += "'a ";
    EXPECT_EQ(words(unmatched, " ", "'").size(), 1U);
}

}  // namespace
