// Events that every process of one user finds by a name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "platform/posix/events/event_directory.h"
#include "platform/posix/events/event_state.h"

namespace Sorvex::platform {

/// The longest name of an event, in characters.
constexpr std::size_t longestEventName = 259;

/// The file of an event below the directory of events.
///
/// Letters, digits, '_' and '-' stand for themselves and all else as % and two hexadecimal digits,
/// so that different names never meet. What is longer than a file name may be is cut into pieces,
/// of which all but the last are directories, marked with a '+'.
std::string eventPath(const char* name);

/// One holder of a named event.
///
/// The event lies in a file, mapped into memory, and the mapping holds a shared lock on that file.
/// The kernel ends the lock when the last mapping made of it goes: at the end, by execution of
/// another program, or by death of the process; a forked child has a mapping of its own. So a file
/// that nobody has locked is nobody's event. All who create, open and give up take turns through
/// EventDirectory.
class NamedEvent {
public:
    /// Creates the event, posted or not, or joins those who hold it; null with errno set.
    static std::unique_ptr<NamedEvent> create(const EventHome& home, const char* name,
                                              bool posted) {
        return find(home, name, true, posted);
    }

    /// Joins those who hold the event; null with errno set, to ENOENT when nobody does.
    static std::unique_ptr<NamedEvent> open(const EventHome& home, const char* name) {
        return find(home, name, false, false);
    }

    /// Removes what holders left behind that were killed. Nobody misses it, but it would gather.
    static void clearAway(const EventDirectory& directory, uid_t owner);

    ~NamedEvent();  ///< Gives the event up, and removes its file behind the last holder.

    NamedEvent(const NamedEvent&) = delete;
    NamedEvent& operator=(const NamedEvent&) = delete;

    bool isNew() const noexcept { return created; }  ///< Whether nobody held it before.
    EventState& state() const noexcept { return *mapped; }

    /// The same for all holders in this process.
    std::uint64_t identity() const noexcept { return fileNumber; }

private:
    NamedEvent(const EventHome& where, std::string file) : home(where), path(std::move(file)) {}

    static std::unique_ptr<NamedEvent> find(const EventHome& home, const char* name, bool mayCreate,
                                            bool posted);
    bool startAlone(const EventDirectory& directory, const Descriptor& file, bool posted);
    bool map(const Descriptor& file);

    EventHome home;
    std::string path;
    EventState* mapped = nullptr;
    bool created = false;
    std::uint64_t fileNumber = 0;
};

}  // namespace Sorvex::platform
