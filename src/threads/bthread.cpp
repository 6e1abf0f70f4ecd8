#include <sorvex/bthread.h>

#include <cstdint>

#include "platform/platform.h"
#include "platform/width.h"
#include "strings/failure.h"

namespace Sorvex {

namespace {

/// The routine that every function runs through.
unsigned long SORVEX_CALL runFunction(void* argument) {
    auto* const function = static_cast<BThreadFn*>(argument);
    if (function != nullptr)
        function->run();
    return 0;
}

// Counts of 100 ns. They are signed, so that a moment a little before another, as the coarser of
// two clocks can make it, rounds to no time at all.
std::int64_t ticksOf(const platform::FILETIME& time) {
    return static_cast<std::int64_t>((std::uint64_t{time.dwHighDateTime} << 32U) |
                                     time.dwLowDateTime);
}

unsigned long asMilliseconds(std::int64_t ticks) {
    constexpr std::int64_t ticksPerMillisecond = 10000;
    return asUnsigned32(ticks / ticksPerMillisecond);
}

struct ThreadTimes {
    platform::FILETIME creation{};
    platform::FILETIME exit{};
    platform::FILETIME kernel{};
    platform::FILETIME user{};
};

ThreadTimes timesOf(void* thread) {
    ThreadTimes times;
    platform::GetThreadTimes(thread, &times.creation, &times.exit, &times.kernel, &times.user);
    return times;
}

}  // namespace

BThreadFn::~BThreadFn() = default;

void BThreadFn::run() {}

BThread::BThread() noexcept = default;

BThread::BThread(BThreadFn* function, unsigned long stackSize) {
    start(function, stackSize);
}

BThread::~BThread() {
    if (threadHandle != nullptr) {
        stop(0);
        platform::CloseHandle(threadHandle);
    }
    delete threadFunction;
}

BThread& BThread::start(BThreadFn* function, unsigned long stackSize) {
    threadFunction = function;
    return start(runFunction, function, stackSize);
}

BThread& BThread::start(unsigned long(SORVEX_CALL* routine)(void*), void* argument,
                        unsigned long stackSize) {
    platform::DWORD threadId = 0;
    threadHandle =
        platform::CreateThread(nullptr, asUnsigned32(stackSize), routine, argument, 0, &threadId);
    if (threadHandle == nullptr)
        failure::raise("BThread::start () : can not start new thread");
    return *this;
}

BThread& BThread::stop(unsigned long exitCode) {
    platform::TerminateThread(threadHandle, asUnsigned32(exitCode));
    return *this;
}

BThread& BThread::wait(unsigned long timeout) {
    if (threadHandle == nullptr)
        return *this;
    if (platform::WaitForSingleObject(threadHandle, asUnsigned32(timeout)) == WAIT_FAILED)
        failure::raise("BThread::wait () : failed");
    return *this;
}

int BThread::priority() {
    const int value = platform::GetThreadPriority(threadHandle);
    if (value == THREAD_PRIORITY_ERROR_RETURN)
        failure::raise("BThread::priority() : can not retrieve thread priority");
    return value;
}

BThread& BThread::setPriority(int priority, int /*unused*/) {
    if (!platform::SetThreadPriority(threadHandle, priority))
        failure::raise("BThread::setPriority () : failed");
    return *this;
}

unsigned long BThread::timeSinceStart() const {
    if (threadHandle == nullptr)
        return 0;
    const ThreadTimes times = timesOf(threadHandle);
    platform::SYSTEMTIME calendarTime{};
    platform::FILETIME now{};
    platform::GetSystemTime(&calendarTime);
    platform::SystemTimeToFileTime(&calendarTime, &now);
    return asMilliseconds(ticksOf(now) - ticksOf(times.creation));
}

unsigned long BThread::userTime() const {
    return threadHandle == nullptr ? 0 : asMilliseconds(ticksOf(timesOf(threadHandle).user));
}

unsigned long BThread::kernelTime() const {
    return threadHandle == nullptr ? 0 : asMilliseconds(ticksOf(timesOf(threadHandle).kernel));
}

}  // namespace Sorvex
