#include <charconv>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/diagnostics.h>

#include "support/temporary_directory.h"

namespace {

using Sorvex::testing::TemporaryDirectory;

// Profilers know their names by address until the process ends.
const char* kept(const std::string& name) {
    static std::list<std::string> names;
    return names.emplace_back(name).c_str();
}

std::vector<std::uint32_t> samplesIn(const std::string& file) {
    std::ifstream stream(file);
    std::vector<std::uint32_t> samples;
    for (std::string line; std::getline(stream, line);) {
        std::uint32_t sample = 0;
        const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), sample);
        EXPECT_TRUE(error == std::errc{} && end == line.data() + line.size()) << line;
        samples.push_back(sample);
    }
    return samples;
}

std::size_t linesIn(const std::string& file) {
    return samplesIn(file).size();
}

void profile(const char* name, unsigned long batchSize, int times) {
    for (int done = 0; done < times; ++done)
        const Profiler profiler(name, batchSize);
}

TEST(Profiler, AppendsWholeBatches) {
    const TemporaryDirectory directory;
    const std::string file = directory.name("samples");
    const char* const name = kept(file);
    profile(name, 3, 2);
    EXPECT_FALSE(std::filesystem::exists(file));
    profile(name, 3, 1);
    EXPECT_EQ(linesIn(file), 3U);
    profile(name, 3, 2);
    EXPECT_EQ(linesIn(file), 3U);
    profile(name, 3, 1);
    EXPECT_EQ(linesIn(file), 6U);
}

TEST(Profiler, KeepsTheLinesOfEarlierRuns) {
    const TemporaryDirectory directory;
    const std::string file = directory.file("samples", "17\n4294967295\n");
    profile(kept(file), 1, 1);
    const auto samples = samplesIn(file);
    ASSERT_EQ(samples.size(), 3U);
    EXPECT_EQ(samples[0], 17U);
    EXPECT_EQ(samples[1], 4294967295U);
}

TEST(Profiler, KnowsNamesByTheirAddress) {
    const TemporaryDirectory directory;
    const std::string file = directory.name("samples");
    const char* const first = kept(file);
    const char* const second = kept(file);
    profile(first, 2, 1);
    profile(second, 2, 1);
    EXPECT_FALSE(std::filesystem::exists(file));
    profile(second, 2, 1);
    EXPECT_EQ(linesIn(file), 2U);
    profile(first, 2, 1);
    EXPECT_EQ(linesIn(file), 4U);
}

TEST(Profiler, KeepsTheBatchSizeOfTheFirstToBeDestroyed) {
    const TemporaryDirectory directory;
    const std::string file = directory.name("samples");
    const char* const name = kept(file);
    {
        const Profiler outer(name, 10);
        const Profiler inner(name, 3);
    }
    EXPECT_FALSE(std::filesystem::exists(file));
    profile(name, 10, 1);
    EXPECT_EQ(linesIn(file), 3U);
}

TEST(Profiler, TakesABatchOfNoneAsOne) {
    const TemporaryDirectory directory;
    const std::string file = directory.name("samples");
    profile(kept(file), 0, 2);
    EXPECT_EQ(linesIn(file), 2U);
}

TEST(Profiler, DropsABatchWhoseFileCannotBeWritten) {
    const TemporaryDirectory directory;
    const char* const name = kept(directory.name("missing/samples"));
    profile(name, 2, 3);
    std::filesystem::create_directory(directory.path() / "missing");
    profile(name, 2, 1);
    EXPECT_EQ(linesIn(name), 2U);
    profile(nullptr, 1, 1);
}

TEST(Profiler, MeasuresWhatItIsAround) {
    const TemporaryDirectory directory;
    const char* const inner = kept(directory.name("inner"));
    const char* const outer = kept(directory.name("outer"));
    {
        const Profiler around(outer, 1);
        for (int done = 0; done < 2; ++done) {
            const Profiler within(inner, 2);
            std::this_thread::yield();
        }
    }
    const auto within = samplesIn(inner);
    ASSERT_EQ(within.size(), 2U);
    EXPECT_GT(samplesIn(outer).at(0), within[0]);
    EXPECT_GT(samplesIn(outer).at(0), within[1]);
    EXPECT_GT(within[0], 0U);
}

}  // namespace
