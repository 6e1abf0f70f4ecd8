#include "platform/posix/time/counter.h"

#include <atomic>
#include <ctime>
#include <fstream>
#include <string>

#include <sys/prctl.h>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace Sorvex::platform {

namespace {

std::int64_t monotonicNanoseconds() noexcept {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return std::int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

#if defined(__x86_64__) || defined(__i386__)

// The processor says that its counter runs at one rate in all its states.
bool counterIsInvariant() noexcept {
    constexpr unsigned powerLeaf = 0x80000007;
    constexpr unsigned invariantCounter = 1U << 8U;
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    return __get_cpuid(powerLeaf, &a, &b, &c, &d) != 0 && (d & invariantCounter) != 0;
}

// The host offers the counter as a clock only as long as it finds it in step on all processors.
bool hostTrustsCounter() {
    std::ifstream sources("/sys/devices/system/clocksource/clocksource0/available_clocksource");
    for (std::string source; sources >> source;) {
        if (source == "tsc")
            return true;
    }
    return false;
}

// A process can be kept from reading the counter.
bool counterIsReadable() noexcept {
    int access = 0;
    return prctl(PR_GET_TSC, &access) == 0 && access == PR_TSC_ENABLE;
}

// Found out at the first reading, by each thread that comes to it at the same time.
bool useProcessorCounter() {
    enum : int { unknown, no, yes };
    static constinit std::atomic<int> answer{unknown};
    int known = answer.load(std::memory_order_relaxed);
    if (known == unknown) {
        known = counterIsInvariant() && counterIsReadable() && hostTrustsCounter() ? yes : no;
        answer.store(known, std::memory_order_relaxed);
    }
    return known == yes;
}

std::int64_t processorCounter() noexcept {
    // Without the fence the reading could be taken before what stands in front of it, and a thread
    // that was told of another's reading could read less.
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    asm volatile("lfence\n\trdtsc" : "=a"(low), "=d"(high) : : "memory");
    return static_cast<std::int64_t>(std::uint64_t{high} << 32U | low);
}

#else

constexpr bool useProcessorCounter() {
    return false;
}

constexpr std::int64_t processorCounter() noexcept {
    return 0;
}

#endif

}  // namespace

BOOL QueryPerformanceCounter(LARGE_INTEGER* counter) noexcept {
    counter->QuadPart = useProcessorCounter() ? processorCounter() : monotonicNanoseconds();
    return TRUE;
}

}  // namespace Sorvex::platform
