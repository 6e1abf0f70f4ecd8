// The frame of a benchmark that puts the library beside what a program would use instead.
//
// Contenders register under "Workload/contender"; the library's own is called "sorvex". Behind the
// usual lines stands one line a workload: the time, the best peer and the ratio to it. With
// repetitions the least time counts.
#pragma once

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace comparison {

/// Times a call whose result has to be the expected one. The result is compared once, before.
template <typename Expected, typename Call>
void add(const std::string& workload, const std::string& contender, const Expected& expected,
         Call call) {
    benchmark::RegisterBenchmark((workload + "/" + contender).c_str(),
                                 [expected, call](benchmark::State& state) {
                                     if (!(call() == expected)) {
                                         state.SkipWithError("the result is not the expected one");
                                         return;
                                     }
                                     for (auto _ : state)
                                         benchmark::DoNotOptimize(call());
                                 });
}

/// Prints what the usual reporter prints, and the ratios at the end.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        benchmark::ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred)
                failed = true;
            else if (run.run_type == Run::RT_Iteration)
                note(run.run_name.function_name, run.GetAdjustedCPUTime(), run.time_unit);
        }
    }

    void Finalize() override {
        std::printf("\n%-22s %12s   %s\n", "workload", "sorvex", "ratio to the best peer");
        for (const std::string& workload : order)
            print(workload, best[workload]);
    }

    bool anyFailed() const { return failed; }

private:
    void note(const std::string& name, double time, benchmark::TimeUnit unit) {
        const std::size_t slash = name.find('/');
        const std::string workload = name.substr(0, slash);
        if (best.find(workload) == best.end())
            order.push_back(workload);
        const double nanoseconds = time / benchmark::GetTimeUnitMultiplier(unit) * 1e9;
        const auto [place, isNew] = best[workload].emplace(name.substr(slash + 1), nanoseconds);
        if (!isNew)
            place->second = std::min(place->second, nanoseconds);
    }

    static void print(const std::string& workload, const std::map<std::string, double>& times) {
        const auto own = times.find("sorvex");
        auto peer = times.end();
        for (auto next = times.begin(); next != times.end(); ++next) {
            if (next != own && (peer == times.end() || next->second < peer->second))
                peer = next;
        }
        if (own != times.end() && peer != times.end())
            std::printf("%-22s %9.4g ns   %.2f of %s\n", workload.c_str(), own->second,
                        own->second / peer->second, peer->first.c_str());
    }

    std::vector<std::string> order;
    std::map<std::string, std::map<std::string, double>> best;
    bool failed = false;
};

/// Runs what was registered; the result is the program's, 1 when an answer was wrong.
inline int run(int count, char** arguments) {
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments))
        return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return reporter.anyFailed() ? 1 : 0;
}

}  // namespace comparison
