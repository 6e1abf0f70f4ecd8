// Samples and files to the last character, with the platform's counter replaced.
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <list>
#include <locale>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <sorvex/diagnostics.h>
#include <sys/resource.h>

#include "platform/platform.h"
#include "support/child_process.h"
#include "support/full_name.h"
#include "support/temporary_directory.h"

namespace {

std::deque<std::int64_t> readings;
std::string absentAtReadings;

}  // namespace

namespace Sorvex::platform {

BOOL QueryPerformanceCounter(LARGE_INTEGER* counter) noexcept {
    EXPECT_FALSE(std::filesystem::exists(absentAtReadings));
    counter->QuadPart = readings.front();
    readings.pop_front();
    return TRUE;
}

}  // namespace Sorvex::platform

namespace {

using namespace Sorvex::testing;

// Profilers know their names by address until the process ends.
const char* kept(const std::string& name) {
    static std::list<std::string> names;
    return names.emplace_back(name).c_str();
}

void profile(const char* name, unsigned long batchSize, std::deque<std::int64_t> pairs) {
    readings = std::move(pairs);
    while (!readings.empty())
        const Profiler profiler(name, batchSize);
}

class ProfilerFiles : public ::testing::Test {
protected:
    const TemporaryDirectory directory;
    const std::string file = directory.name("samples");
    const char* const name = kept(file);
};

TEST_F(ProfilerFiles, HoldTheDifferencesOfTheLowHalvesAcrossAWrapToo) {
    profile(name, 6,
            {100, 107,                  // plain
             50, 50,                    // nothing
             4294967290, 4,             // wrapped
             0x500000000, 0x500000003,  // above 32 bits
             7, 7 + 4294967296 + 2,     // longer than 32 bits tell
             0, 4294967295});           // the longest
    profile(kept(file), 2, {0, 4294967295, 0, 4294967294});
    EXPECT_EQ(contentsOf(file), "7\n0\n10\n3\n2\n4294967295\n4294967295\n4294967294\n");
}

TEST_F(ProfilerFiles, AreWrittenWhenTheCounterHasBeenRead) {
    absentAtReadings = file;
    readings = {1, 10, 20, 100};
    {
        const Profiler around(name, 1);
        const Profiler within(kept(directory.name("inner")), 1);
    }
    absentAtReadings.clear();
    EXPECT_EQ(contentsOf(directory.name("inner")), "10\n");
    EXPECT_EQ(contentsOf(file), "99\n");
}

TEST_F(ProfilerFiles, GrowByWholeBatchesOfTheSizeAndTheAddressFirstDestroyed) {
    directory.file("samples", "17\n");
    readings = {0, 0, 1, 2};
    {
        const Profiler outer(name, 10);
        const Profiler inner(name, 3);
    }
    profile(kept(file), 2, {0, 5});
    EXPECT_EQ(contentsOf(file), "17\n");
    profile(name, 10, {0, 3, 0, 4});
    EXPECT_EQ(contentsOf(file), "17\n1\n2\n3\n");
    profile(name, 1, {0, 6, 0, 7});
    EXPECT_EQ(contentsOf(file), "17\n1\n2\n3\n4\n6\n7\n");
    profile(kept(file), 0, {0, 8});
    EXPECT_EQ(contentsOf(file), "17\n1\n2\n3\n4\n6\n7\n8\n");
}

TEST_F(ProfilerFiles, LoseABatchThatCannotBeWritten) {
    const char* const missing = kept(libraryNameOf(directory.path() / "no/file"));
    profile(missing, 2, {0, 1, 0, 2, 0, 3});
    std::filesystem::create_directory(directory.path() / "no");
    profile(missing, 2, {0, 4});
    EXPECT_EQ(contentsOf(directory.path() / "no/file"), "3\n4\n");
    profile(nullptr, 1, {0, 1});
}

class Grouping : public std::numpunct<char> {
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\3"; }
};

TEST_F(ProfilerFiles, AreWrittenAsStreamsWriteInTheProgramsLocale) {
    const std::locale previous =
        std::locale::global(std::locale(std::locale::classic(), new Grouping));
    profile(name, 2, {0, 12, 0, 1234567});
    std::locale::global(previous);
    EXPECT_EQ(contentsOf(file), "12\n1'234'567\n");
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

TEST_F(ProfilerFiles, LackWhatNoMemoryHolds) {
    EXPECT_EQ(runInChild([this] {
                  // A sanitizer needs more address space than this for itself.
                  const rlimit little{rlim_t{512} << 20U, rlim_t{512} << 20U};
                  ASSERT_EQ(setrlimit(RLIMIT_AS, &little), 0);
                  profile(name, 0xFFFFFFFF, {1, 2, 3, 4});
                  EXPECT_FALSE(std::filesystem::exists(file));
              }),
              0);
}

#endif

TEST_F(ProfilerFiles, TakeTheSamplesOfObjectsOfStaticLife) {
    const char* const unfinished = kept(directory.name("unfinished"));
    const auto exitWithProfilers = [&] {
        readings = {5, 30, 0, 12};
        static const Profiler ofTheProcess(name, 1);
        static const Profiler dropped(unfinished, 2);
        std::exit(0);
    };
    EXPECT_EXIT(exitWithProfilers(), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(contentsOf(file), "7\n");
    EXPECT_FALSE(std::filesystem::exists(unfinished));
}

}  // namespace
