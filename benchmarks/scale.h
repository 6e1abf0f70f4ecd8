// The frame of a benchmark that shows time and memory against size.
//
// Names are "Scale/Workload/contender/unit:size".
#pragma once

#include <chrono>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <malloc.h>

namespace scale {

/// How much memory the process holds more than at the start of the scope, at the most: heap, stacks
/// and mappings, by the host's count of resident pages, which is right to some 256 KiB.
class PeakMemory {
public:
    PeakMemory() {
        malloc_trim(0);
        std::ofstream("/proc/self/clear_refs") << 5;  // the peak begins at what is held now
        before = kibibytes("VmRSS:");
    }

    double bytes() const { return static_cast<double>(kibibytes("VmHWM:") - before) * 1024; }

private:
    static std::int64_t kibibytes(const std::string& wanted) {
        std::ifstream status("/proc/self/status");
        std::string word;
        while (status >> word && word != wanted) {}
        std::int64_t size = 0;
        status >> size;
        return size;
    }

    std::int64_t before = 0;
};

/// Times an operation, which has to return the expected number, and takes the peak of its first
/// run. What has to be there before each run is made by a function of its own and not timed.
template <typename Operation, typename Prepare>
void measure(benchmark::State& state, std::uint64_t expected, Operation operation,
             Prepare prepare) {
    using Clock = std::chrono::steady_clock;
    bool isFirst = true;
    for ([[maybe_unused]] auto _ : state) {
        prepare();
        std::optional<PeakMemory> peak;
        if (isFirst)
            peak.emplace();
        const Clock::time_point begin = Clock::now();
        const std::uint64_t result = operation();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
        if (peak)
            state.counters["peak_bytes"] = peak->bytes();
        isFirst = false;
        if (result != expected) {
            state.SkipWithError("the result is not the expected one");
            break;
        }
    }
}

template <typename Operation>
void measure(benchmark::State& state, std::uint64_t expected, Operation operation) {
    measure(state, expected, operation, [] {});
}

using Sizes = std::vector<std::int64_t>;

struct Contender {
    const char* name;
    void (*run)(benchmark::State&);
};

/// Each size is run once, whatever the number of repetitions of the others. The note says why the
/// time doesn't grow in proportion to the size.
inline void add(const std::string& workload, const std::string& unit, const Sizes& sizes,
                const std::vector<Contender>& contenders, const std::string& note = "") {
    for (const Contender& contender : contenders) {
        auto* registered =
            benchmark::RegisterBenchmark(("Scale/" + workload + '/' + contender.name).c_str(),
                                         [run = contender.run, note](benchmark::State& state) {
                                             run(state);
                                             state.SetLabel(note);
                                         });
        registered->ArgName(unit)->UseManualTime()->Repetitions(1);
        for (const std::int64_t size : sizes)
            registered->Arg(size);
    }
}

inline std::uint64_t sizeOf(const benchmark::State& state) {
    return static_cast<std::uint64_t>(state.range(0));
}

}  // namespace scale
