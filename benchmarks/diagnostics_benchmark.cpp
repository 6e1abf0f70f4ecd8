// Timed and traced scopes beside what a program would write by hand.
//
// A timed scope is two readings of the monotonic clock and a look-up of its name by address. Trace
// lines go to the null device, piece by piece on both sides: a piece is a system call, since the
// standard error stream keeps nothing back.
//
// Ratios of single runs: a scope takes 1.0 to 1.3 of two readings of the host's clock by hand, a
// batch of 1000 takes 0.6 to 0.8. The processor's own counter would halve a scope, but its ticks
// have no known unit, and not every host lets a process read it. A line and a scope of the trace
// take 1.0 of the same pieces by hand; a formatted line in one piece is four times as fast.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#endif

#include <sorvex/diagnostics.h>

#include "support/temporary_directory.h"

namespace {

using Sorvex::BTrace;
using Sorvex::testing::TemporaryDirectory;

// Timed scopes -------------------------------------------------------------------------------

std::uint64_t clockReading() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<std::uint64_t>(time.tv_sec) * 1000000000 +
           static_cast<std::uint64_t>(time.tv_nsec);
}

#if defined(__x86_64__) || defined(__i386__)
// Can be taken before what stands in front of it.
std::uint64_t processorReading() {
    return __rdtsc();
}
#endif

struct HandBatch {
    const char* fileName;
    std::vector<std::uint32_t> samples;

    void write() {
        std::ofstream stream(fileName, std::ios::app);
        for (const std::uint32_t sample : samples)
            stream << sample << '\n';
        samples.clear();
    }
};

std::map<const char*, HandBatch>& handBatches() {
    static std::map<const char*, HandBatch> batches;
    return batches;
}

template <std::uint64_t (*reading)()>
class HandScope {
public:
    HandScope(const char* fileName, unsigned long size)
        : name(fileName), batchSize(size), start(static_cast<std::uint32_t>(reading())) {}

    ~HandScope() {
        const auto end = static_cast<std::uint32_t>(reading());
        const auto [place, isNew] = handBatches().try_emplace(name, HandBatch{name, {}});
        std::vector<std::uint32_t>& samples = place->second.samples;
        if (isNew)
            samples.reserve(batchSize);
        samples.push_back(end - start);
        if (samples.size() == batchSize)
            place->second.write();
    }

    HandScope(const HandScope&) = delete;
    HandScope& operator=(const HandScope&) = delete;

private:
    const char* name;
    unsigned long batchSize;
    std::uint32_t start;
};

// Scopes are known by the address of their name as long as the process lives.
const char* lastingName(const TemporaryDirectory& directory) {
    return (new std::string(directory.name("samples")))->c_str();
}

std::int64_t linesIn(const char* file) {
    std::ifstream stream(file);
    return std::count(std::istreambuf_iterator<char>(stream), {}, '\n');
}

// The last sample of the only batch is taken when all is measured, and shows that none was lost.
template <typename Scope>
void profilerScope(benchmark::State& state) {
    const TemporaryDirectory directory;
    const char* const name = lastingName(directory);
    const auto batchSize = static_cast<unsigned long>(state.max_iterations) + 1;
    for ([[maybe_unused]] auto _ : state) {
        const Scope scope(name, batchSize);
        benchmark::ClobberMemory();
    }
    { const Scope last(name, batchSize); }
    if (linesIn(name) != state.iterations() + 1)
        state.SkipWithError("samples are missing");
}

template <typename Scope>
void profilerBatch(benchmark::State& state) {
    constexpr std::int64_t batchSize = 1000;
    const TemporaryDirectory directory;
    const char* const name = lastingName(directory);
    for ([[maybe_unused]] auto _ : state) {
        for (std::int64_t sample = 0; sample < batchSize; ++sample)
            const Scope scope(name, batchSize);
    }
    if (linesIn(name) != state.iterations() * batchSize)
        state.SkipWithError("samples are missing");
}

BENCHMARK(profilerScope<Profiler>)->Name("ProfilerScope/sorvex");
BENCHMARK(profilerScope<HandScope<clockReading>>)->Name("ProfilerScope/two_clock_gettime");
BENCHMARK(profilerBatch<Profiler>)->Name("ProfilerBatch1000/sorvex");
BENCHMARK(profilerBatch<HandScope<clockReading>>)
    ->Name("ProfilerBatch1000/two_clock_gettime_ofstream");
#if defined(__x86_64__) || defined(__i386__)
BENCHMARK(profilerScope<HandScope<processorReading>>)->Name("ProfilerScope/limit_two_rdtsc");
#endif

// Traced scopes ------------------------------------------------------------------------------

constexpr const char* tracedName = "Application::openDocument";

long threadId() {
    static thread_local const long id = gettid();
    return id;
}

struct SorvexTrace {
    static void line() { BTrace::write(tracedName, 5); }
    static void scope() { const BTrace trace(tracedName, 5); }
};

// The same pieces by hand.
class StreamScope {
public:
    explicit StreamScope(const char* scopeName, long number) : name(scopeName), id(threadId()) {
        std::cerr << id << ": "
                  << "+" << scopeName << " " << number << std::endl;
    }
    ~StreamScope() {
        std::cerr << id << ": "
                  << "-" << name << std::endl;
    }

    StreamScope(const StreamScope&) = delete;
    StreamScope& operator=(const StreamScope&) = delete;

private:
    std::string name;
    long id;
};

struct StreamTrace {
    static void line() { std::cerr << tracedName << " " << 5L << std::endl; }
    static void scope() { const StreamScope trace(tracedName, 5); }
};

// A line in one piece.
struct PrintTrace {
    static void line() { std::fprintf(stderr, "%s %ld\n", tracedName, 5L); }
    static void scope() {
        std::fprintf(stderr, "%ld: +%s %ld\n", threadId(), tracedName, 5L);
        std::fprintf(stderr, "%ld: -%s\n", threadId(), tracedName);
    }
};

/// Sends what goes to the standard error descriptor to a file until the end of the scope.
class ErrorsTo {
public:
    explicit ErrorsTo(const char* file) : kept(dup(STDERR_FILENO)) {
        const int target = open(file, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        dup2(target, STDERR_FILENO);
        close(target);
    }
    ~ErrorsTo() {
        dup2(kept, STDERR_FILENO);
        close(kept);
    }

    ErrorsTo(const ErrorsTo&) = delete;
    ErrorsTo& operator=(const ErrorsTo&) = delete;

private:
    int kept;
};

void traced(benchmark::State& state, void (*trace)(), const std::string& expected) {
    const TemporaryDirectory directory;
    const std::string file = directory.name("trace");
    {
        const ErrorsTo captured(file.c_str());
        trace();
    }
    if (Sorvex::testing::contentsOf(file) != expected) {
        state.SkipWithError("the lines are not the expected ones");
        return;
    }
    const ErrorsTo nowhere("/dev/null");
    for ([[maybe_unused]] auto _ : state)
        trace();
}

template <typename Trace>
void traceLine(benchmark::State& state) {
    traced(state, Trace::line, "Application::openDocument 5\n");
}

template <typename Trace>
void traceScope(benchmark::State& state) {
    const std::string id = std::to_string(threadId());
    traced(state, Trace::scope,
           id + ": +Application::openDocument 5\n" + id + ": -Application::openDocument\n");
}

BENCHMARK(traceLine<SorvexTrace>)->Name("TraceLine/sorvex");
BENCHMARK(traceLine<StreamTrace>)->Name("TraceLine/std_cerr");
BENCHMARK(traceLine<PrintTrace>)->Name("TraceLine/fprintf");
BENCHMARK(traceScope<SorvexTrace>)->Name("TraceScope/sorvex");
BENCHMARK(traceScope<StreamTrace>)->Name("TraceScope/std_cerr");
BENCHMARK(traceScope<PrintTrace>)->Name("TraceScope/fprintf");

}  // namespace
