#include <sorvex/messagefile.h>

#include <string>

#include <gtest/gtest.h>

#include "support/temporary_directory.h"

namespace {

using Sorvex::MessageFile;
using Sorvex::testing::TemporaryDirectory;

/// A catalogue of these lines, made and read.
class Catalogue : private TemporaryDirectory, public MessageFile {
public:
    explicit Catalogue(const std::string& contents)
        : MessageFile(file("messages.txt", contents).c_str()) {}

    void rereadWith(const std::string& contents) {
        file("messages.txt", contents);
        readFile();
    }
};

TEST(MessageFile, ReadsTheEntryOfALine) {
    const struct {
        const char* what;
        std::string line;
        const char* key;
        const char* text;
    } cases[] = {
        {"plain", "KEY = text", "KEY", "text"},
        {"no blanks", "KEY=text", "KEY", "text"},
        {"blanks of all kinds", " \t KEY \t = \t a  b \t\r", "KEY", "a  b"},
        {"further separators", "K=V=W", "K", "V=W"},
        {"comment signs in the text", "K=http://here // there", "K", "http://here // there"},
        {"a single slash", "/K=V", "/K", "V"},
        {"a blank between slashes", "/ /K=V", "/ /K", "V"},
        {"a blank in the key", "A B=V", "A B", "V"},
        {"high bytes", "\xC4=\xE4", "\xC4", "\xE4"},
        {"a NUL in the key", std::string("K \0L=V", 6), "K", "V"},
        {"a NUL in the text", std::string("K=V \0W", 6), "K", "V"},
        {"a NUL in both", std::string("K\0L=V\0W", 7), "K", "V"},
        {"nothing behind the separator", "K =", "K", ""},
        {"a comment", "//K=V", "//K", ""},
        {"a comment indented", " \t//K=V", "//K", ""},
        {"no separator", "Some words", "Some words", ""},
        {"the separator first", " = stray", "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        for (const char* end : {"", "\n", "\r\n", "\nX=Y\n"}) {
            Catalogue catalogue(c.line + end);
            EXPECT_EQ(catalogue.text(c.key), c.text);
        }
    }
}

TEST(MessageFile, TakesTheLastLineOfAKeyAndTellsCaseApart) {
    Catalogue catalogue("K=first\nk=small\n\n// K=comment\nK=last");
    EXPECT_EQ(catalogue.text("K"), "last");
    EXPECT_EQ(catalogue.text("k"), "small");
}

TEST(MessageFile, ReadsLinesOfAnyLength) {
    const std::string key(1000000, 'k');
    const std::string value(4000, 'v');
    Catalogue catalogue("A=1\n" + key + "=" + value + "\n" + std::string(1000000, ' ') + "B=2\n");
    EXPECT_EQ(catalogue.text("A"), "1");
    EXPECT_EQ(catalogue.text(key.c_str()), value);
    EXPECT_EQ(catalogue.text("B"), "2");
}

TEST(MessageFile, IsEmptyWithoutAReadableFile) {
    const TemporaryDirectory directory;
    for (const std::string& name : {directory.name("missing"), directory.name(), std::string()}) {
        MessageFile catalogue(name.c_str());
        EXPECT_EQ(catalogue.text("K"), "");
        catalogue.addText("K", "added");
        EXPECT_EQ(catalogue.text("K"), "added");
    }
}

TEST(MessageFile, ReadsAgainOverWhatIsThere) {
    Catalogue catalogue("A=1\nB=2\n");
    catalogue.addText("B", "3").addText("", "empty key").addText("C", "  kept \r\n");
    EXPECT_EQ(catalogue.text("B"), "3");
    catalogue.rereadWith("A=4\nD=5\n");
    EXPECT_EQ(catalogue.text("A"), "4");
    EXPECT_EQ(catalogue.text("B"), "3");
    EXPECT_EQ(catalogue.text("C"), "kept");
    EXPECT_EQ(catalogue.text("D"), "5");
    EXPECT_EQ(catalogue.text(""), "empty key");
}

TEST(MessageFile, FormatsTheValues) {
    MessageFile catalogue("");
    catalogue.addText("ALL", "%s|%5d|%-5ld|%lld|%zu|%c|%.2f|%x|%*d|%.*s|%%")
        .addText("NUMBERED", "%2$s before %1$s")
        .addText("BLANK", " \t\r\n")
        .addText("BLANK VALUE", "%s")
        .addText("NUL", std::string("a\0b", 3));
    EXPECT_EQ(catalogue.text("ALL", "s", 42, 7L, 1LL << 40, std::size_t{9}, 'c', 1.5, 255U, 4, 3, 2,
                             "xyz"),
              "s|   42|7    |1099511627776|9|c|1.50|ff|   3|xy|%");
    EXPECT_EQ(catalogue.text("BLANK"), "");
    EXPECT_EQ(catalogue.text("BLANK VALUE", "  v  "), "v");
    EXPECT_EQ(catalogue.text("NUL"), "a");
}

TEST(MessageFile, CutsTheFormattedTextAndNotTheExpandedOne) {
    MessageFile catalogue("");
    const std::string value(5000, 'v');
    catalogue.addText("LONG", "%s").addText("TWICE", "#LONG:%s #LONG:%s").addText("PLAIN", value);
    EXPECT_EQ(catalogue.text("LONG", value.c_str()), std::string(4095, 'v'));
    EXPECT_EQ(catalogue.text("PLAIN"), std::string(4095, 'v'));
    catalogue.addText("BOTH", "#PLAIN #PLAIN");
    EXPECT_EQ(catalogue.text("BOTH"), std::string(4095, 'v') + " " + std::string(4095, 'v'));
}

TEST(MessageFile, ExpandsReferences) {
    const struct {
        const char* text;
        const char* expected;
    } cases[] = {
        {"Could not open: #MISSING:a.txt", "Could not open: File a.txt is missing"},
        {"#WORD", "word"},
        {"#WORD and #WORD", "word and word"},
        {"[ #WORD ]", "[ word ]"},
        {"#BLANKS next", "in side next"},
        {"Item #5 failed", "Item #5 failed"},
        {"ends in #", "ends in #"},
        {"# alone", "# alone"},
        {"#WORD, comma", "#WORD, comma"},
        {"#COMMA, comma", "with comma comma"},
        {"#word", "#word"},
        {"#EMPTY stays", "#EMPTY stays"},
        {"#PAIR", "<> <>"},
        {"#PAIR:a", "<a> <>"},
        {"#PAIR:a:b:c", "<a> <b:c>"},
        {"#PAIR::b", "<> <b>"},
        {"#PAIR:a b", "<a> <> b"},
        {"#WORD\tis part", "#WORD\tis part"},
        {"##WORD", "#word"},
        {"a#WORD", "aword"},
        {"#NESTED:x", "again <x> <in>"},
        {"#STAYS", "#UNKNOWN here"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        MessageFile catalogue("");
        catalogue.addText("MISSING", "File %s is missing")
            .addText("WORD", "word")
            .addText("BLANKS", "  in side\t")
            .addText("COMMA,", "with comma")
            .addText("EMPTY", "")
            .addText("PAIR", "<%s> <%s>")
            .addText("NESTED", "again #PAIR:%s:in")
            .addText("STAYS", "#UNKNOWN here")
            .addText("TESTED", c.text);
        EXPECT_EQ(catalogue.text("TESTED"), c.expected);
    }
}

TEST(MessageFile, LooksForReferencesBehindTheFormatting) {
    MessageFile catalogue("");
    catalogue.addText("WORD", "word").addText("PAIR", "<%s> <%s>").addText("ECHO", "%s");
    catalogue.addText("JOIN", "%s %s");
    EXPECT_EQ(catalogue.text("ECHO", "see #WORD there"), "see word there");
    EXPECT_EQ(catalogue.text("ECHO", "#JOIN:#WORD:#PAIR:a"), "word <a> <>");
    catalogue.addText("PART", "#PAIR:%s:%s end");
    EXPECT_EQ(catalogue.text("PART", "a b", "c"), "<a> <> b:c end");
    EXPECT_EQ(catalogue.text("PART", "a:b", "c"), "<a> <b:c> end");
}

TEST(MessageFile, SearchesAnInsertedTextFromItsSecondCharacter) {
    MessageFile catalogue("");
    // FIRST puts its sign first and SECOND behind it: only the latter is looked at again, and then
    // joins with what the inner look-up could not see.
    catalogue.addText("NAME", "late");
    catalogue.addText("FIRST", "##MAKE").addText("SECOND", "x##MAKE").addText("MAKE", "NAME");
    EXPECT_EQ(catalogue.text("FIRST"), "#NAME");
    catalogue.addText("TO FIRST", "#FIRST").addText("TO SECOND", "#SECOND");
    EXPECT_EQ(catalogue.text("TO FIRST"), "#NAME");
    EXPECT_EQ(catalogue.text("SECOND"), "x#NAME");
    EXPECT_EQ(catalogue.text("TO SECOND"), "xlate");
}

}  // namespace
