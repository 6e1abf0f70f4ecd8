#include "platform/posix/events/events.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "platform/posix/base/errors.h"
#include "platform/posix/base/handles.h"
#include "platform/posix/events/event_state.h"
#include "platform/posix/events/happens_before.h"
#include "platform/posix/events/named_events.h"

namespace Sorvex::platform {

namespace {

// Stands for a named event, which may be mapped at several addresses, in orders between threads.
void* orderKey(std::uint64_t identity) noexcept {
    static constinit std::array<char, 251> keys{};
    return &keys[static_cast<std::size_t>(identity % keys.size())];
}

// A handle on an event: one of its own, or the one of all who hold the name.
class Event final : public HandleObject {
public:
    explicit Event(BOOL posted) noexcept
        : HandleObject(Kind::event), state(&own), key(&own), sharing(Sharing::process) {
        if (posted)
            own.post(sharing);
    }

    explicit Event(std::unique_ptr<NamedEvent> joined) noexcept
        : HandleObject(Kind::event),
          named(std::move(joined)),
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

Event* eventOf(HANDLE handle) noexcept {
    auto* const object = static_cast<HandleObject*>(handle);
    if (object == nullptr || object->objectKind != HandleObject::Kind::event) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return static_cast<Event*>(object);
}

template <typename... Arguments>
HANDLE newEvent(Arguments&&... arguments) {
    HandleObject* const object = new (std::nothrow) Event(std::forward<Arguments>(arguments)...);
    if (object == nullptr)
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return object;
}

bool isTooLong(const char* name) noexcept {
    return strnlen(name, longestEventName + 1) > longestEventName;
}

HANDLE createUnnamed(BOOL posted) {
    HANDLE event = newEvent(posted);
    if (event != nullptr)
        SetLastError(ERROR_SUCCESS);
    return event;
}

HANDLE createNamed(BOOL posted, const char* name) {
    NamedEvent::Arrival arrival{};
    std::unique_ptr<NamedEvent> named =
        NamedEvent::create(EventHome::ofUser(), name, posted != FALSE, arrival);
    if (named == nullptr) {
        setLastErrorFromErrno();
        return nullptr;
    }
    HANDLE event = newEvent(std::move(named));
    if (event != nullptr)
        SetLastError(arrival == NamedEvent::Arrival::created ? ERROR_SUCCESS
                                                             : ERROR_ALREADY_EXISTS);
    return event;
}

}  // namespace

HANDLE CreateEventA(const void* /*attributes*/, BOOL manualReset, BOOL initialState,
                    const char* name) {
    if (manualReset == FALSE) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    if (name == nullptr || *name == '\0')
        return createUnnamed(initialState);
    if (isTooLong(name)) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return nullptr;
    }
    return createNamed(initialState, name);
}

HANDLE OpenEventA(DWORD /*access*/, BOOL /*inherit*/, const char* name) {
    if (name == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if (*name == '\0' || isTooLong(name)) {
        SetLastError(*name == '\0' ? ERROR_FILE_NOT_FOUND : ERROR_FILENAME_EXCED_RANGE);
        return nullptr;
    }
    std::unique_ptr<NamedEvent> named = NamedEvent::open(EventHome::ofUser(), name);
    if (named == nullptr) {
        setLastErrorFromErrno();
        return nullptr;
    }
    return newEvent(std::move(named));
}

BOOL SetEvent(HANDLE event) {
    Event* const object = eventOf(event);
    if (object == nullptr)
        return FALSE;
    object->post();
    return TRUE;
}

BOOL ResetEvent(HANDLE event) {
    Event* const object = eventOf(event);
    if (object == nullptr)
        return FALSE;
    object->reset();
    return TRUE;
}

BOOL PulseEvent(HANDLE event) {
    Event* const object = eventOf(event);
    if (object == nullptr)
        return FALSE;
    object->pulse();
    return TRUE;
}

DWORD waitForEvent(HandleObject& event, DWORD milliseconds) {
    return static_cast<Event&>(event).wait(milliseconds);
}

}  // namespace Sorvex::platform
