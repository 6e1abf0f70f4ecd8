#include "platform/posix/wildcard.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using Sorvex::platform::Wildcard;

TEST(Wildcard, MatchesAsThePlatformDoes) {
    const struct {
        const char* pattern;
        const char* name;
        bool expected;
    } cases[] = {
        {"*", "a", true},
        {"*", "..", true},
        {"*.*", "readme", true},
        {"*.*", "a.b.c", true},
        {"*.txt", "a.txt", true},
        {"*.txt", "A.TXT", true},
        {"*.TXT", "a.txt", true},
        {"*.txt", "a.txt.txt", true},
        {"*.txt", "a.txt.bak", false},
        {"*.txt", "atxt", false},
        {"*.txt", ".txt", true},
        {"a*c*e", "abcde", true},
        {"a*c*e", "abcdef", false},
        {"*ab", "aab", true},
        {"?", "a", true},
        {"?", "ab", false},
        {"??", "a", true},
        {"a?.txt", "a.txt", true},
        {"a?.txt", "ab.txt", true},
        {"a?.txt", "abc.txt", false},
        {"a??.txt", "a.txt", true},
        {"a?b", "ab", false},
        {"a?b", "a.b", true},
        {"?*?", "a", true},
        {"*.", "readme", true},
        {"*.", "a.txt", false},
        {"*.", "a.b.", true},
        {"*.", "..", true},
        {"a.b*.", "a.bc", true},
        {"a.b*.", "a.b.c", false},
        {"a?.", "ab", true},
        {"a?.", "ab.c", false},
        {"a.*", "a", true},
        {"a.*", "a.b", true},
        {"a.*", "ab", false},
        {".*", ".profile", true},
        {".*", "profile", false},
        {"[a]*", "[A]1", true},
        {"@*", "`", false},
        {"\xC4*", "\xE4", false},
        {"a*\n*", "a\n", true},
        {"a*", "", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.pattern) + " and " + c.name);
        EXPECT_EQ(Wildcard(c.pattern).matches(c.name), c.expected);
    }
}

TEST(Wildcard, GoesOverTheEdgeOfAWord) {
    for (const std::size_t length : {62U, 63U, 64U, 65U, 127U, 128U, 4095U}) {
        SCOPED_TRACE(length);
        const std::string name(length, 'a');
        EXPECT_TRUE(Wildcard(name + "*").matches(name));
        EXPECT_FALSE(Wildcard(name + "*").matches(name.substr(1)));
        EXPECT_TRUE(Wildcard(std::string(length, '?') + "*").matches("a"));
        EXPECT_TRUE(Wildcard(std::string(length, '?') + ".b*").matches("a.bc"));
        EXPECT_FALSE(Wildcard(std::string(length, '?') + ".b*").matches(name + "a.bc"));
    }
}

TEST(Wildcard, TakesNoExponentialTime) {
    std::string pattern;
    std::string name;
    for (int i = 0; i < 60; ++i) {
        pattern += "*?.a";
        name += ".a";
    }
    EXPECT_FALSE(Wildcard(pattern + "b").matches(name + name));
    EXPECT_TRUE(Wildcard(pattern).matches(name + name));
}

}  // namespace
