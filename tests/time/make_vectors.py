#!/usr/bin/env python3
"""Writes calendar_vectors.h from Python's own calendar.

    python3 make_vectors.py > calendar_vectors.h
"""

import calendar
import datetime
import struct

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


def checksum(first, last):
    """FNV-1a over what the accessors give for each day."""
    value = 2166136261
    for ordinal in range(first.toordinal(), last.toordinal() + 1):
        date = datetime.date.fromordinal(ordinal)
        record = struct.pack(
            "<IBBBHII", date.year, date.month, date.day, date.isoweekday(),
            date.timetuple().tm_yday, month_ago(date), year_ago(date))
        for byte in record:
            value = (value ^ byte) * 16777619 & 0xFFFFFFFF
    return value


def beyond(number):
    """The date of any day number, by the calendar's cycle of 400 years."""
    cycles, rest = divmod(number - number_of(datetime.date(2000, 1, 1)), CYCLE_DAYS)
    date = datetime.date.fromordinal(datetime.date(2000, 1, 1).toordinal() + rest)
    return date.year + CYCLE_YEARS * cycles, date.month, date.day, date.isoweekday()


FORMATS = ["%a %A %b %B %d", "%j %U %W %w", "%I:%M:%S %p", "%y-%m-%d %H %%"]
STAMPS = [datetime.datetime(2003, 9, 17, 14, 5, 9), datetime.datetime(2004, 2, 29, 0, 0, 0),
          datetime.datetime(2000, 12, 31, 23, 59, 59), datetime.datetime(2005, 1, 1, 12, 0, 0)]


def quoted(text):
    return '"' + text.replace("\\", "\\\\").replace("\n", "\\n").replace("\t", "\\t") + '"'


def main():
    print("// Made by make_vectors.py from Python's calendar. Not to be edited.")
    print("// clang-format off")
    print("#ifndef SORVEX_TESTS_TIME_CALENDAR_VECTORS_H")
    print("#define SORVEX_TESTS_TIME_CALENDAR_VECTORS_H\n")
    print("#include <cstdint>\n")
    print("namespace Sorvex::testing {\n")

    print("// For each century: its first and last day, and an FNV-1a checksum over each day's year")
    print("// (4 bytes), month, day, weekday (1 each), day of the year (2), and the numbers of the days")
    print("// a month and a year ago (4 each), all little-endian.")
    print("inline constexpr struct { std::uint32_t first, last, checksum; } centuries[] = {")
    for century in range(1, 100):
        first = datetime.date(100 * century, 1, 1)
        last = min(datetime.date(100 * century + 99, 12, 31), LAST)
        print(f"    {{{number_of(first)}, {number_of(last)}, 0x{checksum(first, last):08x}}},")
    print("};\n")

    print("// Days from 0000-03-01 to the highest: number, year, month, day, weekday.")
    print("inline constexpr std::uint32_t distantDays[][5] = {")
    numbers = list(range(1721120, HIGHEST, 26843551)) + [HIGHEST]
    for number in numbers:
        print("    {%s}," % ", ".join(str(part) for part in (number, *beyond(number))))
    print("};\n")

    print("// Stamps in the text forms of the \"C\" locale.")
    print("inline constexpr struct {")
    print("    unsigned int year, month, day, hour, minute, second;")
    print("    const char* format;")
    print("    const char* text;")
    print("} texts[] = {")
    for stamp in STAMPS:
        for form in FORMATS:
            fields = (stamp.year, stamp.month, stamp.day, stamp.hour, stamp.minute, stamp.second)
            print("    {%s, %s, %s}," % (", ".join(map(str, fields)), quoted(form),
                                        quoted(stamp.strftime(form))))
    print("};\n")
    print("}  // namespace Sorvex::testing\n")
    print("#endif")


if __name__ == "__main__":
    main()
