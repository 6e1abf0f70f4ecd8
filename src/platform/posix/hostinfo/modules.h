// The process's address space as the loader of programs has laid it out.
#pragma once

#include <cstddef>

#include "platform/posix/base/types.h"

namespace Sorvex::platform {

using HMODULE = void*;

/// A run of addresses.
struct MEMORY_BASIC_INFORMATION {
    void* BaseAddress;       ///< the page of the address asked for
    std::size_t RegionSize;  ///< in bytes, from BaseAddress to the end of the region
};

/// Tells the region in which an address lies.
///
/// Every part of a loaded module that the loader maps by itself is a region, and so is every run of
/// addresses between two such parts, whatever else the process keeps there: the regions of all
/// addresses that can be asked for lie end to end.
///
/// The list of modules is kept for the calling thread and made anew when one has been loaded or
/// unloaded since.
///
/// @return the size of the record; 0 with ERROR_INVALID_PARAMETER above the last address that a
///     module can have
std::size_t VirtualQuery(const void* address, MEMORY_BASIC_INFORMATION* information,
                         std::size_t size);

/// Gives the full name of a module of the running process, in the form C:\...
///
/// The name is that of the file from which the module was loaded, whatever has become of the file.
///
/// @param module the address at which the module was loaded; null for the program itself
/// @return the length of the name; `size` when it had to be cut, with ERROR_INSUFFICIENT_BUFFER and
///     the buffer terminated; 0 with ERROR_MOD_NOT_FOUND when no module begins there
DWORD GetModuleFileNameA(HMODULE module, char* name, DWORD size);

}  // namespace Sorvex::platform
