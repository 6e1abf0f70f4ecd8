#include <string>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "support/bstring_printer.h"

namespace {

using Sorvex::BString;
using namespace std::string_literals;

BString whole(const std::string& text) {
    return BString(text.data(), text.size());
}

TEST(BStringCase, ChangesLettersInTheWholeViewAndTwinsTheTextView) {
    BString text = whole("aZ{`@[\0z\xE9"s);
    EXPECT_EQ(&text.upperCase(), &text);
    EXPECT_EQ(text, "AZ{`@[\0Z\xE9"s);
    EXPECT_EQ(text.lowerCase(), "az{`@[\0z\xE9"s);
    EXPECT_EQ(BString::upperCase("ab\0c"s), "AB");
    EXPECT_EQ(BString::lowerCase("AB"), "ab");
    EXPECT_EQ(BString::lowerCase(""s), "");
}

TEST(BStringCase, ChangesLongTextsAsItDoesShortOnes) {
    std::string every;
    std::string expected;
    for (int i = 0; i < 256 * 9 + 5; ++i) {
        const char c = static_cast<char>(i);
        every += c;
        expected += c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
    }
    EXPECT_EQ(whole(every).upperCase(), expected);
    EXPECT_EQ(whole(every.substr(0, 700)).upperCase(), expected.substr(0, 700));
}

TEST(BStringClasses, JudgeTheWholeViewAndTwinsTheTextView) {
    const struct {
        std::string text;
        bool isPrintable;
        bool isDigits;
        bool isSigned;
        bool isDouble;
    } cases[] = {
        {"", true, true, true, true},
        {"-", true, false, true, true},
        {"12", true, true, true, true},
        {"-12", true, false, true, true},
        {"+12", true, false, false, false},
        {"--1", true, false, false, false},
        {"1-", true, false, false, false},
        {" 1", true, false, false, false},
        {".", true, false, false, true},
        {"-.", true, false, false, true},
        {"1.", true, false, false, true},
        {".5", true, false, false, true},
        {"-1.5", true, false, false, true},
        {"1.2.3", true, false, false, false},
        {"..", true, false, false, false},
        {"1e5", true, false, false, false},
        {"+1.5", true, false, false, false},
        {"a\tb", false, false, false, false},
        {"a\nb", false, false, false, false},
        {"\x7F", false, false, false, false},
        {"\xB2", false, false, false, false},
        {"\xFF", false, false, false, false},
        {"1\0x"s, false, false, false, true},
        {"-1\0x"s, false, false, true, true},
        {"\0x"s, false, false, false, true},
        {"1.5\0x"s, false, false, false, true},
        {std::string(200, '7'), true, true, true, true},
        {std::string(200, '7') + ":", true, false, false, false},
        {std::string(63, '7') + "/" + std::string(70, '7'), true, false, false, false},
        {std::string(200, ' ') + "\t", false, false, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.text));
        const BString text = whole(c.text);
        EXPECT_EQ(text.isPrintable(), c.isPrintable);
        EXPECT_EQ(text.isDigits(), c.isDigits);
        EXPECT_EQ(text.isSigned(), c.isSigned);
        EXPECT_EQ(text.isDouble(), c.isDouble);

        const BString visible(c.text);
        for (const bool equal : {BString::isPrintable(c.text) == visible.isPrintable(),
                                 BString::isPrintable(c.text.c_str()) == visible.isPrintable(),
                                 BString::isDigits(c.text) == visible.isDigits(),
                                 BString::isDigits(c.text.c_str()) == visible.isDigits(),
                                 BString::isSigned(c.text) == visible.isSigned(),
                                 BString::isSigned(c.text.c_str()) == visible.isSigned(),
                                 BString::isDouble(c.text) == visible.isDouble(),
                                 BString::isDouble(c.text.c_str()) == visible.isDouble()})
            EXPECT_TRUE(equal);
    }
}

}  // namespace
