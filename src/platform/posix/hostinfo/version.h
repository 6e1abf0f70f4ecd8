// The version resources of Windows images, read from the files themselves.
#pragma once

#include "platform/posix/base/types.h"

/// The fixed part of a version resource, as it lies in the image.
struct tagVS_FIXEDFILEINFO {
    Sorvex::platform::DWORD dwSignature;
    Sorvex::platform::DWORD dwStrucVersion;
    Sorvex::platform::DWORD dwFileVersionMS;
    Sorvex::platform::DWORD dwFileVersionLS;
    Sorvex::platform::DWORD dwProductVersionMS;
    Sorvex::platform::DWORD dwProductVersionLS;
    Sorvex::platform::DWORD dwFileFlagsMask;
    Sorvex::platform::DWORD dwFileFlags;
    Sorvex::platform::DWORD dwFileOS;
    Sorvex::platform::DWORD dwFileType;
    Sorvex::platform::DWORD dwFileSubtype;
    Sorvex::platform::DWORD dwFileDateMS;
    Sorvex::platform::DWORD dwFileDateLS;
};

namespace Sorvex::platform {

using VS_FIXEDFILEINFO = ::tagVS_FIXEDFILEINFO;

/// How large a block GetFileVersionInfoA needs for the version resource of a 32-bit or 64-bit
/// image.
///
/// @param handle set to 0; may be null
/// @return at most about 160 KiB; 0 with the last error set when the file can't be read
///     (a code of the file system), is no image (ERROR_BAD_EXE_FORMAT), or has no version resource
///     (ERROR_RESOURCE_DATA_NOT_FOUND, ERROR_RESOURCE_TYPE_NOT_FOUND,
///     ERROR_RESOURCE_NAME_NOT_FOUND, ERROR_RESOURCE_LANG_NOT_FOUND)
DWORD GetFileVersionInfoSizeA(const char* name, DWORD* handle);

/// Reads the version resource of an image into a block that is aligned as new[] aligns.
///
/// @return 0 with the last error set as above, or ERROR_INSUFFICIENT_BUFFER when the resource has
///     grown since its size was asked for
BOOL GetFileVersionInfoA(const char* name, DWORD handle, DWORD size, void* block);

/// Finds one value in a block that GetFileVersionInfoA has filled.
///
/// The names of a sub-block compare without ASCII case; "\" or nothing names the fixed part. Text
/// is given as UTF-8, made in a place of its own inside the block, with one terminating NUL that
/// `length` counts; everything else is given as it lies in the image.
///
/// @param length in bytes; 0 for an entry without a value
/// @return 0 with ERROR_RESOURCE_TYPE_NOT_FOUND when there is no such entry, or no whole and signed
///     fixed part; with ERROR_INVALID_DATA when the block is none of GetFileVersionInfoA
BOOL VerQueryValueA(const void* block, const char* subBlock, void** value, UINT* length);

}  // namespace Sorvex::platform
