#include <ctime>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/timestamp.h>

#include "support/recording_stream.h"

namespace {

using Sorvex::TimeStamp;
using Sorvex::testing::RecordingStream;
using namespace std::string_literals;

const TimeStamp moment(2003, 9, 17, 14, 5, 9, 250);

TEST(TimeStampText, AgreesWithTheHostsCalendarInFormatsOfAnyLength) {
    const char* const everyField = "%a %A %b %B %d %j %U %W %w %I:%M:%S %p %y-%m-%d %H %%";
    // A Wednesday, a leap day, and the ends of two years.
    for (const std::time_t seconds : {1063807509, 1078012800, 978307199, 1104580800}) {
        char expected[128];
        std::strftime(expected, sizeof expected, everyField, std::gmtime(&seconds));
        EXPECT_EQ((TimeStamp(static_cast<long>(seconds)) + 999).asString(everyField), expected);
    }
    EXPECT_EQ(moment.asString(nullptr), "2003 September 17 14:05:09");
    EXPECT_EQ(moment.asString(""), "");
    std::string format(100000, 'x');
    std::string expected = format;
    for (int i = 0; i < 1000; ++i) {
        format += "%B";
        expected += "September";
    }
    EXPECT_EQ(moment.asString(format.c_str()), expected);
}

TEST(TimeStampText, NamesNoZone) {
    EXPECT_EQ(moment.asString("[%Z%z]"), "[]");
    EXPECT_EQ(moment.asString("%Z"), "");
}

TEST(TimeStampText, TakesValuesOutsideTheCalendar) {
    // A span, a time outside the day, and days that no date has.
    EXPECT_EQ(TimeStamp(2452900UL, 90061000UL).asString("%d %M:%S"), "17 01:01");
    for (const unsigned long number : {0UL, 1UL, 1721119UL, 1075462943UL, 4294967295UL}) {
        const std::string text =
            TimeStamp(number, 4294967295UL).asString("%a %b %d %j %U %W %w %y");
        EXPECT_EQ(text.find('?'), std::string::npos) << text;
    }
}

TEST(TimeStampText, IsInsertedAsOneString) {
    std::ostringstream stream;
    stream << std::setfill('.') << std::setw(30) << moment << '|' << std::left << std::setw(30)
           << moment;
    EXPECT_EQ(stream.str(), "....2003 September 17 14:05:09|2003 September 17 14:05:09....");
}

TEST(TimeStampBytes, AreTheDateAndThenTheTime) {
    RecordingStream stream;
    stream << TimeStamp(0x12345678UL, 0xFEDCBA98UL);
    EXPECT_EQ(stream.output, "\x78\x56\x34\x12\x98\xBA\xDC\xFE");
    EXPECT_EQ(stream.writes, (std::vector<unsigned long>{4, 4}));

    const unsigned long number = moment.julianDate();
    const unsigned long milliseconds = moment.asMilliseconds();
    const std::pair<std::string, TimeStamp> cases[] = {
        {stream.output + "x", TimeStamp(0x12345678UL, 0xFEDCBA98UL)},
        {"", moment},
        {"\x01", TimeStamp((number & 0xFFFFFF00UL) | 1UL, milliseconds)},
        {"\x07\0\0\0\0\0\0"s, TimeStamp(7UL, milliseconds & 0xFF000000UL)}};
    for (const auto& [bytes, expected] : cases) {
        RecordingStream source(bytes);
        TimeStamp stamp = moment;
        source >> stamp;
        EXPECT_EQ(stamp, expected) << bytes.size();
        EXPECT_EQ(source.reads, stream.writes);
    }
}

/// Ends behind the first value.
struct EndingStream : RecordingStream {
    using RecordingStream::RecordingStream;
    unsigned long read(void* buffer, unsigned long size) override {
        if (!reads.empty())
            throw std::runtime_error("ended");
        return RecordingStream::read(buffer, size);
    }
};

TEST(TimeStampBytes, ChangeNothingWhenAReadFails) {
    EndingStream source("\x07\0\0\0"s);
    TimeStamp stamp = moment;
    EXPECT_THROW(source >> stamp, std::runtime_error);
    EXPECT_EQ(stamp, moment);
}

}  // namespace
