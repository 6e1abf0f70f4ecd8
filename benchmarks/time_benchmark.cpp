// Dates, clocks and their texts, beside the standard calendar, the C library and Abseil.
//
// The calendar functions of the peers are inline in their headers; ours are calls into the library.
// For a weekday the call is nearly all: 3.3 ns, where a member that only returns a number takes 2.9
// ns and the standard calendar 1.4 to 1.7 ns. The platform's clock tells the zone along with the
// time, so UTC costs about 4 of 34 ns more than the standard clock.
#include <chrono>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <sorvex/timestamp.h>

#ifdef SORVEX_BENCH_ABSL
#include <absl/time/clock.h>
#include <absl/time/time.h>
#endif
#ifdef SORVEX_BENCH_FMT
#include <fmt/chrono.h>
#endif

namespace {

using Sorvex::TimeStamp;
namespace chrono = std::chrono;

constexpr unsigned long epoch = 2440588;
constexpr std::size_t count = 1024;

struct Calendar : TimeStamp {
    using TimeStamp::gregorianToJulian;
    using TimeStamp::julianToGregorian;
};

/// Day numbers all over four centuries, in no order.
const std::vector<unsigned long>& days() {
    static const std::vector<unsigned long> numbers = [] {
        std::vector<unsigned long> made;
        std::uint32_t seed = 1;
        for (std::size_t i = 0; i < count; ++i) {
            seed = seed * 1664525 + 1013904223;
            made.push_back(2378497 + (seed >> 8) % 146097);
        }
        return made;
    }();
    return numbers;
}

chrono::year_month_day dateOf(unsigned long day) {
    return chrono::sys_days(chrono::days(static_cast<int>(day) - static_cast<int>(epoch)));
}

/// Runs a function over all days and counts each.
template <typename Function>
void overDays(benchmark::State& state, Function function) {
    for ([[maybe_unused]] auto _ : state) {
        for (const unsigned long day : days())
            benchmark::DoNotOptimize(function(day));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

void check(benchmark::State& state, bool isRight) {
    if (!isRight)
        state.SkipWithError("wrong answer");
}

void DayToDate_Sorvex(benchmark::State& state) {
    overDays(state, [](unsigned long number) {
        unsigned int year = 0;
        unsigned int month = 0;
        unsigned int day = 0;
        Calendar::julianToGregorian(number, year, month, day);
        return year + month + day;
    });
}
BENCHMARK(DayToDate_Sorvex);

void DayToDate_SorvexAccessors(benchmark::State& state) {
    overDays(state, [](unsigned long number) {
        const TimeStamp stamp(number, 0);
        return stamp.year() + stamp.month() + stamp.day();
    });
}
BENCHMARK(DayToDate_SorvexAccessors);

void DayToDate_StdChrono(benchmark::State& state) {
    for (const unsigned long number : days()) {
        const TimeStamp stamp(number, 0);
        const auto date = dateOf(number);
        check(state, static_cast<int>(stamp.year()) == int(date.year()) &&
                         stamp.month() == unsigned(date.month()) &&
                         stamp.day() == unsigned(date.day()));
    }
    overDays(state, [](unsigned long number) {
        const auto date = dateOf(number);
        return static_cast<unsigned>(int(date.year())) + unsigned(date.month()) +
               unsigned(date.day());
    });
}
BENCHMARK(DayToDate_StdChrono);

#ifdef SORVEX_BENCH_ABSL
void DayToDate_Abseil(benchmark::State& state) {
    overDays(state, [](unsigned long number) {
        const auto day = absl::CivilDay(1970, 1, 1) + static_cast<int>(number - epoch);
        return static_cast<unsigned>(day.year()) + static_cast<unsigned>(day.month() + day.day());
    });
}
BENCHMARK(DayToDate_Abseil);
#endif

/// The dates of the days, so that only the way back is timed.
template <typename Function>
void overDates(benchmark::State& state, Function function) {
    std::vector<chrono::year_month_day> dates;
    for (const unsigned long day : days())
        dates.push_back(dateOf(day));
    for ([[maybe_unused]] auto _ : state) {
        for (const auto& date : dates)
            benchmark::DoNotOptimize(function(date));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

unsigned long dayOf(const chrono::year_month_day& date) {
    return Calendar::gregorianToJulian(static_cast<unsigned>(int(date.year())),
                                       unsigned(date.month()), unsigned(date.day()));
}

void DateToDay_Sorvex(benchmark::State& state) {
    for (const unsigned long day : days())
        check(state, dayOf(dateOf(day)) == day);
    overDates(state, dayOf);
}
BENCHMARK(DateToDay_Sorvex);

void DateToDay_StdChrono(benchmark::State& state) {
    overDates(state, [](const chrono::year_month_day& date) {
        return chrono::sys_days(date).time_since_epoch().count();
    });
}
BENCHMARK(DateToDay_StdChrono);

std::vector<TimeStamp> stamps() {
    std::vector<TimeStamp> made;
    for (const unsigned long day : days())
        made.emplace_back(day, 0UL);
    return made;
}

std::vector<chrono::sys_days> standardDays() {
    std::vector<chrono::sys_days> made;
    for (const unsigned long day : days())
        made.emplace_back(dateOf(day));
    return made;
}

/// Runs a function over the values of either library.
template <typename Values, typename Function>
void overValues(benchmark::State& state, const Values& values, Function function) {
    for ([[maybe_unused]] auto _ : state) {
        for (const auto& value : values)
            benchmark::DoNotOptimize(function(value));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(values.size()));
}

void DayOfWeek_Sorvex(benchmark::State& state) {
    for (const unsigned long day : days())
        check(state, TimeStamp(day, 0).dayOfWeek() ==
                         chrono::weekday(chrono::sys_days(dateOf(day))).iso_encoding());
    overValues(state, stamps(), [](const TimeStamp& stamp) { return stamp.dayOfWeek(); });
}
BENCHMARK(DayOfWeek_Sorvex);

void DayOfWeek_StdChrono(benchmark::State& state) {
    overValues(state, standardDays(),
               [](chrono::sys_days day) { return chrono::weekday(day).iso_encoding(); });
}
BENCHMARK(DayOfWeek_StdChrono);

/// The same rule as ours: month ends go to month ends.
chrono::sys_days monthAgo(chrono::sys_days day) {
    const chrono::year_month_day date(day);
    const auto before = chrono::year_month(date.year(), date.month()) - chrono::months(1);
    const chrono::year_month_day_last end(before.year(), chrono::month_day_last(before.month()));
    const chrono::year_month_day_last ownEnd(date.year(), chrono::month_day_last(date.month()));
    if (date.day() == ownEnd.day() || date.day() > end.day())
        return end;
    return before / date.day();
}

void MonthAgo_Sorvex(benchmark::State& state) {
    for (const unsigned long day : days())
        check(state,
              TimeStamp(day, 0).monthAgo().julianDate() - epoch ==
                  static_cast<unsigned long>(monthAgo(dateOf(day)).time_since_epoch().count()));
    overValues(state, stamps(), [](const TimeStamp& stamp) { return stamp.monthAgo(); });
}
BENCHMARK(MonthAgo_Sorvex);

void MonthAgo_StdChrono(benchmark::State& state) {
    overValues(state, standardDays(), monthAgo);
}
BENCHMARK(MonthAgo_StdChrono);

constexpr const char* longForm = "%Y %B %d %H:%M:%S";
constexpr const char* isoForm = "%Y-%m-%d %H:%M:%S";

std::tm brokenDown() {
    std::tm time{};
    time.tm_year = 103;
    time.tm_mon = 8;
    time.tm_mday = 17;
    time.tm_hour = 14;
    time.tm_min = 5;
    time.tm_sec = 9;
    return time;
}

void textBySorvex(benchmark::State& state, const char* format, const char* expected) {
    const TimeStamp stamp(2003, 9, 17, 14, 5, 9, 250);
    check(state, stamp.asString(format) == expected);
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(stamp.asString(format));
}
BENCHMARK_CAPTURE(textBySorvex, TimeText, longForm, "2003 September 17 14:05:09")
    ->Name("TimeText_Sorvex");
BENCHMARK_CAPTURE(textBySorvex, TimeTextIso, isoForm, "2003-09-17 14:05:09")
    ->Name("TimeTextIso_Sorvex");

void textByStrftime(benchmark::State& state, const char* format) {
    const std::tm time = brokenDown();
    char buffer[256];
    for ([[maybe_unused]] auto _ : state) {
        const std::size_t length = std::strftime(buffer, sizeof buffer, format, &time);
        benchmark::DoNotOptimize(std::string(buffer, length));
    }
}
BENCHMARK_CAPTURE(textByStrftime, TimeText, longForm)->Name("TimeText_Strftime");
BENCHMARK_CAPTURE(textByStrftime, TimeTextIso, isoForm)->Name("TimeTextIso_Strftime");

#ifdef SORVEX_BENCH_ABSL
void textByAbseil(benchmark::State& state, const char* format) {
    const absl::Time time = absl::FromUnixSeconds(1063807509);
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(absl::FormatTime(format, time, absl::UTCTimeZone()));
}
BENCHMARK_CAPTURE(textByAbseil, TimeText, longForm)->Name("TimeText_Abseil");
BENCHMARK_CAPTURE(textByAbseil, TimeTextIso, isoForm)->Name("TimeTextIso_Abseil");
#endif

#ifdef SORVEX_BENCH_FMT
void TimeText_Fmt(benchmark::State& state) {
    const std::tm time = brokenDown();
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(fmt::format("{:%Y %B %d %H:%M:%S}", time));
}
BENCHMARK(TimeText_Fmt);

void TimeTextIso_Fmt(benchmark::State& state) {
    const std::tm time = brokenDown();
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(fmt::format("{:%Y-%m-%d %H:%M:%S}", time));
}
BENCHMARK(TimeTextIso_Fmt);
#endif

void NowLocal_Sorvex(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(TimeStamp::now());
}
BENCHMARK(NowLocal_Sorvex);

// Keeps the zone that the process started with.
void NowLocal_HostLocaltimeR(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        const auto now = chrono::system_clock::now();
        const std::time_t seconds = chrono::system_clock::to_time_t(now);
        std::tm local{};
        benchmark::DoNotOptimize(localtime_r(&seconds, &local));
        benchmark::DoNotOptimize(local);
    }
}
BENCHMARK(NowLocal_HostLocaltimeR);

#ifdef SORVEX_BENCH_ABSL
void NowLocal_Abseil(benchmark::State& state) {
    const absl::TimeZone zone = absl::LocalTimeZone();
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(zone.At(absl::Now()));
}
BENCHMARK(NowLocal_Abseil);
#endif

void NowUtc_Sorvex(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(TimeStamp::system());
}
BENCHMARK(NowUtc_Sorvex);

void NowUtc_StdChrono(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(chrono::system_clock::now());
}
BENCHMARK(NowUtc_StdChrono);

}  // namespace
