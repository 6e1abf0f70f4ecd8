// Made by make_vectors.py from Python's calendar. Not to be edited.
// clang-format off
#ifndef SORVEX_TESTS_TIME_CALENDAR_VECTORS_H
#define SORVEX_TESTS_TIME_CALENDAR_VECTORS_H

#include <cstdint>

namespace Sorvex::testing {

// The days of 99 centuries, and an FNV-1a checksum, of 32 bits at a time, over each one's
// year, month, day, weekday, day of the year, length of the month and of the year, and the
// numbers of the days a month and a year ago.
inline constexpr unsigned long firstDay = 1757585;
inline constexpr unsigned long lastDay = 5373484;
inline constexpr std::uint32_t checksumOfDays = 0x314b1a04;

// Days from 0000-03-01 to the highest: number, year, month, day, weekday.
inline constexpr std::uint32_t distantDays[][5] = {
    {1721120, 0, 3, 1, 3},
    {1757584, 99, 12, 31, 4},
    {268435456, 730239, 3, 20, 3},
    {536870912, 1465190, 7, 13, 5},
    {805306368, 2200141, 11, 5, 7},
    {1073741824, 2935093, 2, 28, 2},
    {1075462942, 2939805, 6, 4, 2},
};

// Days and seconds in the text forms of the "C" locale.
inline constexpr const char* textFormat = "%a %A %b %B %d %j %U %W %w %I:%M:%S %p %y-%m-%d %H %%";
inline constexpr struct { unsigned long number, seconds; const char* text; } texts[] = {
    {2452900, 50709, "Wed Wednesday Sep September 17 260 37 37 3 02:05:09 PM 03-09-17 14 %"},
    {2453065, 0, "Sun Sunday Feb February 29 060 09 08 0 12:00:00 AM 04-02-29 00 %"},
    {2451910, 86399, "Sun Sunday Dec December 31 366 53 52 0 11:59:59 PM 00-12-31 23 %"},
    {2453372, 43200, "Sat Saturday Jan January 01 001 00 00 6 12:00:00 PM 05-01-01 12 %"},
};

}  // namespace Sorvex::testing

#endif
