#include <sorvex/sync.h>

#include "platform/platform.h"
#include "platform/width.h"
#include "strings/failure.h"

namespace Sorvex {

EventSemaphore::EventSemaphore() : EventSemaphore(nullptr) {}

EventSemaphore::EventSemaphore(const char* const name) : eventHandle(nullptr) {
    eventHandle = platform::CreateEventA(nullptr, TRUE, FALSE, name);
    if (eventHandle != nullptr)
        return;
    if (platform::GetLastError() != ERROR_ALREADY_EXISTS)
        failure::raise("EventSemaphore::EventSemaphore(): failed to create.");
    eventHandle = platform::OpenEventA(EVENT_ALL_ACCESS, FALSE, name);
    if (eventHandle == nullptr)
        failure::raise("EventSemaphore::EventSemaphore() : failed to open.");
}

EventSemaphore::~EventSemaphore() {
    if (eventHandle != nullptr)
        platform::CloseHandle(eventHandle);
}

EventSemaphore& EventSemaphore::post() {
    if (!platform::SetEvent(eventHandle))
        failure::raise("EventSemaphore::post() : post failed.");
    return *this;
}

EventSemaphore& EventSemaphore::pulse() {
    if (!platform::PulseEvent(eventHandle))
        failure::raise("EventSemaphore::pulse () : pulse failed.");
    return *this;
}

EventSemaphore& EventSemaphore::reset() {
    if (!platform::ResetEvent(eventHandle))
        failure::raise("EventSemaphore::reset() : failed to reset.");
    return *this;
}

EventSemaphore& EventSemaphore::wait(unsigned long timeout) {
    const std::uint32_t milliseconds = asUnsigned32(timeout);
    if (platform::WaitForSingleObject(eventHandle, milliseconds == 0 ? INFINITE : milliseconds) ==
        WAIT_FAILED)
        failure::raise("EventSemaphore::wait() : wait failed.");
    return *this;
}

}  // namespace Sorvex
