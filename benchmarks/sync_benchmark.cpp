// Locks, events and elapsed time beside what a program would use instead.
//
// The named event and the semaphore of the host keep their state in shared memory. The ping-pong
// sends a token to a second thread and back. Where the machine is busy with something else, its
// figures say more about the scheduler than about either side; so do those of two threads that want
// one lock.
//
// A wait on a posted event comes down to a call and a load, a post and a reset to a call and a
// locked instruction each, as a store of a sequentially consistent atomic does. Only what is inline
// could do better.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <semaphore>
#include <string>
#include <thread>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <semaphore.h>
#include <unistd.h>

#ifdef SORVEX_BENCH_POCO
#include <Poco/Event.h>
#include <Poco/Mutex.h>
#include <Poco/NamedEvent.h>
#endif

#include <sorvex/sync.h>

namespace {

// Locks --------------------------------------------------------------------------------------

struct SorvexLock {
    Sorvex::BMutex mutex;
    void lock() { mutex.enter(); }
    void unlock() { mutex.leave(); }
};

struct StdLock {
    std::recursive_mutex mutex;
    void lock() { mutex.lock(); }
    void unlock() { mutex.unlock(); }
};

#ifdef SORVEX_BENCH_POCO
struct PocoLock {
    Poco::Mutex mutex;
    void lock() { mutex.lock(); }
    void unlock() { mutex.unlock(); }
};
#endif

template <typename Lock>
void lockUncontended(benchmark::State& state) {
    Lock lock;
    for ([[maybe_unused]] auto _ : state) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
}

template <typename Lock>
void lockRecursive(benchmark::State& state) {
    Lock lock;
    lock.lock();
    for ([[maybe_unused]] auto _ : state) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
    lock.unlock();
}

template <typename Lock>
void lockContended(benchmark::State& state) {
    static Lock lock;
    static std::int64_t counter;
    if (state.thread_index() == 0)
        counter = 0;
    for ([[maybe_unused]] auto _ : state) {
        lock.lock();
        counter = counter + 1;
        lock.unlock();
    }
    if (state.thread_index() == 0 && counter != state.iterations() * state.threads())
        state.SkipWithError("the lock let two threads in");
}

template <typename Lock, typename Guard>
void lockScope(benchmark::State& state) {
    Lock lock;
    for ([[maybe_unused]] auto _ : state) {
        const Guard guard(lock);
        benchmark::ClobberMemory();
    }
}

template <typename Lock>
void lockCreate(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        Lock lock;
        benchmark::DoNotOptimize(&lock);
    }
}

struct StdHeapLock {
    std::unique_ptr<std::recursive_mutex> mutex = std::make_unique<std::recursive_mutex>();
};

BENCHMARK(lockUncontended<SorvexLock>)->Name("LockUncontended/sorvex");
BENCHMARK(lockUncontended<StdLock>)->Name("LockUncontended/std_recursive_mutex");
BENCHMARK(lockRecursive<SorvexLock>)->Name("LockRecursive/sorvex");
BENCHMARK(lockRecursive<StdLock>)->Name("LockRecursive/std_recursive_mutex");
BENCHMARK(lockContended<SorvexLock>)->Name("LockContended2T/sorvex")->Threads(2)->UseRealTime();
BENCHMARK(lockContended<StdLock>)
    ->Name("LockContended2T/std_recursive_mutex")
    ->Threads(2)
    ->UseRealTime();
BENCHMARK(lockScope<Sorvex::BMutex, Sorvex::BMutexLock>)->Name("LockScope/sorvex");
BENCHMARK(lockScope<std::recursive_mutex, std::lock_guard<std::recursive_mutex>>)
    ->Name("LockScope/std_lock_guard_recursive");
BENCHMARK(lockCreate<Sorvex::BMutex>)->Name("LockCreate/sorvex");
BENCHMARK(lockCreate<StdHeapLock>)->Name("LockCreate/unique_ptr_std_recursive_mutex");
BENCHMARK(lockCreate<std::recursive_mutex>)->Name("LockCreate/std_recursive_mutex");
#ifdef SORVEX_BENCH_POCO
BENCHMARK(lockUncontended<PocoLock>)->Name("LockUncontended/poco");
BENCHMARK(lockRecursive<PocoLock>)->Name("LockRecursive/poco");
BENCHMARK(lockContended<PocoLock>)->Name("LockContended2T/poco")->Threads(2)->UseRealTime();
BENCHMARK(lockScope<Poco::Mutex, Poco::ScopedLock<Poco::Mutex>>)->Name("LockScope/poco");
BENCHMARK(lockCreate<Poco::Mutex>)->Name("LockCreate/poco");
#endif

// Events -------------------------------------------------------------------------------------

struct SorvexEvent {
    Sorvex::EventSemaphore event;
    void post() { event.post(); }
    void reset() { event.reset(); }
    void wait() { event.wait(0); }
    void take() { event.wait(0).reset(); }
};

// The usual form of such an event without a library.
struct ConditionEvent {
    std::mutex mutex;
    std::condition_variable condition;
    bool posted = false;

    void post() {
        {
            const std::lock_guard<std::mutex> guard(mutex);
            posted = true;
        }
        condition.notify_all();
    }
    void reset() {
        const std::lock_guard<std::mutex> guard(mutex);
        posted = false;
    }
    void wait() {
        std::unique_lock<std::mutex> guard(mutex);
        condition.wait(guard, [this] { return posted; });
    }
    void take() {
        std::unique_lock<std::mutex> guard(mutex);
        condition.wait(guard, [this] { return posted; });
        posted = false;
    }
};

struct AtomicEvent {
    std::atomic<int> posted{0};
    void post() {
        posted.store(1);
        posted.notify_all();
    }
    void reset() { posted.store(0); }
    void wait() { posted.wait(0); }
    void take() {
        posted.wait(0);
        posted.store(0);
    }
};

#ifdef SORVEX_BENCH_POCO
struct PocoEvent {
    Poco::Event event{Poco::Event::EVENT_MANUALRESET};
    void post() { event.set(); }
    void reset() { event.reset(); }
    void wait() { event.wait(); }
    void take() {
        event.wait();
        event.reset();
    }
};
#endif

// Semaphores that are taken when they let one through; for the ping-pong alone.
struct HostSemaphore {
    sem_t semaphore;
    HostSemaphore() { sem_init(&semaphore, 0, 0); }
    ~HostSemaphore() { sem_destroy(&semaphore); }
    HostSemaphore(const HostSemaphore&) = delete;
    HostSemaphore& operator=(const HostSemaphore&) = delete;
    void post() { sem_post(&semaphore); }
    void take() { sem_wait(&semaphore); }
};

struct StdSemaphore {
    std::counting_semaphore<> semaphore{0};
    void post() { semaphore.release(); }
    void take() { semaphore.acquire(); }
};

template <typename Event>
void eventPostedWait(benchmark::State& state) {
    Event event;
    event.post();
    for ([[maybe_unused]] auto _ : state)
        event.wait();
}

// As a producer does whose consumer hasn't come by yet.
template <typename Event>
void eventPostPosted(benchmark::State& state) {
    Event event;
    event.post();
    for ([[maybe_unused]] auto _ : state)
        event.post();
    event.wait();
}

template <typename Event>
void eventPostWait(benchmark::State& state) {
    Event event;
    for ([[maybe_unused]] auto _ : state) {
        event.post();
        event.wait();
    }
}

template <typename Event>
void eventPostReset(benchmark::State& state) {
    Event event;
    for ([[maybe_unused]] auto _ : state) {
        event.post();
        event.reset();
    }
}

template <typename Event>
void eventManyPostsReset(benchmark::State& state) {
    Event event;
    for ([[maybe_unused]] auto _ : state) {
        for (std::int64_t posts = state.range(0); posts != 0; --posts)
            event.post();
        event.reset();
    }
}

template <typename Event>
void eventCreate(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        Event event;
        benchmark::DoNotOptimize(&event);
    }
}

template <typename Event>
struct HeapMade {
    std::unique_ptr<Event> event = std::make_unique<Event>();
};

template <typename Event>
void eventPingPong(benchmark::State& state) {
    Event ping;
    Event pong;
    std::atomic<bool> done{false};
    std::int64_t answers = 0;
    std::thread partner([&] {
        for (;;) {
            ping.take();
            if (done.load())
                return;
            ++answers;
            pong.post();
        }
    });
    for ([[maybe_unused]] auto _ : state) {
        ping.post();
        pong.take();
    }
    done.store(true);
    ping.post();
    partner.join();
    if (answers != state.iterations())
        state.SkipWithError("the token was lost");
}

BENCHMARK(eventPostedWait<SorvexEvent>)->Name("EventPostedWait/sorvex");
BENCHMARK(eventPostedWait<AtomicEvent>)->Name("EventPostedWait/std_atomic_wait");
BENCHMARK(eventPostedWait<ConditionEvent>)->Name("EventPostedWait/std_condition_variable");
BENCHMARK(eventPostPosted<SorvexEvent>)->Name("EventPostPosted/sorvex");
BENCHMARK(eventPostPosted<AtomicEvent>)->Name("EventPostPosted/std_atomic_wait");
BENCHMARK(eventPostPosted<ConditionEvent>)->Name("EventPostPosted/std_condition_variable");
BENCHMARK(eventPostWait<SorvexEvent>)->Name("EventPostWait/sorvex");
BENCHMARK(eventPostWait<AtomicEvent>)->Name("EventPostWait/std_atomic_wait");
BENCHMARK(eventPostWait<ConditionEvent>)->Name("EventPostWait/std_condition_variable");
BENCHMARK(eventPostReset<SorvexEvent>)->Name("EventPostReset/sorvex");
BENCHMARK(eventPostReset<AtomicEvent>)->Name("EventPostReset/std_atomic_wait");
BENCHMARK(eventPostReset<ConditionEvent>)->Name("EventPostReset/std_condition_variable");
BENCHMARK(eventManyPostsReset<SorvexEvent>)
    ->Name("EventManyPostsReset/sorvex")
    ->Arg(100)
    ->Arg(200)
    ->Arg(2000);
BENCHMARK(eventManyPostsReset<AtomicEvent>)
    ->Name("EventManyPostsReset/std_atomic_wait")
    ->Arg(100)
    ->Arg(200)
    ->Arg(2000);
BENCHMARK(eventManyPostsReset<ConditionEvent>)
    ->Name("EventManyPostsReset/std_condition_variable")
    ->Arg(100)
    ->Arg(200)
    ->Arg(2000);
BENCHMARK(eventCreate<SorvexEvent>)->Name("EventCreate/sorvex");
BENCHMARK(eventCreate<ConditionEvent>)->Name("EventCreate/std_condition_variable");
BENCHMARK(eventCreate<HeapMade<ConditionEvent>>)
    ->Name("EventCreate/unique_ptr_std_condition_variable");
BENCHMARK(eventPingPong<SorvexEvent>)->Name("EventPingPong/sorvex")->UseRealTime();
BENCHMARK(eventPingPong<HostSemaphore>)->Name("EventPingPong/sem_t")->UseRealTime();
BENCHMARK(eventPingPong<StdSemaphore>)->Name("EventPingPong/std_counting_semaphore")->UseRealTime();
BENCHMARK(eventPingPong<AtomicEvent>)->Name("EventPingPong/std_atomic_wait")->UseRealTime();
BENCHMARK(eventPingPong<ConditionEvent>)
    ->Name("EventPingPong/std_condition_variable")
    ->UseRealTime();
#ifdef SORVEX_BENCH_POCO
BENCHMARK(eventPostedWait<PocoEvent>)->Name("EventPostedWait/poco");
BENCHMARK(eventPostPosted<PocoEvent>)->Name("EventPostPosted/poco");
BENCHMARK(eventPostWait<PocoEvent>)->Name("EventPostWait/poco");
BENCHMARK(eventPostReset<PocoEvent>)->Name("EventPostReset/poco");
BENCHMARK(eventCreate<PocoEvent>)->Name("EventCreate/poco");
BENCHMARK(eventPingPong<PocoEvent>)->Name("EventPingPong/poco")->UseRealTime();
#endif

// Named events -------------------------------------------------------------------------------

std::string ownName(std::string prefix = "") {
    return prefix.append("sorvex_benchmark_").append(std::to_string(getpid()));
}

// A semaphore is taken by the wait; an event stays posted, or is reset as a third step.
void namedSorvex(benchmark::State& state) {
    Sorvex::EventSemaphore event(ownName().c_str());
    for ([[maybe_unused]] auto _ : state)
        event.post().wait(0);
}

void namedSorvexWithReset(benchmark::State& state) {
    Sorvex::EventSemaphore event(ownName().c_str());
    for ([[maybe_unused]] auto _ : state)
        event.post().wait(0).reset();
}

void namedHost(benchmark::State& state) {
    const std::string name = ownName("/");
    sem_t* const semaphore = sem_open(name.c_str(), O_CREAT | O_EXCL, 0600, 0);
    sem_unlink(name.c_str());
    if (semaphore == SEM_FAILED) {
        state.SkipWithError("no semaphore can be made");
        return;
    }
    for ([[maybe_unused]] auto _ : state) {
        sem_post(semaphore);
        sem_wait(semaphore);
    }
    sem_close(semaphore);
}

void namedCreateSorvex(benchmark::State& state) {
    const std::string name = ownName();
    for ([[maybe_unused]] auto _ : state)
        const Sorvex::EventSemaphore event(name.c_str());
}

void namedCreateHost(benchmark::State& state) {
    const std::string name = ownName("/");
    for ([[maybe_unused]] auto _ : state) {
        sem_t* const semaphore = sem_open(name.c_str(), O_CREAT, 0600, 0);
        sem_close(semaphore);
        sem_unlink(name.c_str());
    }
}

BENCHMARK(namedSorvex)->Name("EventNamedPostWait/sorvex");
BENCHMARK(namedSorvexWithReset)->Name("EventNamedPostWait/sorvex_with_reset");
BENCHMARK(namedHost)->Name("EventNamedPostWait/sem_open");
BENCHMARK(namedCreateSorvex)->Name("EventNamedCreate/sorvex");
BENCHMARK(namedCreateHost)->Name("EventNamedCreate/sem_open");
#ifdef SORVEX_BENCH_POCO
void namedPoco(benchmark::State& state) {
    Poco::NamedEvent event(ownName());
    for ([[maybe_unused]] auto _ : state) {
        event.set();
        event.wait();
    }
}

BENCHMARK(namedPoco)->Name("EventNamedPostWait/poco");
#endif

// Elapsed time -------------------------------------------------------------------------------

void elapsedSorvex(benchmark::State& state) {
    Sorvex::BDelay delay;
    delay.event();
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(delay.timePassed());
}

void elapsedStd(benchmark::State& state) {
    const auto start = std::chrono::steady_clock::now();
    for ([[maybe_unused]] auto _ : state) {
        const auto passed = std::chrono::steady_clock::now() - start;
        benchmark::DoNotOptimize(
            std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
    }
}

BENCHMARK(elapsedSorvex)->Name("ElapsedRead/sorvex");
BENCHMARK(elapsedStd)->Name("ElapsedRead/std_steady_clock");

}  // namespace
