#include <sorvex/sync.h>

#include "platform/platform.h"

namespace Sorvex {

struct BMutex::Section {
    Section() { platform::InitializeCriticalSection(&record); }
    ~Section() { platform::DeleteCriticalSection(&record); }

    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;

    platform::CRITICAL_SECTION record;
};

BMutex::BMutex() : criticalSection(std::make_unique<Section>()) {}

BMutex::~BMutex() = default;

BMutex& BMutex::enter() noexcept {
    platform::EnterCriticalSection(&criticalSection->record);
    return *this;
}

BMutex& BMutex::leave() noexcept {
    platform::LeaveCriticalSection(&criticalSection->record);
    return *this;
}

BMutexLock::BMutexLock(BMutex& entered) noexcept : mutex(&entered) {
    mutex->enter();
}

BMutexLock::~BMutexLock() {
    mutex->leave();
}

}  // namespace Sorvex
