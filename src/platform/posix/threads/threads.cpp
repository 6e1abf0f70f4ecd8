#include "platform/posix/threads/threads.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <memory>
#include <new>

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include "platform/posix/base/errors.h"
#include "platform/posix/base/handles.h"
#include "platform/posix/base/kernel_files.h"
#include "platform/posix/base/termination_shield.h"
#include "platform/posix/threads/thread_end.h"
#include "platform/posix/threads/thread_record.h"

namespace Sorvex::platform {

namespace {

class ThreadHandle : public HandleObject {
public:
    ThreadHandle() = default;

    ~ThreadHandle() override {
        if (record != nullptr)
            record->closeHandle();
    }

    ThreadHandle(const ThreadHandle&) = delete;
    ThreadHandle& operator=(const ThreadHandle&) = delete;

    DWORD wait(DWORD milliseconds) override {
        if (milliseconds == INFINITE && record->joinAtOnce())
            return WAIT_OBJECT_0;
        if (!record->hasEnded() &&
            (milliseconds == 0 || !record->waitForEnd(SleepLimit(milliseconds))))
            return WAIT_TIMEOUT;
        record->join();
        return WAIT_OBJECT_0;
    }

    ThreadRecord* record = nullptr;
};

// Null with the last error set for anything but the handle of a thread.
ThreadRecord* recordOf(HANDLE handle) {
    auto* const thread = dynamic_cast<ThreadHandle*>(static_cast<HandleObject*>(handle));
    if (thread == nullptr)
        return failWith(ERROR_INVALID_HANDLE);
    return thread->record;
}

struct PriorityStep {
    int priority;
    int niceOffset;
};

constexpr PriorityStep prioritySteps[] = {
    {THREAD_PRIORITY_IDLE, 19},           {THREAD_PRIORITY_LOWEST, 10},
    {THREAD_PRIORITY_BELOW_NORMAL, 5},    {THREAD_PRIORITY_NORMAL, 0},
    {THREAD_PRIORITY_ABOVE_NORMAL, -5},   {THREAD_PRIORITY_HIGHEST, -10},
    {THREAD_PRIORITY_TIME_CRITICAL, -20},
};

bool setNice(pid_t thread, int nice) noexcept {
    return setpriority(PRIO_PROCESS, static_cast<id_t>(thread), std::clamp(nice, -20, 19)) == 0;
}

// The nice value that the thread had before any priority was set.
int normalNiceOf(ThreadRecord& record, pid_t thread) noexcept {
    int known = ThreadRecord::unknownNice;
    const int present = getpriority(PRIO_PROCESS, static_cast<id_t>(thread));
    record.normalNice.compare_exchange_strong(known, present);
    return record.normalNice;
}

// The host lets a new thread inherit the nice value of its maker, the platform starts it as normal.
// Where the host refuses to raise it again it keeps what it has, and says so.
void startAsNormal(ThreadRecord& record) noexcept {
    const ThreadRecord* const maker = currentThread;
    if (maker == nullptr || maker->priority == THREAD_PRIORITY_NORMAL)
        return;
    record.normalNice = maker->normalNice.load();
    record.withHostId([&](pid_t thread) {
        if (!setNice(thread, record.normalNice))
            record.priority = maker->priority.load();
    });
}

// What the host tells of another thread.
bool readProcessorTimes(pid_t thread, ProcessorTimes& times) noexcept {
    constexpr int userTimeField = 14;
    constexpr int systemTimeField = 15;
    const TerminationShield shield;
    const StatLine line = StatLine::ofThread(thread);
    const auto unit = 10000000U / static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
    times = {line.field(systemTimeField) * unit, line.field(userTimeField) * unit};
    return line.state() != '\0';
}

// False when the thread ended before an answer came.
bool runningProcessorTimes(const ThreadRecord& record, ProcessorTimes& times) noexcept {
    if (&record == currentThread) {
        times = ownProcessorTimes();
        return true;
    }
    // Once it has ended, its number may be another thread's.
    return readProcessorTimes(record.hostId(), times) && !record.hasEnded();
}

}  // namespace

HANDLE CreateThread(const void* /*securityAttributes*/, std::size_t stackSize,
                    LPTHREAD_START_ROUTINE routine, void* argument, DWORD /*flags*/,
                    DWORD* threadId) {
    // The C library holds a lock of the whole process while it makes a thread.
    const TerminationShield shield;
    auto handle = std::unique_ptr<ThreadHandle>(new (std::nothrow) ThreadHandle);
    if (handle == nullptr)
        return failWith(ERROR_NOT_ENOUGH_MEMORY);
    handle->record = ThreadRecord::start(stackSize, routine, argument);
    if (handle->record == nullptr)
        return nullptr;
    startAsNormal(*handle->record);
    *threadId = static_cast<DWORD>(handle->record->hostId());
    return handle.release();
}

BOOL TerminateThread(HANDLE thread, DWORD /*exitCode*/) {
    ThreadRecord* const record = recordOf(thread);
    if (record == nullptr)
        return FALSE;
    if (record == currentThread)
        endThisThread();
    endThread(*record);
    return TRUE;
}

int GetThreadPriority(HANDLE thread) {
    const ThreadRecord* const record = recordOf(thread);
    return record == nullptr ? THREAD_PRIORITY_ERROR_RETURN : record->priority.load();
}

BOOL SetThreadPriority(HANDLE thread, int priority) {
    ThreadRecord* const record = recordOf(thread);
    if (record == nullptr)
        return FALSE;
    const auto* const step =
        std::find_if(std::begin(prioritySteps), std::end(prioritySteps),
                     [&](const PriorityStep& s) { return s.priority == priority; });
    if (step == std::end(prioritySteps))
        return failWith(ERROR_INVALID_PARAMETER);
    bool isSet = true;
    record->withHostId([&](pid_t number) {
        isSet = setNice(number, normalNiceOf(*record, number) + step->niceOffset);
    });
    if (!isSet)
        return failWithErrno();
    record->priority = priority;
    return TRUE;
}

BOOL GetThreadTimes(HANDLE thread, FILETIME* creation, FILETIME* exit, FILETIME* kernel,
                    FILETIME* user) {
    const ThreadRecord* const record = recordOf(thread);
    if (record == nullptr)
        return FALSE;
    ProcessorTimes times;
    const bool running = !record->hasEnded() && runningProcessorTimes(*record, times);
    if (!running && !record->hasEnded())
        return failWithErrno();
    if (!running)
        times = record->finalTimes;
    *creation = fileTimeOf(record->creationTime);
    *exit = fileTimeOf(running ? 0 : record->exitTime);
    *kernel = fileTimeOf(times.kernel);
    *user = fileTimeOf(times.user);
    return TRUE;
}

}  // namespace Sorvex::platform
