#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/timestamp.h>

#include "support/recording_stream.h"
#include "time/calendar_vectors.h"

namespace {

using Sorvex::TimeStamp;
using Sorvex::testing::RecordingStream;

const TimeStamp moment(2003, 9, 17, 14, 5, 9, 250);

TEST(TimeStampText, AgreesWithAnotherCalendar) {
    for (const auto& c : Sorvex::testing::texts) {
        const TimeStamp stamp(c.year, c.month, c.day, c.hour, c.minute, c.second, 999);
        EXPECT_EQ(stamp.asString(c.format), c.text) << c.format;
    }
}

TEST(TimeStampText, HasADefaultFormat) {
    EXPECT_EQ(moment.asString(), "2003 September 17 14:05:09");
    EXPECT_EQ(moment.asString(nullptr), "2003 September 17 14:05:09");
}

TEST(TimeStampText, CanBeLongOrEmpty) {
    const std::string plain(100000, 'x');
    std::string years;
    for (int i = 0; i < 1000; ++i)
        years += "%Y";
    std::string expected;
    for (int i = 0; i < 1000; ++i)
        expected += "2003";
    EXPECT_EQ(moment.asString(plain.c_str()), plain);
    EXPECT_EQ(moment.asString(years.c_str()), expected);
    EXPECT_EQ(moment.asString(""), "");
}

TEST(TimeStampText, NamesNoZone) {
    EXPECT_EQ(moment.asString("%Z"), "");
    EXPECT_EQ(moment.asString("[%Z%z]"), "[]");
    std::string zones;
    for (int i = 0; i < 1000; ++i)
        zones += "%Z";
    EXPECT_EQ(moment.asString(zones.c_str()), "");
}

TEST(TimeStampText, TakesValuesOutsideTheCalendar) {
    // A span, a time outside the day, and days that no date has.
    EXPECT_EQ(TimeStamp(0UL, 0UL).asString("%H:%M"), "00:00");
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
           << moment << '|' << moment;
    EXPECT_EQ(stream.str(),
              "....2003 September 17 14:05:09|2003 September 17 14:05:09....|"
              "2003 September 17 14:05:09");
}

TEST(TimeStampBytes, AreTheDateAndThenTheTime) {
    RecordingStream stream;
    stream << TimeStamp(0x12345678UL, 0xFEDCBA98UL);
    EXPECT_EQ(stream.output, "\x78\x56\x34\x12\x98\xBA\xDC\xFE");
    EXPECT_EQ(stream.writes, (std::vector<unsigned long>{4, 4}));

    RecordingStream source(stream.output + "x");
    TimeStamp back(0UL, 0UL);
    source >> back;
    EXPECT_EQ(back, TimeStamp(0x12345678UL, 0xFEDCBA98UL));
    EXPECT_EQ(source.reads, stream.writes);
    EXPECT_EQ(source.input, "x");
}

TEST(TimeStampBytes, LeaveWhatDoesNotArrive) {
    const struct {
        std::string bytes;
        TimeStamp expected;
    } cases[] = {
        {"", moment},
        {"\x01", TimeStamp((moment.julianDate() & 0xFFFFFF00UL) | 1UL, moment.asMilliseconds())},
        {std::string("\x07\0\0\0", 4), TimeStamp(7UL, moment.asMilliseconds())},
        {std::string("\x07\0\0\0\0\0\0", 7),
         TimeStamp(7UL, moment.asMilliseconds() & 0xFF000000UL)},
    };
    for (const auto& c : cases) {
        RecordingStream source(c.bytes);
        TimeStamp stamp = moment;
        source >> stamp;
        EXPECT_EQ(stamp, c.expected) << c.bytes.size();
    }
}

/// Fails when its bytes are used up.
class EndingStream : public RecordingStream {
public:
    using RecordingStream::RecordingStream;
    unsigned long read(void* buffer, unsigned long size) override {
        if (input.size() < size)
            throw std::runtime_error("ended");
        return RecordingStream::read(buffer, size);
    }
};

TEST(TimeStampBytes, ChangeNothingWhenAReadFails) {
    EndingStream source(std::string("\x07\0\0\0\0", 5));
    TimeStamp stamp = moment;
    EXPECT_THROW(source >> stamp, std::runtime_error);
    EXPECT_EQ(stamp, moment);
}

}  // namespace
