// What services write to their standard output and error.
#pragma once

#include <string>

#include "platform/posix/base/descriptor.h"

namespace Sorvex::platform::services {

/// The name of a service's log in the directory of logs.
std::string logName(const std::string& key);

/// Opens the log of a service for a new start, to be written at its end. One of more than 1 MiB is
/// put aside first, in the place of the one that was put aside before.
///
/// @return an owner of nothing when there can be none: a log that can't be written is no reason not
///     to start
Descriptor openLog(const std::string& key) noexcept;

}  // namespace Sorvex::platform::services
