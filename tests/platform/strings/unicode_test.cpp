#include "platform/posix/strings/unicode.h"

#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "platform/posix/base/errors.h"

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
    const std::pair<std::string, std::u16string> cases[] = {
        {std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
        {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", u"\u007F\u0080\u07FF\u0800\uFFFF"},
        {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0010FFFF"},
        // Stray, overlong, cut and forbidden forms: a lone surrogate for each byte.
        {"\x80z\xFF\xF0\x90\x80\x80\x80", {0xDC80, u'z', 0xDCFF, 0xD800, 0xDC00, 0xDC80}},
        {"\xC0\x80\xE0\x9F\xBF", {0xDCC0, 0xDC80, 0xDCE0, 0xDC9F, 0xDCBF}},
        {"\xE2\x82z\xE2\x82", {0xDCE2, 0xDC82, u'z', 0xDCE2, 0xDC82}},
        {"\xED\xB2\x80", {0xDCED, 0xDCB2, 0xDC80}},
        {"\xF4\x90\x80\x80", {0xDCF4, 0xDC90, 0xDC80, 0xDC80}},
    };
    for (const auto& [text, wide] : cases) {
        EXPECT_EQ(widened(text), wide) << text;
        EXPECT_EQ(narrowed(wide), text);
    }
    // Surrogates that stand for no byte.
    EXPECT_EQ(narrowed({0xD800, 0xD800, u'z', 0xDC7F}), "\xEF\xBF\xBD\xEF\xBF\xBDz\xEF\xBF\xBD");
}

TEST(Unicode, NeedsRoomForAllOfIt) {
    char16_t wide[3];
    char text[5];
    for (const auto& [room, units] : {std::pair(0, 3), {3, 3}, {2, 0}})
        EXPECT_EQ(platform::MultiByteToWideChar(CP_ACP, 0, "\xF0\x90\x80\x80", -1, wide, room),
                  units);
    for (const auto& [room, bytes] : {std::pair(0, 5), {5, 5}, {4, 0}})
        EXPECT_EQ(platform::WideCharToMultiByte(CP_ACP, 0, wide, -1, text, room, nullptr, nullptr),
                  bytes);
    EXPECT_EQ(platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

}  // namespace
