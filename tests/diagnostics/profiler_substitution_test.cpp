// Samples and files to the last character, with the platform's counter replaced.
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <list>
#include <locale>
#include <string>

#include <gtest/gtest.h>
#include <sorvex/diagnostics.h>
#include <sys/resource.h>

#include "platform/platform.h"
#include "support/child_process.h"
#include "support/temporary_directory.h"

namespace {

using Sorvex::testing::contentsOf;
using Sorvex::testing::runInChild;
using Sorvex::testing::TemporaryDirectory;

std::deque<std::int64_t>& readings() {
    static std::deque<std::int64_t> queue;
    return queue;
}

}  // namespace

namespace Sorvex::platform {

BOOL QueryPerformanceCounter(LARGE_INTEGER* counter) noexcept {
    counter->QuadPart = readings().front();
    readings().pop_front();
    return TRUE;
}

}  // namespace Sorvex::platform

namespace {

const char* kept(const std::string& name) {
    static std::list<std::string> names;
    return names.emplace_back(name).c_str();
}

void profile(const char* name, unsigned long batchSize, std::deque<std::int64_t> pairs) {
    readings() = std::move(pairs);
    while (!readings().empty())
        const Profiler profiler(name, batchSize);
}

TEST(ProfilerSamples, AreTheLowHalvesDifferenceAcrossAWrapToo) {
    const TemporaryDirectory directory;
    const char* const name = kept(directory.name("samples"));
    profile(name, 6,
            {100, 107,                  // plain
             50, 50,                    // nothing
             4294967290, 4,             // wrapped
             0x500000000, 0x500000003,  // above 32 bits
             7, 7 + 4294967296 + 2,     // longer than 32 bits tell
             0, 4294967295});           // the longest
    EXPECT_EQ(contentsOf(name), "7\n0\n10\n3\n2\n4294967295\n");
}

TEST(ProfilerSamples, AreReadLastAndFirst) {
    const TemporaryDirectory directory;
    const char* const outer = kept(directory.name("outer"));
    const char* const inner = kept(directory.name("inner"));
    readings() = {1, 10, 20, 100};
    {
        const Profiler around(outer, 1);
        const Profiler within(inner, 1);
    }
    EXPECT_EQ(contentsOf(inner), "10\n");
    EXPECT_EQ(contentsOf(outer), "99\n");
}

TEST(ProfilerFiles, HoldLongBatchesInTheOrderTaken) {
    const TemporaryDirectory directory;
    const char* const name = kept(directory.name("samples"));
    std::string expected;
    for (std::int64_t sample = 0; sample < 30000; ++sample) {
        readings() = {sample * 3, sample * 3 + sample * 70001};
        const Profiler profiler(name, 30000);
        expected += std::to_string(sample * 70001) + "\n";
    }
    EXPECT_EQ(contentsOf(name), expected);
}

TEST(ProfilerFiles, AreNamedAsAllFilesAre) {
    const TemporaryDirectory directory;
    std::string name = "C:" + directory.name("named");
    for (char& character : name)
        character = character == '/' ? '\\' : character;
    profile(kept(name), 1, {1, 3});
    EXPECT_EQ(contentsOf(directory.name("named")), "2\n");
}

class Grouping : public std::numpunct<char> {
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(ProfilerFiles, AreWrittenAsStreamsWriteInTheProgramsLocale) {
    const TemporaryDirectory directory;
    const char* const name = kept(directory.name("samples"));
    const std::locale previous =
        std::locale::global(std::locale(std::locale::classic(), new Grouping));
    profile(name, 2, {0, 12, 0, 1234567});
    std::locale::global(previous);
    EXPECT_EQ(contentsOf(name), "12\n1'234'567\n");
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

TEST(ProfilerSamples, AreDroppedWhenNoMemoryHoldsTheirBatch) {
    EXPECT_EQ(runInChild([] {
                  // A sanitizer needs more address space than this for itself.
                  const rlimit little{rlim_t{512} << 20U, rlim_t{512} << 20U};
                  ASSERT_EQ(setrlimit(RLIMIT_AS, &little), 0);
                  const char* const name = kept("never written");
                  profile(name, 0xFFFFFFFF, {1, 2, 3, 4});
                  EXPECT_FALSE(std::filesystem::exists(name));
              }),
              0);
}

#endif

[[noreturn]] void exitWithProfilers(const char* name, const char* unfinished) {
    readings() = {5, 30, 0, 12};
    static const Profiler ofTheProcess(name, 1);
    static const Profiler dropped(unfinished, 2);
    std::exit(0);
}

TEST(ProfilerFiles, TakeTheSamplesOfObjectsOfStaticLife) {
    const TemporaryDirectory directory;
    const char* const name = kept(directory.name("samples"));
    const char* const unfinished = kept(directory.name("unfinished"));
    EXPECT_EXIT(exitWithProfilers(name, unfinished), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(contentsOf(name), "7\n");
    EXPECT_FALSE(std::filesystem::exists(unfinished));
}

}  // namespace
