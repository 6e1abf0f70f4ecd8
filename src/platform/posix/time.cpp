#include "platform/posix/time.h"

#include <cerrno>
#include <ctime>

#include <sched.h>
#include <unistd.h>

#include "platform/posix/handles.h"

namespace Sorvex::platform {

void Sleep(DWORD milliseconds) {
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    while (milliseconds == INFINITE)
        pause();

    timespec remaining{};
    remaining.tv_sec = static_cast<time_t>(milliseconds / 1000);
    remaining.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000L;
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &remaining, &remaining) == EINTR) {}
}

}  // namespace Sorvex::platform
