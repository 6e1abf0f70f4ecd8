#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/hostinfo.h>

namespace {

using Sorvex::DllFinder;

std::vector<std::uintptr_t> allBases() {
    std::vector<std::uintptr_t> bases;
    for (DllFinder finder; finder.next();)
        bases.push_back(finder.baseAddress());
    return bases;
}

TEST(DllFinder, MeetsEachModuleOnceFromTheBottomUp) {
    const auto bases = allBases();
    ASSERT_GE(bases.size(), 2U);
    EXPECT_NE(bases.front(), 0U);
    for (std::size_t index = 1; index < bases.size(); ++index)
        EXPECT_LT(bases[index - 1], bases[index]);
    DllFinder finder;
    EXPECT_FALSE(finder);
    EXPECT_TRUE(finder.next());
    EXPECT_TRUE(finder.first());
    EXPECT_EQ(finder.baseAddress(), bases[1]);
}

TEST(DllFinder, KeepsTheLastModuleAtTheEnd) {
    DllFinder finder;
    std::string last;
    while (++finder)
        last = finder.fullName();
    EXPECT_FALSE(last.empty());
    const auto bases = allBases();
    for (int step = 0; step < 2; ++step) {
        EXPECT_FALSE(finder.isValid());
        EXPECT_EQ(finder.fullName(), last);
        EXPECT_EQ(finder.baseAddress(), bases.back());
        EXPECT_FALSE(finder.next());
    }
}

}  // namespace
