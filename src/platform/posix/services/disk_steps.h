// The single steps that change the database on the disk. Each is one system call, or in the case of
// a write as many as it takes, so that a crash can fall between any two of them.
#pragma once

#include <string_view>

#include "platform/posix/base/descriptor.h"

namespace Sorvex::platform::services {

/// Makes a directory that only its owner can use, unless something of that name exists.
void makeDirectory(int parent, const char* name);

/// Makes a new file that only its owner can use, open for writing.
Descriptor makeFile(int parent, const char* name);

void writeBytes(int file, std::string_view bytes);

/// Waits until a file is on the disk.
void syncToDisk(int file);

/// Waits until the entries of a directory are on the disk.
void syncDirectory(int directory);

/// Renames an entry of a directory, perhaps into another one; a file that has the new name already
/// is replaced.
void renameEntry(int directory, const char* name, int newDirectory, const char* newName);

/// Removes a file, or with AT_REMOVEDIR an empty directory. One that is missing is no failure.
void removeEntry(int directory, const char* name, int flags);

}  // namespace Sorvex::platform::services
