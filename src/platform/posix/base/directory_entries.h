// The names in a directory.
#pragma once

#include <functional>
#include <string>

namespace Sorvex::platform {

/// Calls a function with the name of each entry of an open directory, but for the two of every
/// directory. The descriptor's own place in the directory stays as it is.
///
/// @return false with errno set when the directory can't be read to its end
bool forEachEntry(int directory, const std::function<void(const std::string&)>& function);

}  // namespace Sorvex::platform
