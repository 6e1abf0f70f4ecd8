#include <ios>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sorvex/diagnostics.h>

#include "platform/platform.h"

namespace {

using namespace Sorvex;

// Takes the place of the standard error stream's buffer. The stream flushes after each insertion,
// which is marked by a bar.
class CapturedErrors : private std::stringbuf {
public:
    CapturedErrors() : previous(std::cerr.rdbuf(this)), previousFlags(std::cerr.flags()) {}

    ~CapturedErrors() override {
        std::cerr.rdbuf(previous);
        std::cerr.flags(previousFlags);
    }

    // What was inserted since the last call.
    std::string take() {
        std::string all = str();
        str("");
        return all;
    }

private:
    int sync() override {
        if (!str().empty() && str().back() != '|')
            sputc('|');
        return 0;
    }

    std::streambuf* const previous;
    const std::ios_base::fmtflags previousFlags;
};

std::string ownId() {
    return std::to_string(platform::GetCurrentThreadId());
}

TEST(BTraceLines, ShowTheScopeWithItsNumberOnlyAtTheStart) {
    const struct {
        const char* name;
        long number;
        const char* start;
        const char* end;
    } cases[] = {
        {"open", 5, "|: |+|open| |5|\n|", "|: |-|open|\n|"},
        {"open", 0, "|: |+|open|\n|", "|: |-|open|\n|"},
        {"open", static_cast<long>(0x100000000LL), "|: |+|open|\n|", "|: |-|open|\n|"},
        {"open", static_cast<long>(0xFFFFFFFELL), "|: |+|open| |-2|\n|", "|: |-|open|\n|"},
        {nullptr, 3, "|: |+| |3|\n|", "|: |-|\n|"},
    };
    CapturedErrors errors;
    for (const auto& c : cases) {
        {
            const BTrace trace(c.name, c.number);
            EXPECT_EQ(errors.take(), ownId() + c.start);
        }
        EXPECT_EQ(errors.take(), ownId() + c.end);
    }
}

TEST(BTraceLines, EndEveryObjectWithTheNameAndTheThreadOfItsBuilder) {
    CapturedErrors errors;
    std::string name = "first";
    auto trace = std::make_unique<BTrace>(name.c_str());
    name = "other";
    errors.take();
    const std::string end = ownId() + "|: |-|first|\n|";
    std::thread([&] {
        EXPECT_NE(ownId() + "|: |-|first|\n|", end);
        {
            const BTrace copy(*trace);
            BTrace assigned("target");
            errors.take();
            assigned = *trace;
        }
        trace.reset();
        EXPECT_EQ(errors.take(), end + end + end);
    }).join();
}

TEST(BTraceLines, WithoutAScopeAreTheTextAloneInTheFlagsOfTheStream) {
    CapturedErrors errors;
    BTrace::write("plain");
    BTrace::write(std::string("with\0NUL", 8));
    BTrace::write("number", 0);
    BTrace::write(nullptr);
    BTrace::write(nullptr, -7);
    std::cerr << std::hex << std::showbase << std::uppercase;
    BTrace::write("number", 255);
    EXPECT_EQ(errors.take(), std::string("plain|\n|with\0NUL|\n|number| |0|\n|\n| |-7|\n|"
                                         "number| |0XFF|\n|",
                                         57));
    const BTrace trace("open", 16);
    EXPECT_EQ(errors.take().substr(0, 2), "0X");
}

}  // namespace
