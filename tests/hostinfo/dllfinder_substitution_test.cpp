// The walk over an address space that the test lays out.
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/hostinfo.h>

#include "platform/platform.h"

namespace {

struct Region {
    std::size_t size;
    const char* name;
};

const std::vector<Region> layout = {{0x1000, "never asked"},
                                    {0x2000, nullptr},
                                    {0x1000, "first"},
                                    {0x4000, nullptr},
                                    {0x1000, "second"}};

std::vector<std::uintptr_t>& handlesAsked() {
    static std::vector<std::uintptr_t> handles;
    return handles;
}

const Region* regionAt(std::uintptr_t address) {
    std::uintptr_t start = 0;
    for (const Region& region : layout) {
        if (start == address)
            return &region;
        start += region.size;
    }
    return nullptr;
}

}  // namespace

namespace Sorvex::platform {

std::size_t VirtualQuery(const void* address, MEMORY_BASIC_INFORMATION* information, std::size_t) {
    const Region* region = regionAt(reinterpret_cast<std::uintptr_t>(address));
    if (region == nullptr)
        return 0;
    information->RegionSize = region->size;
    return sizeof *information;
}

DWORD GetModuleFileNameA(HMODULE module, char* name, DWORD size) {
    const auto address = reinterpret_cast<std::uintptr_t>(module);
    handlesAsked().push_back(address);
    EXPECT_EQ(size, 512U);
    const Region* region = regionAt(address);
    if (region == nullptr || region->name == nullptr)
        return 0;
    const std::string text = region->name;
    name[text.copy(name, size - 1)] = '\0';
    return 1;
}

}  // namespace Sorvex::platform

namespace {

TEST(DllFinderWalk, AsksForTheNameAtEveryRegionButTheOneAtZero) {
    Sorvex::DllFinder finder;
    EXPECT_TRUE(finder.next());
    EXPECT_EQ(finder.fullName(), "first");
    EXPECT_EQ(finder.baseAddress(), 0x3000U);
    EXPECT_EQ(handlesAsked(), (std::vector<std::uintptr_t>{0x1000, 0x3000}));
    EXPECT_TRUE(finder.next());
    EXPECT_EQ(finder.fullName(), "second");
    EXPECT_FALSE(finder.next());
    EXPECT_FALSE(finder.next());
    EXPECT_EQ(handlesAsked(), (std::vector<std::uintptr_t>{0x1000, 0x3000, 0x4000, 0x8000}));
}

}  // namespace
