// The kernel's futex: sleeping on a 32-bit word until another thread changes it.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/posix/base/types.h"

namespace Sorvex::platform {

/// Who sleeps on a word: threads of this process only, or of every process that maps it.
enum class Sharing { process, machine };

/// The moment at which a sleep of so many milliseconds ends, on the clock that nobody can set.
class SleepLimit {
public:
    explicit SleepLimit(DWORD milliseconds) noexcept;  ///< INFINITE makes one that never comes.

    /// The time as the kernel takes it; null when the moment never comes.
    const void* kernelTime() const noexcept { return limited ? &moment : nullptr; }

private:
    // The system call takes long on 32-bit hosts too, whatever the width of time_t there.
    struct KernelTime {
        long seconds;
        long nanoseconds;
    };

    KernelTime moment{};
    bool limited;
};

/// The word behind an atomic one, as the kernel takes it.
inline const std::uint32_t* wordOf(const std::atomic<std::uint32_t>& value) noexcept {
    static_assert(sizeof(value) == sizeof(std::uint32_t));
    return reinterpret_cast<const std::uint32_t*>(&value);
}

/// Sleeps while the word has the expected value. May return early for any reason but the limit.
///
/// @return false when the limit has passed
bool futexWait(const std::uint32_t* word, std::uint32_t expected, Sharing sharing,
               const SleepLimit& limit) noexcept;

/// Wakes one sleeper of this process.
void futexWakeOne(const std::uint32_t* word) noexcept;

/// Wakes all sleepers of this process.
void futexWakeAll(const std::uint32_t* word) noexcept;

/// What futexChangeAndWakeAll does to the word.
enum class WordChange { setBits, add };

/// Changes the word and wakes all its sleepers in one step of the kernel, so that a process that is
/// killed has either done both or nothing.
///
/// @param operand at most 2047
void futexChangeAndWakeAll(const std::uint32_t* word, WordChange change, int operand,
                           Sharing sharing) noexcept;

/// How often a thread looks again before it sleeps: never where no other thread could run.
unsigned spinLimit() noexcept;

/// Tells the processor that a loop only waits.
inline void spinPause() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

}  // namespace Sorvex::platform
