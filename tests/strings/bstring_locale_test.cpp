// The members whose answers depend on the locale, in locales that are made for the test.
#include <clocale>
#include <cstdio>
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
class ScopedLocale {
public:
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

    ScopedLocale(const ScopedLocale&) = delete;
    ScopedLocale& operator=(const ScopedLocale&) = delete;

    bool isMissing() const { return !isThere; }

private:
    Sorvex::testing::TemporaryDirectory directory;
    bool isThere = false;
};

#define REQUIRE_LOCALE(locale) \
    if ((locale).isMissing())  \
    GTEST_SKIP() << "the host has no description of this locale to compile"

TEST(BStringInALocale, WritesAndReadsItsDecimalPoint) {
    const ScopedLocale german("de_DE", "ISO-8859-1");
    REQUIRE_LOCALE(german);
    EXPECT_EQ(BString(1.5), "1,500000");
    EXPECT_EQ(BString(2.5e24), "2,5e+24");
    EXPECT_EQ(BString(2.5e24).asDouble(), 2.5e24);
    EXPECT_EQ(BString("1,5").asDouble(), 1.5);
    EXPECT_EQ(BString("1.5").asDouble(), 1);
    EXPECT_TRUE(BString("1.5").isDouble());
    EXPECT_EQ(BString(12345), "12345");
}

TEST(BStringInALocale, WritesADecimalPointOfMoreThanOneByte) {
    const ScopedLocale pashto("ps_AF", "UTF-8");
    REQUIRE_LOCALE(pashto);
    EXPECT_EQ(BString(-1.5),
              "-1\xD9\xAB"
              "500000");
    EXPECT_EQ(BString("1\xD9\xAB"
                      "5")
                  .asDouble(),
              1.5);
    EXPECT_EQ(BString(1.5e300),
              "1\xD9\xAB"
              "5e+300");
    // One character less than fits with a full stop.
    EXPECT_EQ(BString(9e23), "9e+23");
}

TEST(BStringInALocale, ChangesAndClassifiesItsLetters) {
    const ScopedLocale german("de_DE", "ISO-8859-1");
    REQUIRE_LOCALE(german);
    EXPECT_EQ(BString("\xE4z\xDF").upperCase(), "\xC4Z\xDF");
    EXPECT_EQ(BString("\xC4Z").lowerCase(), "\xE4z");
    EXPECT_EQ(BString(5000, '\xE4').upperCase(), std::string(5000, '\xC4'));
    EXPECT_TRUE(BString("\xE4 \xDF").isPrintable());
    EXPECT_FALSE(BString("\x85").isPrintable());
    EXPECT_FALSE(BString("\xB2").isDigits());
}

TEST(BStringInALocale, ChangesAsciiLettersAsItSays) {
    const ScopedLocale turkish("tr_TR", "ISO-8859-9");
    REQUIRE_LOCALE(turkish);
    EXPECT_EQ(BString("i").upperCase(), "\xDD");
    EXPECT_EQ(BString(5000, 'i').upperCase(), std::string(5000, '\xDD'));
    EXPECT_EQ(BString(5000, 'I').lowerCase(), std::string(5000, '\xFD'));
}

}  // namespace
