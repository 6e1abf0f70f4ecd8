// Names in the file system, and what can be asked of and done to what they name.
//
// All of them set errno when they fail and take names as the application gives them.
#pragma once

#include <cstddef>
#include <cstdint>

#include <sys/stat.h>

#include "platform/posix/base/types.h"

// The host's header makes these names of its own record macros.
#undef st_atime
#undef st_ctime
#undef st_mtime

namespace Sorvex::platform {

/// What _stat tells of a file. Times are seconds since the start of 1970, UTC.
struct StatRecord {
    WORD st_mode;           ///< kind and permission bits, as the host keeps them
    DWORD st_size;          ///< the low 32 bits of the size in bytes
    std::int64_t st_atime;  ///< last access
    std::int64_t st_mtime;  ///< last change of the contents
    std::int64_t st_ctime;  ///< creation
};

/// Fills the record; a link is followed. 0 on success, else -1.
///
/// The kind is told for regular files, directories, character devices and pipes, and for nothing
/// else. Where the host keeps no time of creation it is the earlier of the last two changes.
int _stat(const char* name, StatRecord* record) noexcept;

/// 0 when the access is possible, else -1: 0 asks whether the name exists, 2 whether it may be
/// written, 4 whether it may be read, 6 for both.
int _access(const char* name, int mode) noexcept;

/// Whether anything has this name, be it a link that leads nowhere.
bool isTaken(const char* name) noexcept;

/// Sets the nine permission bits; the kind in the same word is passed over. 0 on success, else -1.
///
/// Set-user-id, set-group-id and sticky are kept where they are set and asked for, and cleared
/// otherwise. They are never added: what asks for all bits must not make a privileged program.
int _chmod(const char* name, int mode) noexcept;

/// Makes one directory. 0 on success, else -1.
int _mkdir(const char* name) noexcept;

/// Removes an empty directory, or a link to a directory but nothing behind it. 0 on success, else
/// -1.
int _rmdir(const char* name) noexcept;

/// Removes what is not a directory; a link itself. 0 on success, else -1.
int remove(const char* name) noexcept;

/// Gives an entry another name, which must not exist. 0 on success, else -1.
///
/// Where the old name leads to the new one it is no failure, and nothing changes. What is not a
/// directory can also go to another file system.
int rename(const char* oldName, const char* newName);

/// Tells whether two names are those of one entry of one directory, however they are spelled, or
/// the first is a symbolic link that leads to the second, at once or over others. Two hard links to
/// one file are two entries.
bool leadsTo(const char* first, const char* second);

/// Writes the absolute form of a name, with its terminator, into a buffer.
///
/// The current directory completes a relative name (and is the full name of the empty one), `.` and
/// `..` are resolved by the text alone, a separator at the end stays. A bare drive is its root.
///
/// @return the buffer, or null when the current directory can't be told, or, with ERANGE, when the
///     result doesn't fit
char* _fullpath(char* buffer, const char* name, std::size_t size) noexcept;

}  // namespace Sorvex::platform
