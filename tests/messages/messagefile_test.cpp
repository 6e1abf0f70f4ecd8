#include <sorvex/messagefile.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "platform/platform.h"
#include "support/temporary_directory.h"

namespace {

using Sorvex::asString;
using Sorvex::MessageFile;
using Sorvex::testing::TemporaryDirectory;
using namespace std::string_literals;

/// A catalogue of these lines, made and read.
struct Catalogue : TemporaryDirectory, MessageFile {
    explicit Catalogue(const std::string& contents)
        : MessageFile(file("messages.txt", contents).c_str()) {}
    using MessageFile::readFile;
};

TEST(MessageFile, ReadsTheEntryOfALine) {
    const std::string longKey(100000, 'k');
    const std::string longText(4000, 'v');
    const std::string cases[][3] = {
        {" \t KEY \t = \t a  b \t\r", "KEY", "a  b"},
        {"A B=V=http://W // X", "A B", "V=http://W // X"},
        {"/ /\xC4=\xE4", "/ /\xC4", "\xE4"},
        {"K \0L=V \0W"s, "K", "V"},
        {"K=x\ry\r\f", "K", "x\ry\r\f"},
        {"K=first\nk=small\n\n//K=comment\nK=last", "K", "last"},
        {" \t//K=V", "//K", ""},
        {"Some words", "Some words", ""},
        {" = stray", "", ""},
        {longKey + "=" + longText, longKey, longText},
    };
    for (const auto& [line, key, text] : cases) {
        for (const char* end : {"", "\n", "\r\n", "\nX=Y\n"})
            EXPECT_EQ(Catalogue(line + end).text(key.c_str()), text) << line;
    }
}

TEST(MessageFile, ReadsOverWhatIsThere) {
    Catalogue catalogue("A=1\nB=2\n");
    catalogue.addText("B", "3").addText("", "empty key");
    catalogue.file("messages.txt", "A=4\nD=5\n");
    catalogue.readFile();
    EXPECT_EQ(catalogue.text("A"), "4");
    EXPECT_EQ(catalogue.text("B"), "3");
    EXPECT_EQ(catalogue.text("D"), "5");
    EXPECT_EQ(catalogue.text(""), "empty key");

    const TemporaryDirectory directory;
    for (const std::string& name : {directory.name("missing"), directory.name(), ""s})
        EXPECT_EQ(MessageFile(name.c_str()).addText("K", "added").text("K"), "added");
}

TEST(MessageFile, FormatsTheValuesAndCutsWhatTheyGive) {
    const std::string value(5000, 'v');
    const std::string shown(4095, 'v');
    MessageFile catalogue("");
    catalogue.addText("ALL", "%s|%5d|%-5ld|%lld|%zu|%c|%.2f|%x|%*d|%.*s|%%")
        .addText("VALUE", "%s")
        .addText("NUL", "a\0b"s)
        .addText("PLAIN", value)
        .addText("BOTH", "#PLAIN #PLAIN");
    EXPECT_EQ(catalogue.text("ALL", "s", 42, 7L, 1LL << 40, std::size_t{9}, 'c', 1.5, 255U, 4, 3, 2,
                             "xyz"),
              "s|   42|7    |1099511627776|9|c|1.50|ff|   3|xy|%");
    EXPECT_EQ(catalogue.text("VALUE", " \t v \r\n"), "v");
    EXPECT_EQ(catalogue.text("NUL"), "a");
    EXPECT_EQ(catalogue.text("VALUE", value.c_str()), shown);
    EXPECT_EQ(catalogue.text("BOTH"), shown + " " + shown);
}

TEST(MessageFile, ExpandsReferencesBehindTheFormatting) {
    const std::pair<const char*, const char*> cases[] = {
        {"[ #WORD and #WORD ]", "[ word and word ]"},
        {"#BLANKS next", "in side next"},
        {"Item #5, # alone, at end #", "Item #5, # alone, at end #"},
        {"#WORD, comma #COMMA, comma", "#WORD, comma with comma comma"},
        {"#word #EMPTY #WORD\tstay", "#word #EMPTY #WORD\tstay"},
        {"#PAIR #PAIR:a #PAIR::b", "<> <> <a> <> <> <b>"},
        {"#PAIR:a:b:c", "<a> <b:c>"},
        {"##WORD a#WORD", "#word aword"},
        {"#NESTED:x", "again <x> <in>"},
        // An inserted text is searched from its second character on: only SECOND's sign is looked
        // at again, and then joins with what the inner look-up could not see.
        {"#FIRST", "#WORD"},
        {"#SECOND", "xword"},
    };
    MessageFile catalogue("");
    catalogue.addText("WORD", "word")
        .addText("BLANKS", "  in side\t")
        .addText("COMMA,", "with comma")
        .addText("EMPTY", "")
        .addText("PAIR", "<%s> <%s>")
        .addText("NESTED", "again #PAIR:%s:in")
        .addText("MAKE", "WORD")
        .addText("FIRST", "##MAKE")
        .addText("SECOND", "x##MAKE")
        .addText("ECHO", "%s")
        .addText("JOIN", "%s %s")
        .addText("PART", "#PAIR:%s:%s end");
    for (const auto& [text, expected] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(catalogue.text("ECHO", text), expected);
        EXPECT_EQ(catalogue.addText("TESTED", text).text("TESTED"), expected);
    }
    EXPECT_EQ(catalogue.text("SECOND"), "x#WORD");
    EXPECT_EQ(catalogue.text("ECHO", "#JOIN:#WORD:#PAIR:a"), "word <a> <>");
    EXPECT_EQ(catalogue.text("PART", "a b", "c"), "<a> <> b:c end");
    EXPECT_EQ(catalogue.text("PART", "a:b", "c"), "<a> <b:c> end");
}

// Catalogues and arguments that mean harm.

std::string repeated(const std::string& part, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += part;
    return text;
}

TEST(HostileCatalogue, ShowsTextsThatCannotBeFormattedAsTheyStand) {
    for (const char* text :
         {"a%n",       "%hhn",      "%5n",          "%1$n",    "%*n",   "% n",   "%lln",  "%.3n",
          "%-+#0n",    "%%%n",      "%In",          "%'n",     "%l5n",  "%5%n",  "%w32n", "%s %n",
          "100%",      "%",         "%5",           "%.",      "%l",    "%y %s", "%5%",   "%!%s",
          "%hld",      "%s 100%",   "%1$s %s",      "%1$*d",   "%*1$d", "%1$%",  "%0$s",  "%2$s",
          "%1$d %1$s", "%1$s %3$s", "%2$*1$d %1$s", "%99999$d"}) {
        SCOPED_TRACE(text);
        alignas(std::max_align_t) char value[16] = "v";
        MessageFile catalogue("");
        catalogue.addText("TOP", text);
        EXPECT_EQ(catalogue.text("TOP", value, value), text);
        EXPECT_STREQ(value, "v");
    }
}

TEST(HostileCatalogue, GivesReferredTextsTheirTwoStringsAndNothingElse) {
    const bool numbered = Sorvex::platform::conversionsHaveNumbers;
    const std::pair<const char*, const char*> cases[] = {
        {"%d %s %x %s %s", "%d one %x two %s"},
        {"%2$s %1$s %3$s %1$s", numbered ? "two one %3$s one" : "%2$s %1$s %3$s %1$s"},
        {"%2$s", numbered ? "two" : "%2$s"},
        {"[%5s|%-5s]", "[  one|two  ]"},
        {"[%.2s|%5.1s]", "[on|    t]"},
        {"%*s %.*s %ls %05s % s", "%*s %.*s %ls %05s % s"},
        {"%% %s %", "% one %"},
        {"%n %5n %1$hhn %y %5%n %s", "%n %5n %1$hhn %y %5%n one"},
        {"%999999999999s", "#INNER:one:two"}};
    for (const auto& [text, expected] : cases) {
        SCOPED_TRACE(text);
        MessageFile catalogue("");
        catalogue.addText("TOP", "#INNER:one:two").addText("INNER", text);
        EXPECT_EQ(catalogue.text("TOP"), expected);
    }
}

TEST(HostileCatalogue, StopsExpandingAtItsBounds) {
    MessageFile catalogue("");
    const std::string step = std::string(4000, 'a') + " ";
    catalogue.addText("SELF", "#SELF").addText("GROWS", step + "#GROWS");
    EXPECT_EQ(catalogue.text("SELF"), "#SELF");
    EXPECT_EQ(catalogue.text("GROWS"), repeated(step, 4097) + "#GROWS");

    // The sign stands first in every text, so that no level above looks at it again.
    for (int level = 0; level < 20; ++level)
        catalogue.addText(asString("L%d", level), asString("#L%d", level + 1));
    EXPECT_EQ(catalogue.text("L0"), "#L17");
    catalogue.addText("L16", "end");
    EXPECT_EQ(catalogue.text("L0"), "end");

    // Each of the expansions of the whole look-up puts two points in the place of a reference.
    for (int level = 0; level < 40; ++level)
        catalogue.addText(asString("D%d", level), asString(".#D%d .#D%d", level + 1, level + 1));
    const std::string text = catalogue.text("D0");
    EXPECT_EQ(std::count(text.begin(), text.end(), '.'), 2 * 4097);
    EXPECT_EQ(catalogue.text("D0"), text);
}

// Minutes or hours, and texts of many megabytes, where nothing bounds the work of a look-up.
TEST(HostileCatalogue, EndsSoonWhateverTheTextsSay) {
    const std::pair<std::string, std::string> cases[] = {
        {repeated("#I ", 1365), repeated("#", 4095)},
        {repeated("#I ", 1365), repeated("# ", 2047)},
        {"#I", repeated("#", 4000) + "x#I"},
        {"#I", repeated("# ", 2000) + "x#I"},
        {"#I", repeated("#A:b:", 800) + "x#I"}};
    for (const auto& [top, inner] : cases) {
        MessageFile catalogue("");
        catalogue.addText("TOP", top).addText("I", inner);
        EXPECT_LT(catalogue.text("TOP").size(), 4000000U) << inner.substr(0, 9);
    }
}

TEST(HostileCatalogue, BoundsWhatItsTextsAskFor) {
    MessageFile catalogue("");
    const auto textOf = [&](const std::string& text, auto... values) {
        return catalogue.addText("K", text).text("K", values...);
    };
    EXPECT_EQ(textOf("%.*s|%.3000000s", 2000000, "abc", "def"), "abc|def");
    EXPECT_EQ(textOf("%.5000d%d", 1, 2), std::string(4095, '0'));
    EXPECT_EQ(textOf("%-3000000000d|", 1), "1");
    EXPECT_EQ(textOf("%*d%*d|", 2147483647, 1, -2147483647 - 1, 1), "");
    EXPECT_EQ(textOf("%-*d|%s", 2147483647, 1, "x"), "1");
    // Minutes, if all of it were formatted.
    if (Sorvex::platform::conversionsHaveNumbers) {
        EXPECT_EQ(textOf(repeated("%1$.4095f", 1 << 18), 0.5).front(), '0');
    }
}

// Every conversion of the runtime with the values that it takes, beside the runtime itself.
TEST(Catalogue, FormatsWhatTheRuntimeKnowsAsTheRuntimeDoes) {
    if (!Sorvex::platform::conversionsHaveNumbers)
        GTEST_SKIP() << "other conversions";
    MessageFile catalogue("");
    const auto expectSame = [&](const char* text, auto... values) {
        char expected[64] = "";
        errno = ENOENT;
        std::snprintf(expected, sizeof expected, text, values...);
        catalogue.addText("K", text);
        errno = ENOENT;
        EXPECT_EQ(catalogue.text("K", values...), expected) << text;
    };
    expectSame("%#x flags %Id|%'d", 255, -7, 12345);
    expectSame("%b of %s", 5, "disk");
    expectSame("%qd,%Ld,%s", 1LL << 40, -2LL, "x");
    expectSame("%Zu %zu %jd %td", std::size_t{3}, std::size_t{4}, std::intmax_t{5},
               std::ptrdiff_t{6});
    expectSame("%hhd %hd %hs,%s", 300, 70000, "h", "s");
    expectSame("%C|%lc|%S|%ls|%s", std::wint_t{'w'}, std::wint_t{'x'}, L"wide", L"text", "s");
    expectSame("err %m %s", "m");
    expectSame("%Lf %llf %a %s", 1.5L, 2.5L, 0.5, "x");
    expectSame("|%1$*2$.1f|%3$s", 1.25, 6, "x");
    expectSame("Size %2$-*1$d in %3$s", 5, 42, "B");
    expectSame("%1$If %2$s", 1.5, "x");
    expectSame("%2$s %1$.*3$s %% %m", "abc", "def", 2);
    expectSame("abc%lsdef", L"\u20AC");
    EXPECT_EQ(catalogue.addText("K", "%2$s " + std::string(5000, '.') + "%3$d%1$f")
                  .text("K", 1.5, "x", 7),
              "x " + std::string(4093, '.'));
}

}  // namespace
