#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "support/bstring_printer.h"

namespace {

using Sorvex::BString;
using namespace std::string_literals;

TEST(BStringCase, ChangesLettersInTheWholeViewAndTwinsTheTextView) {
    std::string mixed;
    std::string upper;
    std::string lower;
    for (int i = 0; i < 256 * 9 + 5; ++i) {
        const char c = static_cast<char>(i);
        mixed += c;
        upper += c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
        lower += c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    }
    for (const std::size_t length : {mixed.size(), std::size_t{700}}) {
        EXPECT_EQ(BString(mixed.data(), length).upperCase(), upper.substr(0, length));
        EXPECT_EQ(BString(mixed.data(), length).lowerCase(), lower.substr(0, length));
    }
    EXPECT_EQ(BString::upperCase("ab\0c"s), "AB");
    EXPECT_EQ(BString::lowerCase("AB\0C"s), "ab");
}

std::string letters(bool isPrintable, bool isDigits, bool isSigned, bool isDouble) {
    return (isPrintable ? "p"s : ""s) + (isDigits ? "0" : "") + (isSigned ? "-" : "") +
           (isDouble ? "." : "");
}

std::string classesByMembers(const BString& text) {
    return letters(text.isPrintable(), text.isDigits(), text.isSigned(), text.isDouble());
}

template <typename Text>
std::string classesByTwins(const Text& text) {
    return letters(BString::isPrintable(text), BString::isDigits(text), BString::isSigned(text),
                   BString::isDouble(text));
}

TEST(BStringClasses, JudgeTheWholeViewAndTwinsTheTextView) {
    const std::string digits(70, '7');
    const std::string blanks(70, ' ');
    const std::pair<std::string, const char*> cases[] = {
        {"", "p0-."},        {"-", "p-."},        {"12", "p0-."},      {"-12", "p-."},
        {"+1", "p"},         {"--1", "p"},        {"1-", "p"},         {" 1", "p"},
        {"-.", "p."},        {"1.", "p."},        {".5", "p."},        {"1.2.3", "p"},
        {"..", "p"},         {"1e5", "p"},        {"a\tb", ""},        {"\x7F", ""},
        {"\xB2", ""},        {"1\0x"s, "."},      {"-1\0x"s, "-."},    {digits, "p0-."},
        {digits + ":", "p"}, {"/" + digits, "p"}, {blanks + "\t", ""}, {"\t" + blanks, ""}};
    for (const auto& [text, classes] : cases) {
        SCOPED_TRACE(::testing::PrintToString(text));
        EXPECT_EQ(classesByMembers(BString(text.data(), text.size())), classes);
        EXPECT_EQ(classesByTwins(text), classesByMembers(BString(text)));
        EXPECT_EQ(classesByTwins(text.c_str()), classesByMembers(BString(text)));
    }
}

}  // namespace
