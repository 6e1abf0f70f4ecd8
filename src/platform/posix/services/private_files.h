// Files and directories that belong to one user alone. Everything is reached from an open directory
// whose owner and mode have been checked, and no link is ever followed.
//
// A directory is opened as a mere place (O_PATH): who has the descriptor can neither list nor lock
// the directory, and reaches what is in it only with the rights that he has at that time. So a
// service of root's that gives up its rights keeps no hold on root's files.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/base/descriptor.h"

namespace Sorvex::platform::services {

/// The most bytes of a small file.
inline constexpr std::size_t largestPrivateFile = 1 << 20;

/// A private directory: below one that exists, each step of the way made when it is missing.
struct PrivatePlace {
    std::string base;
    std::vector<std::string> steps;
};

/// Opens a place and makes what is missing of it.
Descriptor ensurePlace(const PrivatePlace& place);

/// Opens a place; an owner of nothing when it isn't there.
Descriptor openPlace(const PrivatePlace& place);

/// Opens a directory of the calling user's own that nobody else can use; ERROR_ACCESS_DENIED when
/// it is another's, is open to others, or is no directory but a link to one.
///
/// @return an owner of nothing when there is none
Descriptor openPrivateDirectory(int parent, const char* name);

/// Makes the directory first when it is missing.
Descriptor ensurePrivateDirectory(int parent, const char* name);

/// The same directory once more, to be listed or locked.
Descriptor reopenDirectory(int directory);

/// Opens a regular file of the calling user's own, with the flags of open.
///
/// @return an owner of nothing when there is none
Descriptor openPrivateFile(int parent, const char* name, int flags);

bool hasEntry(int directory, const char* name);

/// The contents of a small file; nothing when there is none. A larger one is ERROR_INVALID_DATA.
std::optional<std::string> readPrivateFile(int parent, const char* name);

/// Gives a file new contents: a crash at any point leaves the old or the new ones.
void replaceFile(int directory, const char* name, std::string_view contents);

/// The names in a directory but for those that begin with a dot, in no order.
std::vector<std::string> visibleEntries(int directory);

/// Removes a file or a directory with everything in it, whosever that is. One that is missing is no
/// failure.
void removeTree(int parent, const char* name);

}  // namespace Sorvex::platform::services
