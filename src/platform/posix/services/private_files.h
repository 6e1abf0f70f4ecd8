// Files and directories that belong to one user alone. Everything is reached from an open directory
// whose owner and mode have been checked, and no link is ever followed.
#ifndef SORVEX_PLATFORM_POSIX_SERVICES_PRIVATE_FILES_H
#define SORVEX_PLATFORM_POSIX_SERVICES_PRIVATE_FILES_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/services/locks.h"

namespace Sorvex::platform::services {

/// Opens a directory of the calling user's own that nobody else can use; ERROR_ACCESS_DENIED when
/// it is another's, is open to others, or is no directory but a link to one.
///
/// @return an owner of nothing when there is none
Descriptor openPrivateDirectory(int parent, const char* name);

/// Makes the directory first when it is missing.
Descriptor ensurePrivateDirectory(int parent, const char* name);

/// The same directory once more, with a place and locks of its own.
Descriptor reopenDirectory(int directory);

/// Opens a regular file of the calling user's own, with the flags of open.
///
/// @return an owner of nothing when there is none
Descriptor openPrivateFile(int parent, const char* name, int flags);

bool hasEntry(int directory, const char* name);

/// The contents of a small file; nothing when there is none. More than 1 MB is ERROR_INVALID_DATA.
std::optional<std::string> readPrivateFile(int parent, const char* name);

/// Gives a file new contents: a crash at any point leaves the old or the new ones.
void replaceFile(int directory, const char* name, std::string_view contents);

/// The names in a directory but for those that begin with a dot, in no order.
std::vector<std::string> visibleEntries(int directory);

/// Removes a directory of files with everything in it. One that is missing is no failure.
void removeDirectory(int parent, const char* name);

}  // namespace Sorvex::platform::services

#endif
