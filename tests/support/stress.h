// How long the tests go on that look for rare faults.
#pragma once

#include <chrono>
#include <cstdlib>
#include <thread>

namespace Sorvex::testing {

/// A number of rounds: the small one for daily use, a multiple when SORVEX_STRESS is set.
inline int stressRounds(int daily, int multiple = 50) {
    return std::getenv("SORVEX_STRESS") == nullptr ? daily : daily * multiple;
}

/// Longer than anything that works takes, on a busy machine and under a sanitizer too.
constexpr std::chrono::seconds generousLimit{60};
constexpr unsigned long generousMilliseconds = 60000;

/// Waits for what comes true a little later, such as the last moment of a thread or process.
template <typename Condition>
bool comesTrue(Condition condition) {
    const auto limit = std::chrono::steady_clock::now() + generousLimit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    return true;
}

}  // namespace Sorvex::testing
