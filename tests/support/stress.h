// How long the tests go on that look for rare faults.
#ifndef SORVEX_TESTS_SUPPORT_STRESS_H
#define SORVEX_TESTS_SUPPORT_STRESS_H

#include <chrono>
#include <cstdlib>

namespace Sorvex::testing {

/// A number of rounds: the small one for daily use, a multiple when SORVEX_STRESS is set.
inline int stressRounds(int daily, int multiple = 50) {
    return std::getenv("SORVEX_STRESS") == nullptr ? daily : daily * multiple;
}

/// Longer than anything that works takes, on a busy machine and under a sanitizer too.
constexpr std::chrono::seconds generousLimit{60};
constexpr unsigned long generousMilliseconds = 60000;

}  // namespace Sorvex::testing

#endif
