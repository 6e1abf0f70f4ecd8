#!/usr/bin/env python3
"""Writes calendar_vectors.h from Python's own calendar.

    python3 make_vectors.py > calendar_vectors.h
"""

import calendar
import datetime

EPOCH = 2440588 - datetime.date(1970, 1, 1).toordinal()
FIRST, LAST = datetime.date(100, 1, 1), datetime.date(9999, 12, 31)
HIGHEST = 1075462942
CYCLE_DAYS, CYCLE_YEARS = 146097, 400


def number_of(date):
    return date.toordinal() + EPOCH


def number_by_entry(year, month, day):
    """The day number of a date that is entered with the two-digit rule."""
    if year < 100:
        year += 1900
    return number_of(datetime.date(year, month, day))


def length_of(year, month):
    return calendar.monthrange(year, month)[1]


def month_ago(date):
    year, month = (date.year, date.month - 1) if date.month > 1 else (date.year - 1, 12)
    length = length_of(year, month)
    at_end = date.day == length_of(date.year, date.month)
    return number_by_entry(year, month, length if at_end else min(date.day, length))


def year_ago(date):
    year = date.year - 1
    return number_by_entry(year, date.month, min(date.day, length_of(year, date.month)))


def checksum():
    """FNV-1a, of 32 bits at a time, over what the accessors give for each day."""
    value = 2166136261
    for ordinal in range(FIRST.toordinal(), LAST.toordinal() + 1):
        date = datetime.date.fromordinal(ordinal)
        for part in (date.year, date.month, date.day, date.isoweekday(), date.timetuple().tm_yday,
                     length_of(date.year, date.month), 366 if calendar.isleap(date.year) else 365,
                     month_ago(date), year_ago(date)):
            value = (value ^ part) * 16777619 & 0xFFFFFFFF
    return value


def beyond(number):
    """The date of any day number, by the calendar's cycle of 400 years."""
    cycles, rest = divmod(number - number_of(datetime.date(2000, 1, 1)), CYCLE_DAYS)
    date = datetime.date.fromordinal(datetime.date(2000, 1, 1).toordinal() + rest)
    return date.year + CYCLE_YEARS * cycles, date.month, date.day, date.isoweekday()


FORMAT = "%a %A %b %B %d %j %U %W %w %I:%M:%S %p %y-%m-%d %H %%"
STAMPS = [datetime.datetime(2003, 9, 17, 14, 5, 9), datetime.datetime(2004, 2, 29, 0, 0, 0),
          datetime.datetime(2000, 12, 31, 23, 59, 59), datetime.datetime(2005, 1, 1, 12, 0, 0)]


def quoted(text):
    return '"' + text + '"'


def main():
    print("// Made by make_vectors.py from Python's calendar. Not to be edited.")
    print("// clang-format off")
    print("#ifndef SORVEX_TESTS_TIME_CALENDAR_VECTORS_H")
    print("#define SORVEX_TESTS_TIME_CALENDAR_VECTORS_H\n")
    print("#include <cstdint>\n")
    print("namespace Sorvex::testing {\n")

    print("// The days of 99 centuries, and an FNV-1a checksum, of 32 bits at a time, over each one's")
    print("// year, month, day, weekday, day of the year, length of the month and of the year, and the")
    print("// numbers of the days a month and a year ago.")
    print(f"inline constexpr unsigned long firstDay = {number_of(FIRST)};")
    print(f"inline constexpr unsigned long lastDay = {number_of(LAST)};")
    print(f"inline constexpr std::uint32_t checksumOfDays = 0x{checksum():08x};\n")

    print("// Days from 0000-03-01 to the highest: number, year, month, day, weekday.")
    print("inline constexpr std::uint32_t distantDays[][5] = {")
    for number in [1721120, number_of(FIRST) - 1, *range(1 << 28, HIGHEST, 1 << 28), HIGHEST]:
        print("    {%s}," % ", ".join(str(part) for part in (number, *beyond(number))))
    print("};\n")

    print("// Days and seconds in the text forms of the \"C\" locale.")
    print(f"inline constexpr const char* textFormat = {quoted(FORMAT)};")
    print("inline constexpr struct { unsigned long number, seconds; const char* text; } texts[] = {")
    for stamp in STAMPS:
        seconds = (stamp.hour * 60 + stamp.minute) * 60 + stamp.second
        print(f"    {{{number_of(stamp)}, {seconds}, {quoted(stamp.strftime(FORMAT))}}},")
    print("};\n")
    print("}  // namespace Sorvex::testing\n")
    print("#endif")


if __name__ == "__main__":
    main()
