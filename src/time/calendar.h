// Day numbers and dates, in unsigned 32-bit arithmetic that wraps.
#pragma once

#include <cstdint>

namespace Sorvex::calendar {

// The day number of 0000-02-29: years are counted from March, so that the leap day ends a year.
constexpr std::uint32_t base = 1721119;
constexpr std::uint32_t daysIn400Years = 146097;

struct Date {
    std::uint32_t year;
    std::uint32_t month;      ///< 1 to 12
    std::uint32_t day;        ///< 1 to 31
    std::uint32_t dayOfYear;  ///< 0 for January 1st
};

constexpr bool isLeapYear(std::uint32_t year) noexcept {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

/// The day number of a date: Tantzen, Algorithm 199, CACM 6 (1963) 8, with the years 0 to 99 taken
/// for 1900 to 1999. Months and days out of range add on.
constexpr std::uint32_t dayNumber(std::uint32_t year, std::uint32_t month,
                                  std::uint32_t day) noexcept {
    if (year <= 99)
        year += 1900;
    if (month > 2) {
        month -= 3;
    } else {
        month += 9;
        --year;
    }
    const std::uint32_t century = year / 100;
    const std::uint32_t rest = year - 100 * century;
    return daysIn400Years * century / 4 + day + base + 1461 * rest / 4 + (153 * month + 2) / 5;
}

/// The date of a day number: the inverse in Algorithm 199, with the divisions by 1461 and by 153/5
/// done by multiplications as in Neri and Schneider, "Euclidean affine functions and their
/// application to calendar algorithms", Softw. Pract. Exper. 53 (2023) 4. The results are those of
/// the divisions for every 32-bit day number, since only the remainder of a century enters them.
constexpr Date date(std::uint32_t number) noexcept {
    const std::uint32_t quarters = 4 * (number - base) - 1;
    const std::uint32_t century = quarters / daysIn400Years;
    const std::uint32_t rest = quarters % daysIn400Years | 3;

    constexpr std::uint32_t perYear = 2939745;  // 2^32 / 1461, rounded up
    const std::uint64_t years = std::uint64_t{perYear} * rest;
    const std::uint32_t yearOfCentury = static_cast<std::uint32_t>(years >> 32);
    const std::uint32_t dayFromMarch = static_cast<std::uint32_t>(years) / perYear / 4;

    constexpr std::uint32_t perMonth = 2141;  // 2^16 * 5 / 153, rounded down
    const std::uint32_t months = perMonth * dayFromMarch + 197913;
    const std::uint32_t monthFromMarch = months >> 16;  // 3 for March to 14 for February
    const std::uint32_t day = (months & 0xFFFF) / perMonth + 1;

    constexpr std::uint32_t january1st = 306;
    const bool nextYear = dayFromMarch >= january1st;
    const std::uint32_t year = 100 * century + yearOfCentury + (nextYear ? 1 : 0);
    const std::uint32_t dayOfYear =
        nextYear ? dayFromMarch - january1st : dayFromMarch + 59 + (isLeapYear(year) ? 1 : 0);
    return {year, nextYear ? monthFromMarch - 12 : monthFromMarch, day, dayOfYear};
}

}  // namespace Sorvex::calendar
