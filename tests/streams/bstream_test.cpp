#include <sorvex/bstream.h>

#include <bit>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "support/recording_stream.h"

namespace {

using namespace std::string_literals;
using Sorvex::testing::RecordingStream;
using Calls = std::vector<unsigned long>;

template <typename Value>
void expectForm(Value value, const std::string& form) {
    SCOPED_TRACE(typeid(Value).name());
    RecordingStream stream(form + "x");
    stream << value;
    EXPECT_EQ(stream.output, form);
    Value back{};
    stream >> back;
    EXPECT_EQ(back, value);
    EXPECT_EQ(stream.input, "x");
    EXPECT_EQ(stream.writes, Calls{static_cast<unsigned long>(form.size())});
    EXPECT_EQ(stream.reads, stream.writes);
}

TEST(BStream, CarriesNumbersInTheirWidthsLowByteFirst) {
    expectForm<char>('a', "a");
    expectForm<signed char>(-2, "\xFE");
    expectForm<unsigned char>(200, "\xC8");
    expectForm<short>(-2, "\xFE\xFF");
    expectForm<unsigned short>(0x1234, "\x34\x12");
    expectForm<int>(-2, "\xFE\xFF\xFF\xFF");
    expectForm<unsigned int>(0x12345678, "\x78\x56\x34\x12");
    expectForm<long>(-2147483647L - 1, "\0\0\0\x80"s);
    expectForm<unsigned long>(0xFFFFFFFE, "\xFE\xFF\xFF\xFF");
    expectForm<float>(1.5F, "\0\0\xC0\x3F"s);
    expectForm<double>(-0.1, "\x9A\x99\x99\x99\x99\x99\xB9\xBF");
    expectForm<long double>(1.5L, "\0\0\0\0\0\0\xF8\x3F"s);
}

// What becomes of a value when these bytes arrive for it.
template <typename Value>
Value readOver(Value value, const std::string& bytes) {
    RecordingStream(bytes) >> value;
    return value;
}

TEST(BStream, ReplacesOnlyTheLowBytesThatArrive) {
    constexpr auto wide = static_cast<long>(0x512345678LL);
    constexpr auto wideUnsigned = static_cast<unsigned long>(0x512345678LL);
    EXPECT_EQ(readOver<short>(-3, ""), -3);
    EXPECT_EQ(readOver(0x01020304, "\xFF"), 0x010203FF);
    EXPECT_EQ(readOver(-1L, "\1\2\3"), -0xFCFDFFL);
    EXPECT_EQ(readOver(wide, ""), wide);
    EXPECT_EQ(readOver(wide, "\x78\x56\x34\x12"), 0x12345678);
    EXPECT_EQ(readOver(wideUnsigned, ""), wideUnsigned);
    EXPECT_EQ(readOver(wideUnsigned, "\x78\x56\x34\x12"), 0x12345678U);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(readOver(-0.1, "\0\0"s)), 0xBFB9999999990000U);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(readOver(0.0F, "\xEF\xBE\xED\xFF")), 0xFFEDBEEF);
    EXPECT_EQ(readOver(0.1L, ""), 0.1L);
}

TEST(BStream, WritesATextWithItsLengthAndCTextWithout) {
    RecordingStream stream;
    stream << "a\0b"s << std::string() << "xyz";
    EXPECT_EQ(stream.output, "\3\0\0\0a\0b\0\0\0\0xyz"s);
    EXPECT_EQ(stream.writes, (Calls{4, 3, 4, 0, 3}));
}

TEST(BStream, ReadsWhatArrivesOfATextByTwoCalls) {
    const std::string longText(1025, 'l');
    const std::tuple<std::string, std::string, std::string, Calls> cases[] = {
        {"\3", "", "", {4, 3}},
        {"\0\0\0\0x"s, "", "x", {4}},
        {"\3\0\0\0z\0zx"s, "z", "x", {4, 3}},
        {"\x9\0\0\0zz"s, "zz", "", {4, 9}},
        {"\1\4\0\0"s + longText + "x", longText, "x", {4, 1025}},
        {"\xFF\xFF\xFF\xFFzz", "zz", "", {4, 0xFFFFFFFF}}};
    for (const auto& [form, arriving, left, reads] : cases) {
        SCOPED_TRACE(::testing::PrintToString(form));
        RecordingStream source(form);
        std::string text = "before";
        try {
            source >> text;
            EXPECT_EQ(text, arriving);
            EXPECT_EQ(source.input, left);
            EXPECT_EQ(source.reads, reads);
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(text, "before");
        }
    }
}

// Delivers its input under a count that has nothing to do with it, and fails behind its end.
class UnsoundStream : public RecordingStream {
public:
    using RecordingStream::RecordingStream;

    unsigned long read(void* buffer, unsigned long size) override {
        if (input.empty())
            throw std::runtime_error("gone");
        RecordingStream::read(buffer, size);
        return count;
    }

    unsigned long count = 100'000'000;
};

TEST(BStream, BelievesNoCountAgainstTheBytesAndKeepsATextThatFails) {
    UnsoundStream source("\2\0\0\0zz\5\0\0\0\x9\0\0\0"s);
    std::string text;
    source >> text;
    EXPECT_EQ(text, "zz");
    long number = 7;
    source.count = 0;
    source >> number;
    EXPECT_EQ(number, 5);
    EXPECT_THROW(source >> text, std::runtime_error);
    EXPECT_EQ(text, "zz");
}

}  // namespace
