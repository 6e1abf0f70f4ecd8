#include <cstdint>
#include <string>

#include <gtest/gtest.h>
#include <sorvex/hostinfo.h>

namespace {

TEST(DllFinder, MeetsEachModuleOnceFromTheBottomUpAndKeepsTheLast) {
    Sorvex::DllFinder finder;
    EXPECT_FALSE(finder);
    std::uintptr_t base = 0;
    std::string name;
    int steps = 0;
    for (; steps % 2 == 0 ? finder.first() : finder.next(); ++steps) {
        ASSERT_GT(finder.baseAddress(), base);
        base = finder.baseAddress();
        name = finder.fullName();
    }
    EXPECT_GT(steps, 1);
    EXPECT_FALSE(name.empty());
    EXPECT_FALSE(finder.next());
    EXPECT_FALSE(++finder);
    EXPECT_EQ(finder.fullName(), name);
    EXPECT_EQ(finder.baseAddress(), base);
}

}  // namespace
