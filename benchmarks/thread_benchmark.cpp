// Starting a thread and waiting for its end, beside what a program would use instead.
//
// Every contender hands the thread the same counter, which tells at the end that each of them ran.
// The times are those of the clock, since most of the work is the host's.
//
// Ours takes 1.0 to 1.2 times as long as the standard thread. What it does more is five short calls
// of the host, for the stack that signal handlers run on, the thread's number and its times, and
// one more page of the thread's stack, since that other stack lies above its work.
#include <cstdint>
#include <thread>

#include <benchmark/benchmark.h>
#include <pthread.h>

#ifdef SORVEX_BENCH_POCO
#include <Poco/Runnable.h>
#include <Poco/Thread.h>
#endif

#include <sorvex/bthread.h>

namespace {

class CountingFunction : public Sorvex::BThreadFn {
public:
    explicit CountingFunction(std::int64_t& counter) : runs(&counter) {}
    void run() override { ++*runs; }

private:
    std::int64_t* runs;
};

void runSorvex(std::int64_t& runs) {
    Sorvex::BThread thread(new CountingFunction(runs), 0);
    thread.wait(0xFFFFFFFF);
}

void runStd(std::int64_t& runs) {
    std::thread thread([&runs] { ++runs; });
    thread.join();
}

void* count(void* runs) {
    ++*static_cast<std::int64_t*>(runs);
    return nullptr;
}

void runHost(std::int64_t& runs) {
    pthread_t thread{};
    if (pthread_create(&thread, nullptr, count, &runs) == 0)
        pthread_join(thread, nullptr);
}

template <void (*runThread)(std::int64_t&)>
void threadStartWait(benchmark::State& state) {
    std::int64_t runs = 0;
    for ([[maybe_unused]] auto _ : state)
        runThread(runs);
    if (runs != state.iterations())
        state.SkipWithError("a thread did not run");
}

BENCHMARK(threadStartWait<runSorvex>)->Name("ThreadStartWait/sorvex")->UseRealTime();
BENCHMARK(threadStartWait<runStd>)->Name("ThreadStartWait/std_thread")->UseRealTime();
BENCHMARK(threadStartWait<runHost>)->Name("ThreadStartWait/pthread")->UseRealTime();

#ifdef SORVEX_BENCH_POCO

class PocoFunction : public Poco::Runnable {
public:
    explicit PocoFunction(std::int64_t& counter) : runs(&counter) {}
    void run() override { ++*runs; }

private:
    std::int64_t* runs;
};

void runPoco(std::int64_t& runs) {
    PocoFunction function(runs);
    Poco::Thread thread;
    thread.start(function);
    thread.join();
}

BENCHMARK(threadStartWait<runPoco>)->Name("ThreadStartWait/poco")->UseRealTime();

#endif

}  // namespace
