// Starting and stopping single services, and waiting for what comes of it.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include <sorvex/services.h>

#include "sorvex_service/arguments.h"
#include "sorvex_service/forms.h"

namespace Sorvex::tools {

using std::chrono::milliseconds;

/// Between two looks at a service that is on its way.
inline constexpr milliseconds pauseBetweenLooks{20};

/// How long a service may go without progress where nothing else was asked for.
inline constexpr milliseconds usualPatience{30000};

/// Takes the lines that tell how a service gets on.
using Progress = std::function<void(const std::string& line)>;

/// A service under the name that the user typed.
class OpenedService {
public:
    /// @throws Failure when there is none, or it can't be opened
    OpenedService(const std::string& typedName, unsigned long access);

    const std::string& name() const noexcept { return typed; }
    BServiceControl& operator*() noexcept { return *service; }
    BServiceControl* operator->() noexcept { return &*service; }

    /// Asks for the status. A service that has gone in the meantime is a Failure.
    BServiceStatus& look();

    /// Waits as long as a service is on its way. Every new check point gives it the time again.
    ///
    /// @param passing the state that it is to leave
    /// @param patience how long it may go without a new check point, unless it asks for more itself
    /// @return false when the time is over
    bool awaitEndOf(DWORD passing, milliseconds patience, const Progress& progress);

private:
    std::string typed;
    BServiceControlManager manager;
    std::optional<BServiceControl> service;
};

/// What became of one service.
struct Outcome {
    int exitCode = exitDone;
    std::string text;  // a line without an end
    std::string log;   // what a service wrote that failed to start

    bool isGood() const noexcept { return exitCode == exitDone; }
};

/// What a start makes of a service that runs already, or that somebody else is starting.
enum class WhenRunning { isFailure, isGood };

/// Starts a service and waits until it runs.
Outcome startService(const std::string& name, const Words& arguments, WhenRunning whenRunning,
                     milliseconds patience, const Progress& progress);

/// Stops a service and waits until it has stopped.
///
/// @param killAfter when its process is ended by force, counted from the call
Outcome stopService(const std::string& name, std::optional<milliseconds> killAfter,
                    milliseconds patience, const Progress& progress);

}  // namespace Sorvex::tools
