#include <sorvex/timestamp.h>

#include "platform/platform.h"
#include "platform/width.h"
#include "time/calendar.h"

namespace Sorvex {

namespace {

constexpr std::uint32_t epoch = 2440588;  // the day number of 1970-01-01
constexpr std::uint32_t secondsPerDay = 86400;
constexpr std::uint32_t millisecondsPerSecond = 1000;
constexpr std::uint32_t millisecondsPerMinute = 60000;
constexpr std::uint32_t millisecondsPerHour = 3600000;

std::uint32_t millisecondsOf(std::uint32_t hour, std::uint32_t minute, std::uint32_t second,
                             std::uint32_t millisecond) noexcept {
    return ((hour * 60 + minute) * 60 + second) * millisecondsPerSecond + millisecond;
}

/// A count of seconds since 1970, cut toward zero, and the milliseconds of its second.
TimeStamp fromSeconds(std::int32_t seconds, std::uint32_t millisecond) noexcept {
    constexpr auto divisor = static_cast<std::int32_t>(secondsPerDay);
    return {asUnsigned32(seconds / divisor) + epoch,
            asUnsigned32(seconds % divisor) * millisecondsPerSecond + millisecond};
}

}  // namespace

constinit const unsigned int TimeStamp::theMonthDays[13] = {0,  31, 28, 31, 30, 31, 30,
                                                            31, 31, 30, 31, 30, 31};

TimeStamp::TimeStamp() noexcept : TimeStamp(now()) {}

TimeStamp::TimeStamp(unsigned int year, unsigned int month, unsigned int day, unsigned int hour,
                     unsigned int minute, unsigned int second, unsigned int millisecond) noexcept
    : theJulianDate(calendar::dayNumber(year, month, day)),
      theMilliseconds(millisecondsOf(hour, minute, second, millisecond)) {}

TimeStamp::TimeStamp(unsigned long julianDate, unsigned long milliseconds) noexcept
    : theJulianDate(asUnsigned32(julianDate)), theMilliseconds(asUnsigned32(milliseconds)) {}

TimeStamp::TimeStamp(long seconds) noexcept : TimeStamp(fromSeconds(asSigned32(seconds), 0)) {}

TimeStamp::TimeStamp(const std::tm& time, unsigned int millisecond) noexcept
    : theJulianDate(calendar::dayNumber(asUnsigned32(time.tm_year) + 1900,
                                        asUnsigned32(time.tm_mon) + 1, asUnsigned32(time.tm_mday))),
      theMilliseconds(millisecondsOf(asUnsigned32(time.tm_hour), asUnsigned32(time.tm_min),
                                     asUnsigned32(time.tm_sec), millisecond)) {}

TimeStamp TimeStamp::now() noexcept {
    platform::_timeb clock{};
    platform::_ftime(&clock);
    constexpr std::uint32_t secondsPerMinute = 60;
    constexpr std::uint32_t daylightSaving = 3600;
    std::uint32_t local =
        asUnsigned32(clock.time) - asUnsigned32(clock.timezone) * secondsPerMinute;
    if (clock.dstflag != 0)
        local += daylightSaving;
    return fromSeconds(asSigned32(local), clock.millitm);
}

TimeStamp TimeStamp::system() noexcept {
    platform::_timeb clock{};
    platform::_ftime(&clock);
    return fromSeconds(asSigned32(clock.time), clock.millitm);
}

TimeStamp& TimeStamp::setAsNow() noexcept {
    return *this = now();
}

bool TimeStamp::isLeapYear(unsigned int year) noexcept {
    return calendar::isLeapYear(year);
}

unsigned int TimeStamp::daysInMonth(unsigned int year, unsigned int month) noexcept {
    if (month > 12)
        return 0;
    return theMonthDays[month] + (month == 2 && calendar::isLeapYear(year) ? 1 : 0);
}

unsigned int TimeStamp::year() const noexcept {
    return calendar::date(theJulianDate).year;
}

unsigned int TimeStamp::month() const noexcept {
    return calendar::date(theJulianDate).month;
}

unsigned int TimeStamp::day() const noexcept {
    return calendar::date(theJulianDate).day;
}

unsigned int TimeStamp::hour() const noexcept {
    return theMilliseconds / millisecondsPerHour;
}

unsigned int TimeStamp::minute() const noexcept {
    return theMilliseconds / millisecondsPerMinute % 60;
}

unsigned int TimeStamp::second() const noexcept {
    return theMilliseconds / millisecondsPerSecond % 60;
}

unsigned int TimeStamp::millisecond() const noexcept {
    return theMilliseconds % millisecondsPerSecond;
}

unsigned int TimeStamp::dayOfWeek() const noexcept {
    // The day before the first Monday of the count leaves 0.
    const std::uint32_t day = (theJulianDate + 1) % 7;
    return day == 0 ? 7 : day;
}

unsigned int TimeStamp::dayOfYear() const noexcept {
    return theJulianDate - calendar::dayNumber(year(), 1, 1) + 1;
}

unsigned int TimeStamp::daysInMonth() const noexcept {
    const calendar::Date date = calendar::date(theJulianDate);
    return daysInMonth(date.year, date.month);
}

unsigned int TimeStamp::daysInYear() const noexcept {
    return calendar::isLeapYear(year()) ? 366 : 365;
}

unsigned long TimeStamp::asSeconds() const noexcept {
    return theMilliseconds / millisecondsPerSecond;
}

unsigned long TimeStamp::asMilliseconds() const noexcept {
    return theMilliseconds;
}

unsigned long TimeStamp::julianDate() const noexcept {
    return theJulianDate;
}

long TimeStamp::asTime_t() const noexcept {
    return asSigned32((theJulianDate - epoch) * secondsPerDay +
                      theMilliseconds / millisecondsPerSecond);
}

TimeStamp& TimeStamp::setDate(unsigned long julianDate) noexcept {
    theJulianDate = asUnsigned32(julianDate);
    return *this;
}

TimeStamp& TimeStamp::setDate(unsigned int year, unsigned int month, unsigned int day) noexcept {
    theJulianDate = calendar::dayNumber(year, month, day);
    return *this;
}

TimeStamp& TimeStamp::setDate(unsigned int year, unsigned int dayOfYear) noexcept {
    theJulianDate = calendar::dayNumber(year, 1, 1) + dayOfYear - 1;
    return *this;
}

TimeStamp& TimeStamp::setTime(unsigned int hour, unsigned int minute, unsigned int second,
                              unsigned long millisecond) noexcept {
    theMilliseconds = millisecondsOf(hour, minute, second, asUnsigned32(millisecond));
    return *this;
}

TimeStamp& TimeStamp::setTime(unsigned long milliseconds) noexcept {
    theMilliseconds = asUnsigned32(milliseconds);
    return *this;
}

unsigned long TimeStamp::gregorianToJulian(unsigned int year, unsigned int month,
                                           unsigned int day) noexcept {
    return calendar::dayNumber(year, month, day);
}

void TimeStamp::julianToGregorian(unsigned long julianDate, unsigned int& year, unsigned int& month,
                                  unsigned int& day) noexcept {
    const calendar::Date date = calendar::date(asUnsigned32(julianDate));
    year = date.year;
    month = date.month;
    day = date.day;
}

unsigned long TimeStamp::toMilliseconds(unsigned int hour, unsigned int minute, unsigned int second,
                                        unsigned long millisecond) noexcept {
    return millisecondsOf(hour, minute, second, asUnsigned32(millisecond));
}

}  // namespace Sorvex
