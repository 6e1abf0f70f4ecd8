#include <cstdint>
#include <numeric>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/bstream.h>

namespace {

using Sorvex::BStreamBuffer;

// An explicit instantiation may name a private member. This one shows the documented capacity,
// which nothing public does.
template <auto member>
struct CapacityAccess {
    friend std::uint32_t capacityOf(const BStreamBuffer& buffer) { return buffer.*member; }
};
std::uint32_t capacityOf(const BStreamBuffer& buffer);
template struct CapacityAccess<&BStreamBuffer::bufferCapacity>;

static_assert(!std::is_copy_constructible_v<BStreamBuffer>);
static_assert(!std::is_copy_assignable_v<BStreamBuffer>);

std::string pattern(std::size_t size) {
    std::string text(size, '\0');
    std::iota(text.begin(), text.end(), '\0');
    return text;
}

unsigned long write(BStreamBuffer& buffer, const std::string& bytes) {
    return buffer.write(bytes.data(), static_cast<unsigned long>(bytes.size()));
}

std::string unread(BStreamBuffer& buffer) {
    return {static_cast<const char*>(buffer.data()), buffer.dataSize()};
}

TEST(BStreamBuffer, GrowsByTheWriteOrByOneBlock) {
    const struct {
        std::vector<std::size_t> writes;
        std::uint32_t capacity;
    } cases[] = {
        {{}, 8192},
        {{8192}, 8192},
        {{8192, 1}, 16384},
        {{10000}, 18192},
        {{1, 8192}, 16384},
        {{8192, 8191}, 16384},
        {{8192, 8192}, 16384},
        {{8192, 8193}, 16385},
        {{100000, 9000, 9000}, 126192},
    };
    for (const auto& c : cases) {
        BStreamBuffer buffer;
        std::string all;
        for (const std::size_t size : c.writes) {
            EXPECT_EQ(write(buffer, pattern(size)), size);
            all += pattern(size);
        }
        EXPECT_EQ(capacityOf(buffer), c.capacity);
        EXPECT_EQ(unread(buffer), all);
    }
    std::string data = pattern(10000);
    BStreamBuffer copied(data.data(), 10000);
    EXPECT_EQ(capacityOf(copied), 18192U);
    EXPECT_EQ(unread(copied), data);
}

TEST(BStreamBuffer, GrowsByOneBlockForEachOfManySmallWrites) {
    BStreamBuffer buffer;
    for (int block = 0; block < 100; ++block)
        write(buffer, pattern(8000));
    EXPECT_EQ(buffer.dataSize(), 800000UL);
    EXPECT_EQ(capacityOf(buffer), 98U * 8192U);
}

TEST(BStreamBuffer, KeepsItsPlaceWhenItGrows) {
    BStreamBuffer buffer;
    write(buffer, pattern(8000));
    std::string head(5000, ' ');
    EXPECT_EQ(buffer.read(head.data(), 5000), 5000UL);
    EXPECT_EQ(head, pattern(8000).substr(0, 5000));
    write(buffer, pattern(300000));
    EXPECT_EQ(unread(buffer), pattern(8000).substr(5000) + pattern(300000));
}

TEST(BStreamBuffer, WritesItsOwnDataWhileItGrows) {
    BStreamBuffer buffer;
    write(buffer, pattern(8100));
    char skipped[100];
    buffer.read(skipped, sizeof skipped);
    buffer.write(buffer.data(), buffer.dataSize());
    EXPECT_EQ(unread(buffer), pattern(8100).substr(100) + pattern(8100).substr(100));
}

TEST(BStreamBuffer, DeliversNoMoreThanIsThere) {
    BStreamBuffer buffer;
    write(buffer, "abc");
    char target[8] = "-------";
    EXPECT_EQ(buffer.read(target, 7), 3UL);
    EXPECT_STREQ(target, "abc----");
    EXPECT_TRUE(buffer.isEmpty());
    EXPECT_EQ(buffer.read(target, 7), 0UL);
    EXPECT_EQ(buffer.read(nullptr, 0), 0UL);
    write(buffer, "de");
    EXPECT_EQ(unread(buffer), "de");
}

TEST(BStreamBuffer, KeepsItsCapacityWhenErased) {
    BStreamBuffer buffer;
    write(buffer, pattern(9000));
    const void* start = buffer.data();
    char taken[10];
    buffer.read(taken, sizeof taken);
    EXPECT_EQ(&buffer.erase(), &buffer);
    EXPECT_TRUE(buffer.isEmpty());
    EXPECT_EQ(buffer.data(), start);
    EXPECT_EQ(capacityOf(buffer), 17192U);
    write(buffer, "again");
    EXPECT_EQ(unread(buffer), "again");
    EXPECT_EQ(buffer.data(), start);
    EXPECT_EQ(buffer.write(nullptr, 0), 0UL);
    EXPECT_EQ(buffer.dataSize(), 5UL);
}

TEST(BStreamBuffer, RefusesToPassTheEndOf32BitsAndStaysAsItWas) {
    BStreamBuffer buffer;
    write(buffer, "abc");
    char byte = 0;
    // Its capacity would be 8192 + 4294967295; nothing is read from the source.
    EXPECT_THROW(buffer.write(&byte, 0xFFFFFFFFUL), std::bad_alloc);
    EXPECT_EQ(unread(buffer), "abc");
    EXPECT_EQ(capacityOf(buffer), 8192U);
}

}  // namespace
