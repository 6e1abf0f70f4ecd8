// Catalogues and arguments that mean harm.
#include <algorithm>
#include <chrono>
#include <string>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>
#include <sorvex/messagefile.h>

#include "support/temporary_directory.h"

namespace {

using Sorvex::asString;
using Sorvex::MessageFile;

std::string repeated(const std::string& part, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += part;
    return text;
}

TEST(HostileCatalogue, NeverReachesTheCountingConversion) {
    const struct {
        const char* text;
        const char* expected;
    } cases[] = {
        {"a%n", "a%n"},       {"%hhn", "%hhn"}, {"%5n", "%5n"},   {"%1$n", "%1$n"},
        {"%*n", "%*n"},       {"% n", "% n"},   {"%lln", "%lln"}, {"%.3n", "%.3n"},
        {"%-+#0n", "%-+#0n"}, {"%%n", "%n"},    {"%%%n", "%%n"},  {"%In", "%In"},
        {"%'n", "%'n"},       {"%l5n", "%l5n"}, {"%5%n", "%5%n"}, {"%w32n", "%w32n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        int counted = 77;
        MessageFile catalogue("");
        catalogue.addText("TOP", c.text).addText("BY REFERENCE", "#INNER").addText("INNER", c.text);
        EXPECT_EQ(catalogue.text("TOP", &counted, &counted), c.expected);
        EXPECT_EQ(catalogue.text("BY REFERENCE"), c.expected);
        EXPECT_EQ(counted, 77);
    }
}

TEST(HostileCatalogue, LeavesWhatIsNoConversion) {
    const struct {
        const char* text;
        const char* expected;
    } cases[] = {
        {"100%", "100%"}, {"%", "%"},           {"%5", "%5"},           {"%.", "%."},
        {"%l", "%l"},     {"%y %d", "%y 5"},    {"%hs", "%hs"},         {"%Ld", "%Ld"},
        {"%!%d", "%!5"},  {"%100$d", "%100$d"}, {"%1$*2$d", "%1$*2$d"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        MessageFile catalogue("");
        EXPECT_EQ(catalogue.addText("K", c.text).text("K", 5, 5), c.expected);
    }
}

TEST(HostileCatalogue, GivesReferredTextsTheirTwoStringsAndNothingElse) {
    const struct {
        const char* text;
        const char* expected;
    } cases[] = {
        {"%s %s %s", "one two %s"},
        {"%d %s %s", "%d one two"},
        {"%s %x %p %s %f", "one %x %p two %f"},
        {"%2$s %1$s %3$s %1$s", "two one %3$s one"},
        {"[%5s|%-5s]", "[  one|two  ]"},
        {"[%.2s|%5.1s]", "[on|    t]"},
        {"%*s %.*s %ls %hs", "%*s %.*s %ls %hs"},
        {"%c%s", "%cone"},
        {"%% %s %", "% one %"},
        {"%05s", "%05s"},
        {"% s", "% s"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        MessageFile catalogue("");
        catalogue.addText("TOP", "#INNER:one:two").addText("INNER", c.text);
        EXPECT_EQ(catalogue.text("TOP"), c.expected);
    }
    MessageFile catalogue("");
    catalogue.addText("TOP", "#INNER:one").addText("INNER", "%999999999999s");
    EXPECT_EQ(catalogue.text("TOP"), "#INNER:one");
}

TEST(HostileCatalogue, StopsExpandingAtItsBounds) {
    MessageFile catalogue("");
    catalogue.addText("SELF", "#SELF").addText("GROWS", "a #GROWS");
    EXPECT_EQ(catalogue.text("SELF"), "#SELF");
    EXPECT_EQ(catalogue.text("GROWS"), repeated("a ", 4097) + "#GROWS");

    // The sign stands first in every text, so that no level above looks at it again.
    for (int level = 0; level < 20; ++level)
        catalogue.addText(asString("L%d", level), asString("#L%d", level + 1));
    EXPECT_EQ(catalogue.text("L0"), "#L17");
    catalogue.addText("L16", "end");
    EXPECT_EQ(catalogue.text("L0"), "end");
}

TEST(HostileCatalogue, CountsExpansionsOverTheWholeLookup) {
    MessageFile catalogue("");
    for (int level = 0; level < 40; ++level) {
        catalogue.addText(asString("D%d", level), asString(".#D%d .#D%d", level + 1, level + 1));
    }
    const std::string text = catalogue.text("D0");
    // Each of the expansions puts two points in the place of a reference.
    EXPECT_EQ(std::count(text.begin(), text.end(), '.'), 2 * 4097);
    // The next look-up starts anew.
    EXPECT_EQ(catalogue.text("D0"), text);
}

TEST(HostileCatalogue, EndsSoonWhateverTheTextsSay) {
    const std::string signs = repeated("#", 4095);
    const std::string strays = repeated("# ", 2047);
    const struct {
        const char* what;
        std::string top;
        std::string inner;
    } cases[] = {
        {"a megabyte of text", repeated("x", 1 << 20), ""},
        {"a megabyte of conversions", repeated("%1$d", 1 << 18), ""},
        {"the widest field", "%2000000000d", ""},
        {"wide fields", repeated("%1$999999d", 100000), ""},
        {"the longest number", "%.2000000000d", ""},
        {"signs in one word", signs, ""},
        {"signs in one word, inserted", repeated("#I ", 1365), signs},
        {"signs in many words, inserted", repeated("#I ", 1365), strays},
        {"signs in front of themselves", "#I", repeated("#", 4000) + "x#I"},
        {"stray signs in front of themselves", "#I", repeated("# ", 2000) + "x#I"},
        {"long arguments in front of themselves", "#I", repeated("#A:b:", 800) + "x#I"},
        {"a long text in front of itself", "x #I", repeated("y", 4000) + "#I"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        MessageFile catalogue("");
        catalogue.addText("TOP", c.top).addText("I", c.inner);
        const auto start = std::chrono::steady_clock::now();
        catalogue.text("TOP", 5);
        // Generous, for slow and instrumented builds; unbounded, each takes minutes or hours.
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    }
}

TEST(HostileCatalogue, BoundsWidthsThatComeAsValues) {
    MessageFile catalogue("");
    catalogue.addText("K", "%*d").addText("P", "%lf %s %*s").addText("M", "%1$d %*d");
    EXPECT_EQ(catalogue.text("K", 2000000000, 1), "%*d");
    EXPECT_EQ(catalogue.text("K", -2147483647 - 1, 1), "%*d");
    EXPECT_EQ(catalogue.text("K", -3, 1), "1");
    EXPECT_EQ(catalogue.text("P", 1.5, "a", 3, "b"), "1.500000 a   b");
    EXPECT_EQ(catalogue.text("P", 1.5, "a", 1000001, "b"), "%lf %s %*s");
    EXPECT_EQ(catalogue.text("M", 1, 2, 3), "%1$d %*d");
}

TEST(HostileCatalogue, ShowsWideFieldsUpToTheCut) {
    MessageFile catalogue("");
    catalogue.addText("W", "a%5000d").addText("P", "%.5000d%d").addText("L", "%-2000000000d|");
    EXPECT_EQ(catalogue.text("W", 1), "a");
    EXPECT_EQ(catalogue.text("P", 1, 2), std::string(4095, '0'));
    EXPECT_EQ(catalogue.text("L", 1), "1");
}

}  // namespace
