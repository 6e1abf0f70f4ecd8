#include <string>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "support/failure_assertions.h"

namespace {

TEST(AsString, FormatsUpToItsLimitAndEndsAtTheFirstNul) {
    EXPECT_EQ(Sorvex::asString("%s has %d", "file", 12), "file has 12");
    EXPECT_EQ(Sorvex::asString("%c", 0), "");
    EXPECT_EQ(Sorvex::asString("a%cb", 0), "a");
    const std::string longest(4095, 'x');
    EXPECT_EQ(Sorvex::asString("%s", longest.c_str()), longest);
    EXPECT_FAILURE(Sorvex::asString("%sx", longest.c_str()), "asString() : buffer overflow");
}

TEST(OSInterface, SeparatesWithTheBackslash) {
    EXPECT_EQ(Sorvex::OSInterface::directorySeparatorCharacter(), '\x5C');
}

}  // namespace
