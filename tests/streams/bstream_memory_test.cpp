// What reading a text does to the memory of the process.
#include <new>
#include <string>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "support/recording_stream.h"

namespace {

// The most memory that this process has had at a time.
long peakKilobytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST(BStreamMemory, IsNotTouchedForWhatDoesNotArrive) {
    Sorvex::testing::RecordingStream stream("\xF0\xFF\xFF\xFFzz");
    std::string text;
    const long before = peakKilobytes();
    try {
        stream >> text;
    } catch (const std::bad_alloc&) {}
    EXPECT_LT(peakKilobytes(), before + 16'384);
}

}  // namespace
