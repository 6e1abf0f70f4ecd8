#include "platform/posix/events/events.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <typeinfo>
#include <utility>

#include "platform/posix/base/errors.h"
#include "platform/posix/base/handles.h"
#include "platform/posix/base/sanitizers.h"
#include "platform/posix/events/event_state.h"
#include "platform/posix/events/named_events.h"
#if SORVEX_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

namespace Sorvex::platform {

namespace {

// Tells the thread sanitizer of orders that it can't see: those that the kernel makes when it
// changes a word, and those between two addresses of the same shared memory. What a thread does
// before orderBefore comes before what any does behind orderAfter of the same key.
void orderBefore([[maybe_unused]] void* key) noexcept {
#if SORVEX_THREAD_SANITIZER
    __tsan_release(key);
#endif
}

void orderAfter([[maybe_unused]] void* key) noexcept {
#if SORVEX_THREAD_SANITIZER
    __tsan_acquire(key);
#endif
}

// Stands for a named event, which may be mapped at several addresses, in orders between threads.
void* orderKey(std::uint64_t identity) noexcept {
    static constinit std::array<char, 251> keys{};
    return &keys[static_cast<std::size_t>(identity % keys.size())];
}

// A handle on an event: one of its own, or the one of all who hold the name.
class Event final : public HandleObject {
public:
    explicit Event(BOOL posted) noexcept : state(&own), key(&own), sharing(Sharing::process) {
        if (posted)
            own.post(sharing);
    }

    explicit Event(std::unique_ptr<NamedEvent> joined) noexcept
        : named(std::move(joined)),
          state(&named->state()),
          key(orderKey(named->identity())),
          sharing(Sharing::machine) {}

    DWORD wait(DWORD milliseconds) noexcept override {
        const DWORD result = state->wait(milliseconds, sharing);
        orderAfter(key);
        return result;
    }

    // What is touched comes before the post: the thread that it lets through may close the handle.
    void post() noexcept {
        orderBefore(key);
        state->post(sharing);
    }

    void pulse() noexcept {
        orderBefore(key);
        state->pulse(sharing);
    }

    void reset() noexcept { state->reset(); }

private:
    EventState own;
    std::unique_ptr<NamedEvent> named;
    EventState* state;
    void* key;
    const Sharing sharing;
};

// Nothing is derived from an event, so the type itself tells, faster than a cast asks for it.
BOOL withEvent(HANDLE handle, void (Event::*operation)() noexcept) {
    auto* const object = static_cast<HandleObject*>(handle);
    if (object == nullptr || typeid(*object) != typeid(Event))
        return failWith(ERROR_INVALID_HANDLE);
    (static_cast<Event*>(object)->*operation)();
    return TRUE;
}

template <typename... Arguments>
HANDLE newEvent(Arguments&&... arguments) {
    HandleObject* const event = new (std::nothrow) Event(std::forward<Arguments>(arguments)...);
    return event == nullptr ? failWith(ERROR_NOT_ENOUGH_MEMORY) : HANDLE{event};
}

bool isTooLong(const char* name) noexcept {
    return strnlen(name, longestEventName + 1) > longestEventName;
}

}  // namespace

HANDLE CreateEventA(const void* /*attributes*/, BOOL manualReset, BOOL initialState,
                    const char* name) {
    if (manualReset == FALSE)
        return failWith(ERROR_NOT_SUPPORTED);
    HANDLE event = nullptr;
    bool isNew = true;
    if (name == nullptr || *name == '\0') {
        event = newEvent(initialState);
    } else if (isTooLong(name)) {
        return failWith(ERROR_FILENAME_EXCED_RANGE);
    } else {
        auto named = NamedEvent::create(EventHome::ofUser(), name, initialState != FALSE);
        if (named == nullptr)
            return failWithErrno();
        isNew = named->isNew();
        event = newEvent(std::move(named));
    }
    if (event != nullptr)
        SetLastError(isNew ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
    return event;
}

HANDLE OpenEventA(DWORD /*access*/, BOOL /*inherit*/, const char* name) {
    if (name == nullptr)
        return failWith(ERROR_INVALID_PARAMETER);
    if (*name == '\0')
        return failWith(ERROR_FILE_NOT_FOUND);
    if (isTooLong(name))
        return failWith(ERROR_FILENAME_EXCED_RANGE);
    auto named = NamedEvent::open(EventHome::ofUser(), name);
    return named == nullptr ? failWithErrno() : newEvent(std::move(named));
}

BOOL SetEvent(HANDLE event) {
    return withEvent(event, &Event::post);
}

BOOL ResetEvent(HANDLE event) {
    return withEvent(event, &Event::reset);
}

BOOL PulseEvent(HANDLE event) {
    return withEvent(event, &Event::pulse);
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    if (handle == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    return static_cast<HandleObject*>(handle)->wait(milliseconds);
}

}  // namespace Sorvex::platform
