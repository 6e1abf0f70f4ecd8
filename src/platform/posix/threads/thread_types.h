// What a thread runs, and how urgent it is.
#pragma once

namespace Sorvex {

constexpr int THREAD_PRIORITY_IDLE = -15;
constexpr int THREAD_PRIORITY_LOWEST = -2;
constexpr int THREAD_PRIORITY_BELOW_NORMAL = -1;
constexpr int THREAD_PRIORITY_NORMAL = 0;
constexpr int THREAD_PRIORITY_ABOVE_NORMAL = 1;
constexpr int THREAD_PRIORITY_HIGHEST = 2;
constexpr int THREAD_PRIORITY_TIME_CRITICAL = 15;
constexpr int THREAD_PRIORITY_ERROR_RETURN = 0x7FFFFFFF;

}  // namespace Sorvex

namespace Sorvex::platform {

using LPTHREAD_START_ROUTINE = unsigned long (*)(void*);

}  // namespace Sorvex::platform
