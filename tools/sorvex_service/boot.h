// All services at once: when the machine starts and when it ends.
#pragma once

#include <optional>
#include <vector>

#include "sorvex_service/control.h"

namespace Sorvex::tools {

/// Starts every automatic service behind those that it depends on, and tells of each what came of
/// it.
///
/// @return exitDone when all of them run
int startAutomatic(milliseconds patience);

/// Stops every service that runs, those first that nobody depends on.
///
/// @return exitDone when all of them have stopped
int stopAll(std::optional<milliseconds> killAfter, milliseconds patience);

/// Stops a service behind all that depend on it, directly or not.
///
/// @param stopped gets the names of the others, in the order in which they can be started again
/// @return what became of the service, or of the first that didn't stop
Outcome stopWithDependents(const std::string& name, std::optional<milliseconds> killAfter,
                           milliseconds patience, const Progress& progress, Words& stopped);

}  // namespace Sorvex::tools
