// The members whose answers depend on the locale, in locales that are made for the test.
#include <clocale>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "support/bstring_printer.h"
#include "support/temporary_directory.h"

namespace {

using Sorvex::BString;

/// Puts a locale in force until the end of the scope. It is compiled from the host's description,
/// which can be missing.
struct ScopedLocale {
    ScopedLocale(const std::string& language, const std::string& characters) {
        const std::string compile = "localedef -i " + language + " -f " + characters + " '" +
                                    directory.name("test") + "' >/dev/null 2>&1";
        // A warning about the description makes the command fail, but leaves the locale.
        [[maybe_unused]] const int result = std::system(compile.c_str());
        setenv("LOCPATH", directory.name().c_str(), 1);
        isThere = std::setlocale(LC_ALL, "test") != nullptr;
    }

    ~ScopedLocale() {
        std::setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
    }

    Sorvex::testing::TemporaryDirectory directory;
    bool isThere = false;
};

TEST(BStringInALocale, FollowsItsDecimalPointAndItsLetters) {
    const ScopedLocale german("de_DE", "ISO-8859-1");
    if (!german.isThere)
        GTEST_SKIP();
    EXPECT_EQ(BString(1.5), "1,500000");
    EXPECT_EQ(BString("1,5").asDouble(), 1.5);
    EXPECT_EQ(BString("1.5").asDouble(), 1);
    EXPECT_TRUE(BString("1.5").isDouble());

    EXPECT_EQ(BString("\xE4z\xDF").upperCase(), "\xC4Z\xDF");
    EXPECT_EQ(BString("\xC4Z").lowerCase(), "\xE4z");
    EXPECT_TRUE(BString("\xE4 \xDF").isPrintable());
    EXPECT_FALSE(BString("\x85").isPrintable());
}

TEST(BStringInALocale, WritesADecimalPointOfMoreThanOneByte) {
    const ScopedLocale pashto("ps_AF", "UTF-8");
    if (!pashto.isThere)
        GTEST_SKIP();
    const std::string point = "\xD9\xAB";
    EXPECT_EQ(BString(-1.5), "-1" + point + "500000");
    EXPECT_EQ(BString("1" + point + "5").asDouble(), 1.5);
    EXPECT_EQ(BString(1.5e300), "1" + point + "5e+300");
    // One character less than fits with a full stop.
    EXPECT_EQ(BString(9e23), "9e+23");
}

TEST(BStringInALocale, ChangesAsciiLettersAsItSays) {
    const ScopedLocale turkish("tr_TR", "ISO-8859-9");
    if (!turkish.isThere)
        GTEST_SKIP();
    EXPECT_EQ(BString("i").upperCase(), "\xDD");
    EXPECT_EQ(BString(5000, 'i').upperCase(), std::string(5000, '\xDD'));
    EXPECT_EQ(BString(5000, 'I').lowerCase(), std::string(5000, '\xFD'));
}

}  // namespace
