// Searches of directories.
#pragma once

#include "platform/posix/base/types.h"
#include "platform/posix/files/find_data.h"

namespace Sorvex::platform {

/// Starts a search and fills the record with the first entry that matches.
///
/// The text is a directory, a separator and a pattern. `.` and `..` come first, but are missing in
/// the host's root. A pattern without wildcards is looked up and not searched for.
///
/// @return a handle for FindClose; INVALID_HANDLE_VALUE with the last error set, of which
///     ERROR_FILE_NOT_FOUND (nothing matches) and ERROR_PATH_NOT_FOUND (no such directory) mean
///     that there is nothing to list
HANDLE FindFirstFileA(const char* text, WIN32_FIND_DATAA* data);

/// The same for who wants only directories, or only what is none: of the other entries the record
/// has the name and whether they are directories, links or hidden, which costs no look at them. Of
/// the last entry of a listing it has everything once the end is reached.
HANDLE findFirstDirectory(const char* text, WIN32_FIND_DATAA* data);
HANDLE findFirstFile(const char* text, WIN32_FIND_DATAA* data);

/// Fills the record with the next entry that matches. Entries that are removed meanwhile disturb
/// nothing.
///
/// @return 0 with the last error set when there is none, which is ERROR_NO_MORE_FILES at the end;
///     the record then keeps the last entry
BOOL FindNextFileA(HANDLE search, WIN32_FIND_DATAA* data);

/// 0 with ERROR_INVALID_HANDLE for null and INVALID_HANDLE_VALUE.
BOOL FindClose(HANDLE search);

}  // namespace Sorvex::platform
