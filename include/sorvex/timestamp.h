// Date and time values on a Julian day number.
#ifndef SORVEX_TIMESTAMP_H
#define SORVEX_TIMESTAMP_H

#include <cstdint>
#include <ctime>
#include <iosfwd>
#include <string>

#include <sorvex/export.h>

namespace Sorvex {

class BStream;

/// A day and a time of that day, to the millisecond, without a time zone.
///
/// The day is a Julian day number on the proleptic Gregorian calendar, taken to change at midnight:
/// 1970-01-01 is 2440588. The calendar is exact from 0100-01-01 to day 1075462942 (the year
/// 2939805). The clock is not: its seconds have 32 bits on every host, and end on 2038-01-19.
/// Nothing is checked and nothing of this class fails but for want of memory: fields out
/// of range add on, and all arithmetic is that of unsigned 32-bit numbers, on every host.
///
/// The difference of two stamps is a stamp as well, read as a span: julianDate() is its count of
/// whole days, asMilliseconds() what is left over. The calendar means nothing on a span.
///
/// A plain value. Different values may be used by different threads at the same time.
class SORVEX_API TimeStamp {
public:
    TimeStamp() noexcept;  ///< The present local time, as now().

    /// A date, as setDate() takes it, and a time, as setTime() takes it.
    TimeStamp(unsigned int year, unsigned int month, unsigned int day, unsigned int hour,
              unsigned int minute, unsigned int second, unsigned int millisecond) noexcept;

    /// The two numbers as they are given: a day number, and milliseconds since its midnight.
    TimeStamp(unsigned long julianDate, unsigned long milliseconds) noexcept;

    /// A count of seconds since 1970-01-01 00:00, in 32 bits, with no zone applied.
    ///
    /// A negative count is cut toward zero: -1 is the first day with a time outside it.
    TimeStamp(long seconds) noexcept;

    /// The year, month, day, hour, minute and second of a broken-down time; its other fields are
    /// not read.
    TimeStamp(const std::tm& time, unsigned int millisecond) noexcept;

    TimeStamp(const TimeStamp&) noexcept = default;             ///< A copy of day and time.
    TimeStamp& operator=(const TimeStamp&) noexcept = default;  ///< Takes day and time over.
    ~TimeStamp() = default;

    /// The local time of the clock, with the zone and daylight saving in force at this moment.
    static TimeStamp now() noexcept;

    static TimeStamp system() noexcept;  ///< The UTC of the clock.
    TimeStamp& setAsNow() noexcept;      ///< Becomes now().

    /// Whether a year has 366 days. The year is taken as it comes: 0 is the year 0, a leap year.
    static bool isLeapYear(unsigned int year) noexcept;

    /// The length of a month, 1 to 12, in days; 0 for any other month.
    static unsigned int daysInMonth(unsigned int year, unsigned int month) noexcept;

    /// The full year. A value that was set by its year is in the year 100 at the earliest, unless a
    /// month or day of 0 leads back from there, into 99.
    unsigned int year() const noexcept;
    unsigned int month() const noexcept;  ///< The month, 1 to 12.
    unsigned int day() const noexcept;    ///< The day of the month, 1 to 31.
    /// The hour, 0 to 23; more while the time lies outside the day.
    unsigned int hour() const noexcept;
    unsigned int minute() const noexcept;       ///< The minute of the hour, 0 to 59.
    unsigned int second() const noexcept;       ///< The second of the minute, 0 to 59.
    unsigned int millisecond() const noexcept;  ///< The millisecond of the second, 0 to 999.
    unsigned int dayOfWeek() const noexcept;    ///< 1 for Monday to 7 for Sunday.
    unsigned int dayOfYear() const noexcept;    ///< 1 for January 1st to 366.
    unsigned int daysInMonth() const noexcept;  ///< The length of this value's month in days.
    unsigned int daysInYear() const noexcept;   ///< 365 or 366.

    /// Whole seconds since midnight; not a count since any epoch.
    unsigned long asSeconds() const noexcept;
    unsigned long asMilliseconds() const noexcept;  ///< Milliseconds since midnight.
    unsigned long julianDate() const noexcept;      ///< The day number.
    /// Seconds since 1970-01-01 00:00 as 32 bits hold them, with no zone applied and without the
    /// milliseconds.
    long asTime_t() const noexcept;

    /// Sets the day by its number, and leaves the time alone.
    TimeStamp& setDate(unsigned long julianDate) noexcept;

    /// Sets the day by its date, and leaves the time alone.
    ///
    /// A year of 0 to 99 means 1900 to 1999. Months and days out of range add on: 2003-02-30 is
    /// 2003-03-02, day 0 the last of the month before, month 13 January of the next year.
    TimeStamp& setDate(unsigned int year, unsigned int month, unsigned int day) noexcept;

    /// Sets the day by its number in the year, 1 for January 1st, and leaves the time alone.
    TimeStamp& setDate(unsigned int year, unsigned int dayOfYear) noexcept;

    /// Sets the time of day, and leaves the date alone: hour 25 stays 25 hours of the same day
    /// until milliseconds are added or taken.
    TimeStamp& setTime(unsigned int hour, unsigned int minute, unsigned int second,
                       unsigned long millisecond) noexcept;

    /// Sets the milliseconds since midnight, and leaves the date alone.
    TimeStamp& setTime(unsigned long milliseconds) noexcept;

    /// Later by milliseconds. The sum with the time of day wraps at 2^32 ms, about 49 days, and
    /// comes out inside the day, also when 0 is added.
    TimeStamp operator+(unsigned long milliseconds) const noexcept;
    TimeStamp& operator+=(unsigned long milliseconds) noexcept;  ///< Becomes later by milliseconds.
    TimeStamp operator-(unsigned long milliseconds) const noexcept;  ///< Earlier by milliseconds.
    /// Becomes earlier by milliseconds.
    TimeStamp& operator-=(unsigned long milliseconds) noexcept;

    /// Later by a span: days and milliseconds are added, with the carry.
    TimeStamp operator+(const TimeStamp& other) const noexcept;
    TimeStamp& operator+=(const TimeStamp& other) noexcept;  ///< Becomes later by a span.

    /// Earlier by a span; or the span from an earlier stamp to this one. The span to a later stamp
    /// has a day number that wrapped below 0.
    TimeStamp operator-(const TimeStamp& other) const noexcept;
    /// Becomes earlier by a span, or a span.
    TimeStamp& operator-=(const TimeStamp& other) noexcept;

    /// Whether this one is earlier. Stamps compare by day, then by time of day.
    bool operator<(const TimeStamp& other) const noexcept;
    bool operator>(const TimeStamp& other) const noexcept;   ///< Whether this one is later.
    bool operator==(const TimeStamp& other) const noexcept;  ///< Whether both numbers are equal.
    /// Whether one of the numbers differs.
    bool operator!=(const TimeStamp& other) const noexcept;
    bool operator<=(const TimeStamp& other) const noexcept;  ///< Whether this one is not later.
    bool operator>=(const TimeStamp& other) const noexcept;  ///< Whether this one is not earlier.

    /// The same day one month earlier. The last day of a month goes to the last day of the month
    /// before, and so does a day that the month before lacks.
    TimeStamp monthAgo() const noexcept;

    /// The same day years earlier; February 29th becomes the 28th where there is none.
    ///
    /// A year that comes out below 100 lands in 1901 to 1999, as for setDate().
    TimeStamp yearAgo(unsigned long years) const noexcept;

    TimeStamp dayAgo(unsigned long days) const noexcept;    ///< The same time of day, days earlier.
    TimeStamp dayAhead(unsigned long days) const noexcept;  ///< The same time of day, days later.

    /// Earlier by seconds. The milliseconds below a second are lost when the time of day is too
    /// small and a day is borrowed, and survive otherwise.
    TimeStamp secondsAgo(unsigned long seconds) const noexcept;

    /// Later by seconds; the milliseconds below a second are always lost. Time of day and seconds
    /// add up in 32 bits.
    TimeStamp secondsAhead(unsigned long seconds) const noexcept;

    /// The stamp as strftime formats it, with the month and weekday names of the locale in force.
    ///
    /// A null format is the default one. A stamp has no zone, so the zone tokens give nothing; a
    /// format that gives nothing at all gives an empty string. So may one whose text is more than
    /// 16 MB longer than itself.
    std::string asString(const char* format = "%Y %B %d %H:%M:%S") const;

protected:
    /// The day number of a date, with the rules of setDate().
    ///
    /// Source: Robert G. Tantzen, Algorithm 199, Communications of the ACM 6 (1963), number 8.
    static unsigned long gregorianToJulian(unsigned int year, unsigned int month,
                                           unsigned int day) noexcept;

    /// The date of a day number, from 1721120 (0000-03-01) to 1075462942.
    ///
    /// Gives what the inverse in Algorithm 199 gives, by the method of Cassio Neri and Lorenz
    /// Schneider, "Euclidean affine functions and their application to calendar algorithms",
    /// Software: Practice and Experience 53 (2023), number 4.
    static void julianToGregorian(unsigned long julianDate, unsigned int& year, unsigned int& month,
                                  unsigned int& day) noexcept;

    /// The milliseconds of a time of day; nothing is checked.
    static unsigned long toMilliseconds(unsigned int hour, unsigned int minute, unsigned int second,
                                        unsigned long millisecond) noexcept;

private:
    // Lengths of the months 1 to 12, February's without the leap day.
    static const unsigned int theMonthDays[13];

    std::uint32_t theJulianDate;
    std::uint32_t theMilliseconds;
};

/// Writes a stamp in 8 bytes: the day number, then the milliseconds, by two writes of 4 bytes.
SORVEX_API BStream& operator<<(BStream& stream, const TimeStamp& value);

/// Reads a stamp by two reads of 4 bytes. What does not arrive stays as it was; the value changes
/// only when both reads have returned.
SORVEX_API BStream& operator>>(BStream& stream, TimeStamp& value);

/// Inserts asString() with its default format as one string, with the stream's width and fill.
SORVEX_API std::ostream& operator<<(std::ostream& stream, const TimeStamp& value);

}  // namespace Sorvex

#endif
