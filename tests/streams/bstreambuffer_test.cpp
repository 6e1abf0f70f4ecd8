#include <cstdint>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
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

std::string unread(BStreamBuffer& buffer) {
    return {static_cast<const char*>(buffer.data()), buffer.dataSize()};
}

TEST(BStreamBuffer, GrowsByTheWriteOrByOneBlockAndKeepsItsCapacityWhenErased) {
    const std::pair<std::vector<unsigned long>, std::uint32_t> cases[] = {
        {{3}, 8192},
        {{7}, 8192},
        {{8188, 4}, 8192},
        {{8189, 4}, 16384},
        {{8185, 8}, 16384},
        {{10000}, 18192},
        {{8192, 8193}, 16385},
        {{100000, 9000, 9000}, 126192},
        {std::vector<unsigned long>(100, 8000), 98 * 8192}};
    for (const auto& [writes, capacity] : cases) {
        SCOPED_TRACE(::testing::PrintToString(writes));
        BStreamBuffer buffer;
        std::string all;
        for (const unsigned long size : writes) {
            const std::string block(size, static_cast<char>('a' + all.size() % 26));
            EXPECT_EQ(buffer.write(block.data(), size), size);
            all += block;
        }
        const void* const start = buffer.data();
        std::string target(all.size() + 1, '-');
        EXPECT_EQ(buffer.read(target.data(), buffer.dataSize() + 1), all.size());
        EXPECT_EQ(target, all + "-");
        EXPECT_TRUE(buffer.isEmpty());
        EXPECT_EQ(buffer.erase().write(nullptr, 0), 0UL);
        EXPECT_EQ(buffer.data(), start);
        EXPECT_EQ(capacityOf(buffer), capacity);
    }
}

TEST(BStreamBuffer, WritesItsOwnDataWhileItGrows) {
    const std::string kept(8000, 'k');
    BStreamBuffer buffer((std::string(100, 's') + kept).data(), 8100);
    char skipped[100];
    buffer.read(skipped, sizeof skipped);
    buffer.write(buffer.data(), buffer.dataSize());
    EXPECT_EQ(unread(buffer), kept + kept);
}

TEST(BStreamBuffer, CarriesValuesAndTextsAsAnyStreamDoes) {
    BStreamBuffer buffer;
    buffer << 2.5 << std::string("a\0b", 3) << std::string(8175, 'l') << 9 << "zz";
    double fraction = 0;
    std::string texts[3];
    buffer >> fraction >> texts[0] >> texts[1] >> texts[2];
    EXPECT_EQ(fraction, 2.5);
    EXPECT_THAT(texts, ::testing::ElementsAre("a", std::string(8175, 'l'), "zz"));
}

class WatchedBuffer : public BStreamBuffer {
public:
    unsigned long read(void* buffer, unsigned long size) override {
        sizes.push_back(size);
        return BStreamBuffer::read(buffer, size);
    }
    unsigned long write(const void* buffer, unsigned long size) override {
        sizes.push_back(size);
        return BStreamBuffer::write(buffer, size);
    }

    std::vector<unsigned long> sizes;
};

TEST(BStreamBuffer, LetsADerivedClassSeeEveryCall) {
    WatchedBuffer buffer;
    double number = 0;
    std::string text;
    buffer << 2.5 << std::string("abc") << "de";
    buffer >> number >> text;
    EXPECT_THAT(buffer.sizes, ::testing::ElementsAre(8, 4, 3, 2, 8, 4, 3));
    EXPECT_EQ(text, "abc");
}

TEST(BStreamBuffer, RefusesToPassTheEndOf32BitsAndStaysAsItWas) {
    BStreamBuffer buffer("abc", 3);
    // Its capacity would be 8192 + 4294967295; nothing is read from the source.
    EXPECT_THROW(buffer.write("", 0xFFFFFFFFUL), std::bad_alloc);
    EXPECT_EQ(unread(buffer), "abc");
    EXPECT_EQ(capacityOf(buffer), 8192U);
}

}  // namespace
