#include "platform/posix/unicode.h"

#include <string>

#include <gtest/gtest.h>

#include "platform/posix/errors.h"

namespace {

using namespace Sorvex;

std::u16string widened(const std::string& text) {
    char16_t wide[64];
    const int count = platform::MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text.data(),
                                                    static_cast<int>(text.size()), wide, 64);
    return {wide, static_cast<std::size_t>(count)};
}

std::string narrowed(const std::u16string& wide) {
    char text[64];
    const int count = platform::WideCharToMultiByte(
        CP_ACP, 0, wide.data(), static_cast<int>(wide.size()), text, 64, nullptr, nullptr);
    return {text, static_cast<std::size_t>(count)};
}

TEST(Unicode, SurvivesBothWaysWhateverTheBytes) {
    const struct {
        std::string text;
        std::u16string wide;
    } cases[] = {
        {"a", u"a"},
        {std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
        {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", u"\u007F\u0080\u07FF\u0800\uFFFF"},
        {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0010FFFF"},
        // Stray, overlong, cut and forbidden forms: a lone surrogate for each byte.
        {"\x80"
         "a",
         {0xDC80, u'a'}},
        {"\xC0\x80", {0xDCC0, 0xDC80}},
        {"\xE0\x9F\xBF", {0xDCE0, 0xDC9F, 0xDCBF}},
        {"\xE2\x82", {0xDCE2, 0xDC82}},
        {"\xE2\x82"
         "a",
         {0xDCE2, 0xDC82, u'a'}},
        {"\xED\xB2\x80", {0xDCED, 0xDCB2, 0xDC80}},
        {"\xF4\x90\x80\x80", {0xDCF4, 0xDC90, 0xDC80, 0xDC80}},
        {"\xFF", {0xDCFF}},
        {"\xF0\x90\x80\x80\x80", {0xD800, 0xDC00, 0xDC80}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.text));
        EXPECT_EQ(widened(c.text), c.wide);
        EXPECT_EQ(narrowed(c.wide), c.text);
    }
}

TEST(Unicode, ReplacesSurrogatesThatStandForNoByte) {
    EXPECT_EQ(narrowed({0xD800}), "\xEF\xBF\xBD");
    EXPECT_EQ(narrowed({0xD800, u'a'}),
              "\xEF\xBF\xBD"
              "a");
    EXPECT_EQ(narrowed({0xDC7F}), "\xEF\xBF\xBD");
}

TEST(Unicode, NeedsRoomForAllOfIt) {
    char16_t wide[8];
    char text[8];
    EXPECT_EQ(platform::MultiByteToWideChar(CP_ACP, 0, "\xF0\x90\x80\x80", -1, nullptr, 0), 3);
    EXPECT_EQ(platform::MultiByteToWideChar(CP_ACP, 0, "\xF0\x90\x80\x80", -1, wide, 3), 3);
    EXPECT_EQ(wide[2], 0);
    EXPECT_EQ(platform::WideCharToMultiByte(CP_ACP, 0, wide, -1, nullptr, 0, nullptr, nullptr), 5);
    EXPECT_EQ(platform::WideCharToMultiByte(CP_ACP, 0, wide, -1, text, 5, nullptr, nullptr), 5);
    platform::SetLastError(0);
    EXPECT_EQ(platform::WideCharToMultiByte(CP_ACP, 0, wide, -1, text, 4, nullptr, nullptr), 0);
    EXPECT_EQ(platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    platform::SetLastError(0);
    EXPECT_EQ(platform::MultiByteToWideChar(CP_ACP, 0, "\xF0\x90\x80\x80", -1, wide, 2), 0);
    EXPECT_EQ(platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(platform::MultiByteToWideChar(1252, 0, "a", -1, wide, 8), 0);
    EXPECT_EQ(platform::GetLastError(), ERROR_INVALID_PARAMETER);
}

}  // namespace
