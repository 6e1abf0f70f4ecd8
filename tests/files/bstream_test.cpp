#include <sorvex/bstream.h>

#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/recording_stream.h"

namespace {

using Sorvex::testing::RecordingStream;
using Calls = std::vector<unsigned long>;

std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (const int value : values)
        text += static_cast<char>(value);
    return text;
}

template <typename Value>
void expectForm(Value value, const std::string& form) {
    SCOPED_TRACE(typeid(Value).name());
    RecordingStream stream;
    EXPECT_EQ(&(stream << value), &stream);
    EXPECT_EQ(stream.output, form);
    EXPECT_EQ(stream.writes, Calls{static_cast<unsigned long>(form.size())});

    RecordingStream source(form + "x");
    Value back{};
    EXPECT_EQ(&(source >> back), &source);
    EXPECT_EQ(back, value);
    EXPECT_EQ(source.input, "x");
    EXPECT_EQ(source.reads, stream.writes);
}

TEST(BStream, WritesNumbersInTheirWidthsLowByteFirst) {
    expectForm('a', "a");
    expectForm<signed char>(-2, bytes({0xFE}));
    expectForm<unsigned char>(200, bytes({200}));
    expectForm<short>(-2, bytes({0xFE, 0xFF}));
    expectForm<unsigned short>(0x1234, bytes({0x34, 0x12}));
    expectForm<int>(-2, bytes({0xFE, 0xFF, 0xFF, 0xFF}));
    expectForm<unsigned int>(0x12345678, bytes({0x78, 0x56, 0x34, 0x12}));
    expectForm<long>(1, bytes({1, 0, 0, 0}));
    expectForm<long>(-2147483647L - 1, bytes({0, 0, 0, 0x80}));
    expectForm<unsigned long>(0xFFFFFFFE, bytes({0xFE, 0xFF, 0xFF, 0xFF}));
    expectForm<float>(1.5F, bytes({0, 0, 0xC0, 0x3F}));
    expectForm<double>(-0.1, bytes({0x9A, 0x99, 0x99, 0x99, 0x99, 0x99, 0xB9, 0xBF}));
    expectForm<long double>(1.5L, bytes({0, 0, 0, 0, 0, 0, 0xF8, 0x3F}));
}

TEST(BStream, KeepsTheLow32BitsOfAWideLong) {
    if constexpr (sizeof(long) > 4) {
        RecordingStream stream;
        stream << static_cast<long>(0x512345678LL) << static_cast<unsigned long>(0x1FFFFFFFFLL);
        EXPECT_EQ(stream.output, bytes({0x78, 0x56, 0x34, 0x12, 0xFF, 0xFF, 0xFF, 0xFF}));

        RecordingStream source(bytes({5, 0, 0, 0, 5, 0, 0, 0}));
        auto value = static_cast<long>(0x100000005LL);
        auto large = static_cast<unsigned long>(0x100000005LL);
        source >> value >> large;
        EXPECT_EQ(value, 5);
        EXPECT_EQ(large, 5U);
    }
}

TEST(BStream, LeavesAValueAloneWhenNothingArrives) {
    RecordingStream empty;
    auto wide = static_cast<long>(0x7123456789ABCDEFLL);
    auto unsignedWide = static_cast<unsigned long>(0xF123456789ABCDEFLL);
    const long wideBefore = wide;
    const unsigned long unsignedBefore = unsignedWide;
    char character = 'c';
    short small = -3;
    int number = -4;
    float single = 0.1F;
    double twofold = 0.1;
    long double extended = 0.1L;
    empty >> wide >> unsignedWide >> character >> small >> number >> single >> twofold >> extended;
    EXPECT_EQ(wide, wideBefore);
    EXPECT_EQ(unsignedWide, unsignedBefore);
    EXPECT_EQ(character, 'c');
    EXPECT_EQ(small, -3);
    EXPECT_EQ(number, -4);
    EXPECT_EQ(single, 0.1F);
    EXPECT_EQ(twofold, 0.1);
    EXPECT_EQ(extended, 0.1L);
}

TEST(BStream, ReplacesOnlyTheLowBytesThatArrive) {
    RecordingStream one(bytes({0xFF}));
    long value = 0x01020304;
    one >> value;
    EXPECT_EQ(value, 0x010203FF);

    RecordingStream three(bytes({1, 2, 3}));
    long negative = -1;
    three >> negative;
    EXPECT_EQ(negative, static_cast<long>(0xFF030201) - (sizeof(long) > 4 ? 0x100000000LL : 0));

    RecordingStream two(bytes({0, 0}));
    double number = -0.1;
    two >> number;
    RecordingStream back;
    back << number;
    EXPECT_EQ(back.output, bytes({0, 0, 0x99, 0x99, 0x99, 0x99, 0xB9, 0xBF}));
}

TEST(BStream, KeepsEveryBitOfANotANumber) {
    // A signalling one, and a quiet one. Passing the former by value makes it quiet on some hosts.
    for (const auto& form : {bytes({1, 0, 0xA0, 0x7F}), bytes({0xEF, 0xBE, 0xED, 0xFF})}) {
        RecordingStream source(form);
        float value = 0;
        source >> value;
        EXPECT_EQ(std::memcmp(&value, form.data(), sizeof value), 0);
    }
    RecordingStream quiet(bytes({0xEF, 0xBE, 0xED, 0xFF}));
    float value = 0;
    quiet >> value;
    quiet << value;
    EXPECT_EQ(quiet.output, bytes({0xEF, 0xBE, 0xED, 0xFF}));
}

TEST(BStream, WritesATextWithItsLengthByTwoCalls) {
    RecordingStream stream;
    stream << std::string("ab") << std::string() << std::string("a\0b", 3);
    EXPECT_EQ(stream.output, bytes({2, 0, 0, 0, 'a', 'b', 0, 0, 0, 0, 3, 0, 0, 0, 'a', 0, 'b'}));
    EXPECT_EQ(stream.writes, (Calls{4, 2, 4, 0, 4, 3}));
}

TEST(BStream, WritesCTextWithoutLengthOrTerminator) {
    RecordingStream stream;
    stream << "abc"
           << "";
    EXPECT_EQ(stream.output, "abc");
    EXPECT_EQ(stream.writes, (Calls{3, 0}));
}

TEST(BStream, ReadsATextByTwoCallsUpToItsFirstNul) {
    RecordingStream stream;
    const std::string inner("a\0b", 3);
    const std::string longText(100000, 'l');
    stream << inner << std::string() << longText << 'x';

    RecordingStream source(stream.output);
    std::string first = "before";
    std::string second = "before";
    std::string third;
    char next = 0;
    source >> first >> second >> third >> next;
    EXPECT_EQ(first, "a");
    EXPECT_EQ(second, "");
    EXPECT_EQ(third, longText);
    EXPECT_EQ(next, 'x');
    EXPECT_EQ(source.reads, (Calls{4, 3, 4, 4, 100000, 1}));
}

TEST(BStream, GivesWhatArrivesOfAText) {
    const struct {
        const char* what;
        std::string form;
        std::string text;
    } cases[] = {
        {"nothing", "", ""},
        {"one byte of the length", bytes({3}), ""},
        {"a length alone", bytes({3, 0, 0, 0}), ""},
        {"some characters", bytes({9, 0, 0, 0, 'a', 'b'}), "ab"},
        {"some characters of a long text", bytes({0, 0, 1, 0, 'a', 'b', 0, 'c'}), "ab"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        RecordingStream source(c.form);
        std::string text = "before";
        source >> text;
        EXPECT_EQ(text, c.text);
        EXPECT_EQ(source.input, "");
    }
}

/// Gives a length word, and claims to have delivered more than it was asked for.
class BoastfulStream : public RecordingStream {
public:
    using RecordingStream::RecordingStream;
    unsigned long read(void* buffer, unsigned long size) override {
        RecordingStream::read(buffer, size);
        return size + 1000;
    }
};

TEST(BStream, BelievesNoCountBeyondTheRequest) {
    BoastfulStream source(bytes({2, 0, 0, 0, 'a', 'b'}));
    std::string text;
    source >> text;
    EXPECT_EQ(text, "ab");
}

TEST(BStream, SurvivesTheLargestLength) {
    RecordingStream source(bytes({0xFF, 0xFF, 0xFF, 0xFF, 'a', 'b'}));
    std::string text = "before";
    try {
        source >> text;
        EXPECT_EQ(text, "ab");
        EXPECT_EQ(source.reads.back(), 0xFFFFFFFFUL);
    } catch (const std::bad_alloc&) {
        EXPECT_EQ(text, "before");
    }
}

/// Fails in its second read.
class FailingStream : public RecordingStream {
public:
    using RecordingStream::RecordingStream;
    unsigned long read(void* buffer, unsigned long size) override {
        if (!reads.empty())
            throw std::runtime_error("gone");
        return RecordingStream::read(buffer, size);
    }
};

TEST(BStream, PassesAFailureOnAndKeepsTheText) {
    for (const auto& form : {bytes({9, 0, 0, 0}), bytes({0, 0, 1, 0})}) {
        FailingStream source(form);
        std::string text = "before";
        EXPECT_THROW(source >> text, std::runtime_error);
        EXPECT_EQ(text, "before");
    }
}

}  // namespace
