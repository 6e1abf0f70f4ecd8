// Moving stamps, and comparing them. All arithmetic wraps at 32 bits.
#include <sorvex/timestamp.h>

#include "platform/width.h"
#include "time/calendar.h"

namespace Sorvex {

namespace {

constexpr std::uint32_t secondsPerDay = 86400;
constexpr std::uint32_t millisecondsPerSecond = 1000;
constexpr std::uint32_t millisecondsPerDay = 86400000;

}  // namespace

TimeStamp TimeStamp::operator+(unsigned long milliseconds) const noexcept {
    return TimeStamp(*this) += milliseconds;
}

TimeStamp& TimeStamp::operator+=(unsigned long milliseconds) noexcept {
    const std::uint32_t sum = theMilliseconds + asUnsigned32(milliseconds);
    theMilliseconds = sum % millisecondsPerDay;
    theJulianDate += sum / millisecondsPerDay;
    return *this;
}

TimeStamp TimeStamp::operator-(unsigned long milliseconds) const noexcept {
    return TimeStamp(*this) -= milliseconds;
}

TimeStamp& TimeStamp::operator-=(unsigned long milliseconds) noexcept {
    std::uint32_t days = asUnsigned32(milliseconds) / millisecondsPerDay;
    const std::uint32_t part = asUnsigned32(milliseconds) % millisecondsPerDay;
    if (part > theMilliseconds) {
        ++days;
        theMilliseconds = millisecondsPerDay - (part - theMilliseconds);
    } else {
        theMilliseconds -= part;
    }
    theJulianDate -= days;
    return *this;
}

TimeStamp TimeStamp::operator+(const TimeStamp& other) const noexcept {
    return TimeStamp(*this) += other;
}

TimeStamp& TimeStamp::operator+=(const TimeStamp& other) noexcept {
    theJulianDate += other.theJulianDate;
    return *this += static_cast<unsigned long>(other.theMilliseconds);
}

TimeStamp TimeStamp::operator-(const TimeStamp& other) const noexcept {
    return TimeStamp(*this) -= other;
}

TimeStamp& TimeStamp::operator-=(const TimeStamp& other) noexcept {
    theJulianDate -= other.theJulianDate;
    return *this -= static_cast<unsigned long>(other.theMilliseconds);
}

bool TimeStamp::operator<(const TimeStamp& other) const noexcept {
    return theJulianDate != other.theJulianDate ? theJulianDate < other.theJulianDate
                                                : theMilliseconds < other.theMilliseconds;
}

bool TimeStamp::operator>(const TimeStamp& other) const noexcept {
    return other < *this;
}

bool TimeStamp::operator==(const TimeStamp& other) const noexcept {
    return theJulianDate == other.theJulianDate && theMilliseconds == other.theMilliseconds;
}

bool TimeStamp::operator!=(const TimeStamp& other) const noexcept {
    return !(*this == other);
}

bool TimeStamp::operator<=(const TimeStamp& other) const noexcept {
    return !(*this > other);
}

bool TimeStamp::operator>=(const TimeStamp& other) const noexcept {
    return !(*this < other);
}

TimeStamp TimeStamp::monthAgo() const noexcept {
    constexpr unsigned int aboveEveryMonth = 32;
    calendar::Date date = calendar::date(theJulianDate);
    if (date.day == daysInMonth(date.year, date.month))
        date.day = aboveEveryMonth;
    if (date.month == 1) {
        --date.year;
        date.month = 12;
    } else {
        --date.month;
    }
    if (const unsigned int length = daysInMonth(date.year, date.month); date.day > length)
        date.day = length;
    return {calendar::dayNumber(date.year, date.month, date.day), theMilliseconds};
}

TimeStamp TimeStamp::yearAgo(unsigned long years) const noexcept {
    calendar::Date date = calendar::date(theJulianDate);
    const std::uint32_t step = asUnsigned32(years);
    date.year = date.year > step ? date.year - step : 1;
    if (const unsigned int length = daysInMonth(date.year, date.month); date.day > length)
        date.day = length;
    return {calendar::dayNumber(date.year, date.month, date.day), theMilliseconds};
}

TimeStamp TimeStamp::dayAgo(unsigned long days) const noexcept {
    return {theJulianDate - asUnsigned32(days), theMilliseconds};
}

TimeStamp TimeStamp::dayAhead(unsigned long days) const noexcept {
    return {theJulianDate + asUnsigned32(days), theMilliseconds};
}

TimeStamp TimeStamp::secondsAgo(unsigned long seconds) const noexcept {
    const std::uint32_t part = asUnsigned32(seconds) % secondsPerDay;
    const std::uint32_t date = theJulianDate - asUnsigned32(seconds) / secondsPerDay;
    const std::uint32_t current = theMilliseconds / millisecondsPerSecond;
    if (current < part)
        return {date - 1, (secondsPerDay - (part - current)) * millisecondsPerSecond};
    return {date, theMilliseconds - part * millisecondsPerSecond};
}

TimeStamp TimeStamp::secondsAhead(unsigned long seconds) const noexcept {
    const std::uint32_t total = theMilliseconds / millisecondsPerSecond + asUnsigned32(seconds);
    return {theJulianDate + total / secondsPerDay, total % secondsPerDay * millisecondsPerSecond};
}

}  // namespace Sorvex
