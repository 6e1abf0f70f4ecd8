#include "platform/posix/files/wildcard.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Sorvex::platform::Wildcard;

TEST(Wildcard, MatchesAsThePlatformDoes) {
    const struct {
        const char* pattern;
        std::vector<const char*> taken, refused;
    } cases[] = {
        {"*.*", {"readme", "a.b.c", ".."}, {}},
        {"*.tXt", {"a.txt", "A.TXT", "a.txt.txt", ".txt"}, {"a.txt.bak", "atxt"}},
        {"a*c*e", {"abcde", "acdcee"}, {"abcdef", ""}},
        {"??", {"a", "ab"}, {"abc"}},
        {"a??.txt", {"a.txt", "ab.txt", "abc.txt"}, {"abcd.txt"}},
        {"a?b", {"a.b"}, {"ab"}},
        {"*.", {"readme", "a.b.", ".."}, {"a.txt"}},
        {"a.b*.", {"a.bc"}, {"a.b.c"}},
        {"a?.", {"ab"}, {"ab.c"}},
        {"a.*", {"a", "a.b"}, {"ab"}},
        {".*", {".profile"}, {"profile"}},
        {"@[a\xC4]\n*", {"@[A\xC4]\n1"}, {"`[a\xC4]\n", "@{a\xC4]\n", "@[a\xE4]\n"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pattern);
        for (const char* name : c.taken)
            EXPECT_TRUE(Wildcard(c.pattern).matches(name)) << name;
        for (const char* name : c.refused)
            EXPECT_FALSE(Wildcard(c.pattern).matches(name)) << name;
    }
}

TEST(Wildcard, GoesOverTheEdgeOfAWordAndTakesNoExponentialTime) {
    for (const std::size_t length : {62U, 63U, 64U, 65U, 127U, 128U, 4095U}) {
        SCOPED_TRACE(length);
        const std::string name(length, 'a');
        EXPECT_TRUE(Wildcard(name + "*").matches(name));
        EXPECT_FALSE(Wildcard(name + "*").matches(name.substr(1)));
        EXPECT_TRUE(Wildcard(std::string(length, '?') + ".b*").matches("a.bc"));
        EXPECT_FALSE(Wildcard(std::string(length, '?') + ".b*").matches(name + "a.bc"));
    }
    std::string pattern;
    for (int i = 0; i < 60; ++i)
        pattern += "*?.a";
    EXPECT_FALSE(Wildcard(pattern).matches(std::string(200, '.')));
}

}  // namespace
