#include <ios>
#include <iostream>
#include <memory>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/diagnostics.h>

namespace {

using namespace Sorvex;
using Pieces = std::vector<std::string>;

// Takes the place of the standard error stream's buffer. The stream flushes after each insertion.
class CapturedErrors : private std::streambuf {
public:
    CapturedErrors() : previous(std::cerr.rdbuf(this)), previousFlags(std::cerr.flags()) {}

    ~CapturedErrors() override {
        std::cerr.rdbuf(previous);
        std::cerr.flags(previousFlags);
        std::cerr.clear();
    }

    CapturedErrors(const CapturedErrors&) = delete;
    CapturedErrors& operator=(const CapturedErrors&) = delete;

    // What was inserted since the last call, an element an insertion.
    Pieces takePieces() { return std::exchange(pieces, {}); }

    std::string take() {
        std::string all;
        for (const std::string& part : takePieces())
            all += part;
        return all;
    }

    bool failsToFlush = false;

private:
    int_type overflow(int_type character) override {
        piece += traits_type::to_char_type(character);
        return character;
    }

    std::streamsize xsputn(const char* text, std::streamsize length) override {
        piece.append(text, static_cast<std::size_t>(length));
        return length;
    }

    int sync() override {
        if (!piece.empty())
            pieces.push_back(std::exchange(piece, {}));
        return failsToFlush ? -1 : 0;
    }

    std::streambuf* const previous;
    const std::ios_base::fmtflags previousFlags;
    std::string piece;
    Pieces pieces;
};

class BTraceLines : public ::testing::Test {
protected:
    BTraceLines() {
        { const BTrace trace("any"); }
        const std::string line = errors.take();
        id = line.substr(0, line.find(':'));
    }

    CapturedErrors errors;
    std::string id;
};

TEST_F(BTraceLines, ShowTheScopeWithItsNumberOnlyAtTheStart) {
    const struct {
        const char* name;
        long number;
        const char* start;
        const char* end;
    } cases[] = {
        {"open", 5, ": +open 5\n", ": -open\n"},
        {"open", 0, ": +open\n", ": -open\n"},
        {"open", -1, ": +open -1\n", ": -open\n"},
        {"open", static_cast<long>(0x100000000LL), ": +open\n", ": -open\n"},
        {"open", static_cast<long>(0xFFFFFFFELL), ": +open -2\n", ": -open\n"},
        {"", 0, ": +\n", ": -\n"},
        {nullptr, 3, ": + 3\n", ": -\n"},
    };
    for (const auto& c : cases) {
        {
            const BTrace trace(c.name, c.number);
            EXPECT_EQ(errors.take(), id + c.start);
        }
        EXPECT_EQ(errors.take(), id + c.end);
    }
}

TEST_F(BTraceLines, AreMadeOfSeparateInsertions) {
    {
        const BTrace trace("open", 5);
        EXPECT_EQ(errors.takePieces(), (Pieces{id, ": ", "+", "open", " ", "5", "\n"}));
    }
    EXPECT_EQ(errors.takePieces(), (Pieces{id, ": ", "-", "open", "\n"}));
    BTrace::write("text", -7);
    EXPECT_EQ(errors.takePieces(), (Pieces{"text", " ", "-7", "\n"}));
}

TEST_F(BTraceLines, KeepTheNameAndTheThreadOfTheBuilder) {
    std::string name = "first";
    auto trace = std::make_unique<BTrace>(name.c_str());
    name = "other";
    errors.take();
    std::thread([&] { trace.reset(); }).join();
    EXPECT_EQ(errors.take(), id + ": -first\n");
}

TEST_F(BTraceLines, EndEveryCopyAndStartNone) {
    {
        const BTrace original("open");
        EXPECT_EQ(errors.take(), id + ": +open\n");
        const auto copy = std::make_unique<BTrace>(original);
        EXPECT_EQ(errors.take(), "");
    }
    EXPECT_EQ(errors.take(), id + ": -open\n" + id + ": -open\n");
}

TEST_F(BTraceLines, TakeNameAndThreadOverWhenAssigned) {
    std::unique_ptr<BTrace> other;
    std::string otherId;
    std::thread([&] {
        other = std::make_unique<BTrace>("source");
        const std::string line = errors.take();
        otherId = line.substr(0, line.find(':'));
    }).join();
    ASSERT_NE(otherId, id);
    {
        BTrace target("target");
        errors.take();
        const BTrace& self = target;
        target = self;
        target = *other;
        EXPECT_EQ(errors.take(), "");
    }
    EXPECT_EQ(errors.take(), otherId + ": -source\n");
}

TEST_F(BTraceLines, WithoutAScopeAreTheTextAlone) {
    BTrace::write("plain");
    BTrace::write(std::string("with\0NUL", 8));
    BTrace::write("number", 0);
    BTrace::write(nullptr);
    BTrace::write(nullptr, 1);
    EXPECT_EQ(errors.take(), std::string("plain\nwith\0NUL\nnumber 0\n\n 1\n", 28));
}

TEST_F(BTraceLines, FollowTheFlagsOfTheStream) {
    std::cerr << std::hex << std::showbase << std::uppercase;
    BTrace::write("number", 255);
    EXPECT_EQ(errors.take(), "number 0XFF\n");
    const BTrace trace("open", 16);
    EXPECT_EQ(errors.take().substr(0, 2), "0X");
}

TEST_F(BTraceLines, AreSkippedByAStreamThatHasFailed) {
    {
        const BTrace trace("open");
        errors.take();
        errors.failsToFlush = true;
        BTrace::write("lost");
        EXPECT_TRUE(std::cerr.bad());
        errors.failsToFlush = false;
        errors.take();
    }
    EXPECT_EQ(errors.take(), "");
}

}  // namespace
