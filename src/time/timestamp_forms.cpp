// The text form and the binary form of stamps.
#include <cstring>
#include <memory>
#include <ostream>

#include <sorvex/bstream.h>
#include <sorvex/timestamp.h>

#include "platform/width.h"
#include "time/calendar.h"

namespace Sorvex {

namespace {

constexpr const char* defaultFormat = "%Y %B %d %H:%M:%S";

std::tm brokenDown(const TimeStamp& stamp) {
    const calendar::Date date = calendar::date(asUnsigned32(stamp.julianDate()));
    std::tm time{};
    time.tm_sec = static_cast<int>(stamp.second());
    time.tm_min = static_cast<int>(stamp.minute());
    time.tm_hour = static_cast<int>(stamp.hour());
    time.tm_mday = static_cast<int>(date.day);
    time.tm_mon = static_cast<int>(date.month) - 1;
    time.tm_year = static_cast<int>(date.year) - 1900;
    time.tm_wday = static_cast<int>(stamp.dayOfWeek() % 7);
    time.tm_yday = static_cast<int>(date.dayOfYear);
    time.tm_isdst = -1;  // unknown: the runtime names no zone then
    return time;
}

/// Formats a text that does not fit the stack, or that is empty, which the runtime does not tell
/// apart: a blank in front makes every text that fits at least one character long.
std::string formatLong(const char* format, const std::tm& time) {
    constexpr std::size_t longest = 16 * 1024 * 1024;
    const std::string marked = std::string(" ") + format;
    const std::size_t limit = longest + marked.size();
    for (std::size_t size = 1024 + marked.size(); size <= 2 * limit; size *= 2) {
        const auto buffer = std::make_unique_for_overwrite<char[]>(size);
        const std::size_t length = std::strftime(buffer.get(), size, marked.c_str(), &time);
        if (length > 0)
            return {buffer.get() + 1, length - 1};
    }
    return {};
}

}  // namespace

std::string TimeStamp::asString(const char* format) const {
    const char* chosen = format == nullptr ? defaultFormat : format;
    const std::tm time = brokenDown(*this);
    char buffer[256];
    const std::size_t length = std::strftime(buffer, sizeof buffer, chosen, &time);
    return length > 0 ? std::string(buffer, length) : formatLong(chosen, time);
}

BStream& operator<<(BStream& stream, const TimeStamp& value) {
    return stream << value.julianDate() << value.asMilliseconds();
}

BStream& operator>>(BStream& stream, TimeStamp& value) {
    unsigned long date = value.julianDate();
    unsigned long milliseconds = value.asMilliseconds();
    stream >> date >> milliseconds;
    value.setDate(date).setTime(milliseconds);
    return stream;
}

std::ostream& operator<<(std::ostream& stream, const TimeStamp& value) {
    return stream << value.asString();
}

}  // namespace Sorvex
