// Steps of the walks over directory trees.
//
// Each works on the entry that a search stands on, and reaches it from the directory that the
// search has open: a name is never looked up again on the way down, so nobody can lead a walk out
// of its tree by putting a link in the place of a directory. The full names beside it are for hosts
// without such steps.
#pragma once

#include "platform/posix/base/types.h"
#include "platform/posix/files/find.h"

namespace Sorvex {

/// What a search of a removal fails with when it would empty the host's root, with errno EBUSY, or
/// when the host can't tell whether it would.
constexpr platform::DWORD ERROR_CURRENT_DIRECTORY = 16;

}  // namespace Sorvex

namespace Sorvex::platform {

/// FindFirstFileA for the entries of a directory that are to be removed. A link is followed.
///
/// The pattern is text: it names or matches entries of that one directory, and where it holds a
/// separator none.
HANDLE findFirstToEmpty(const char* directory, const char* pattern, WIN32_FIND_DATAA* data);

/// FindFirstFileA for all entries of a directory that is to be removed. A link has none.
///
/// @param above the search that stands on the directory; null at the start of a walk
HANDLE findFirstToRemove(HANDLE above, const char* fullName, WIN32_FIND_DATAA* data);

/// FindFirstFileA for all entries of a directory that is to be copied. A link has none, but is
/// followed at the start of a walk.
///
/// @param above the search that stands on the directory; null at the start of a walk
HANDLE findFirstToCopy(HANDLE above, const char* fullName, WIN32_FIND_DATAA* data);

/// `remove` for what a search stands on.
int removeFound(HANDLE search, const char* fullName) noexcept;

/// `_rmdir` for what a search stands on.
int removeFoundDirectory(HANDLE search, const char* fullName) noexcept;

/// Opens a directory that a tree is copied to, and gives a handle for closeCopyTarget. Never fails:
/// copies into what can't be opened do.
HANDLE openCopyTarget(const char* name);

/// Makes and opens a directory of the same name as what a search stands on. One that exists is
/// taken, and so is a file, into which copies fail; a link is refused. Null with errno set on
/// failure.
HANDLE makeCopyTarget(HANDLE search, HANDLE target, const char* fullName);

/// Whether a search stands on the very directory that a tree is copied to.
BOOL isCopyTarget(HANDLE search, const char* fullName, HANDLE target) noexcept;

/// Null is no target.
void closeCopyTarget(HANDLE target) noexcept;

/// CopyFileA for what a search stands on, into a target under the same name.
BOOL copyFound(HANDLE search, const char* fullName, HANDLE target, const char* fullTarget,
               BOOL failIfExists) noexcept;

}  // namespace Sorvex::platform
