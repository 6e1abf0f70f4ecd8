// Copying one entry of the file system.
#pragma once

#include "platform/posix/base/types.h"
#include "platform/posix/files/entry.h"

namespace Sorvex::platform {

/// Copies one entry that is not a directory: contents, permission bits and time of modification.
///
/// A link is made again as it is, wherever it leads. A pipe makes a pipe. Devices and sockets are
/// refused, as source and as target, and so is the copy of a file onto itself under whatever name.
/// The target has its name only once it is whole, and what it replaces is untouched until then;
/// after a failure there is no trace of the copy.
///
/// @param failIfExists makes the target exclusively: of two racing copies only one succeeds. It
///     counts for links, too, wherever they point.
/// @return false with errno and the last error set
bool copyEntry(EntryAt source, EntryAt target, bool failIfExists) noexcept;

/// Moves an entry that is not a directory to another file system, where its name must be new: the
/// same as a copy, but for links, which all stay links, and the owner of a file or a pipe, who
/// stays where the host lets him. Refused with EBUSY, and undone, where another entry has taken the
/// source's place meanwhile. False with errno and the last error set.
bool moveEntryAcross(EntryAt source, EntryAt target) noexcept;

/// Copies as copyEntry does, but a link to a file copies the file. 0 on failure, with the last
/// error and errno set.
BOOL CopyFileA(const char* source, const char* target, BOOL failIfExists) noexcept;

}  // namespace Sorvex::platform
