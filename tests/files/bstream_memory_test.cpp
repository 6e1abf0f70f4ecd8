// What reading a text does to the memory of the process.
#include <cstddef>
#include <cstring>
#include <fstream>
#include <new>
#include <string>

#include <gtest/gtest.h>
#include <sorvex/bstream.h>

namespace {

/// Pages of this process that lie in memory.
std::size_t residentPages() {
    std::size_t size = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return resident;
}

/// Promises a text of nearly 4 GB, delivers two characters of it, and looks at what that cost.
class LyingStream : public Sorvex::BStream {
public:
    unsigned long read(void* buffer, unsigned long size) override {
        if (size == 4) {
            std::memcpy(buffer, "\xF0\xFF\xFF\xFF", 4);
            return 4;
        }
        pages = residentPages();
        std::memcpy(buffer, "ab", 2);
        return 2;
    }

    unsigned long write(const void*, unsigned long) override { return 0; }

    std::size_t pages = 0;
};

TEST(BStreamMemory, IsNotTouchedForWhatDoesNotArrive) {
    LyingStream stream;
    std::string text = "before";
    const std::size_t before = residentPages();
    constexpr std::size_t fewPages = 4096;
    try {
        stream >> text;
        EXPECT_EQ(text, "ab");
        EXPECT_LT(stream.pages, before + fewPages);
        EXPECT_LT(residentPages(), before + fewPages);
    } catch (const std::bad_alloc&) {
        EXPECT_EQ(text, "before");
    }
}

}  // namespace
