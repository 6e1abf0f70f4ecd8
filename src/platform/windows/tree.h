// Steps of the walks over directory trees, which go by full names here.
#pragma once

#include "platform/windows/windows.h"

#include <cstring>
#include <memory>
#include <string>

namespace Sorvex::platform {

/// FindFirstFileA, whose records are whole at no cost, also for who wants only directories or only
/// what is none.
inline HANDLE findFirstDirectory(const char* text, WIN32_FIND_DATAA* data) {
    return platform::FindFirstFileA(text, data);
}

inline HANDLE findFirstFile(const char* text, WIN32_FIND_DATAA* data) {
    return platform::FindFirstFileA(text, data);
}

/// FindFirstFileA for the entries of a directory that are to be removed. A pattern that holds a
/// separator matches none.
inline HANDLE findFirstToEmpty(const char* directory, const char* pattern, WIN32_FIND_DATAA* data) {
    if (std::strpbrk(pattern, "\\/") != nullptr) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    return platform::FindFirstFileA((std::string(directory) + '\\' + pattern).c_str(), data);
}

/// FindFirstFileA for all entries of a directory that is to be removed. A junction or a link has
/// none.
inline HANDLE findFirstToRemove(HANDLE /*above*/, const char* fullName, WIN32_FIND_DATAA* data) {
    const DWORD attributes = GetFileAttributesA(fullName);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    return findFirstToEmpty(fullName, "*", data);
}

/// FindFirstFileA for all entries of a directory that is to be copied.
inline HANDLE findFirstToCopy(HANDLE /*above*/, const char* fullName, WIN32_FIND_DATAA* data) {
    return findFirstToEmpty(fullName, "*", data);
}

/// `remove` for what a search stands on.
inline int removeFound(HANDLE /*search*/, const char* fullName) {
    return remove(fullName);
}

/// `_rmdir` for what a search stands on.
inline int removeFoundDirectory(HANDLE /*search*/, const char* fullName) {
    return _rmdir(fullName);
}

/// Takes note of a directory that a tree is copied to; a handle for closeCopyTarget.
inline HANDLE openCopyTarget(const char* name) {
    return std::make_unique<std::string>(name).release();
}

/// Makes a directory for what a search stands on, unless something has its name already. Null with
/// errno set on failure.
inline HANDLE makeCopyTarget(HANDLE /*search*/, HANDLE /*target*/, const char* fullName) {
    const bool exists = _access(fullName, 0) == 0 || _mkdir(fullName) == 0;
    return exists ? openCopyTarget(fullName) : nullptr;
}

/// Whether a search stands on the very directory that a tree is copied to.
inline BOOL isCopyTarget(HANDLE /*search*/, const char* fullName, HANDLE target) {
    return leadsTo(fullName, static_cast<const std::string*>(target)->c_str());
}

inline void closeCopyTarget(HANDLE target) {
    delete static_cast<std::string*>(target);
}

/// CopyFileA for what a search stands on.
inline BOOL copyFound(HANDLE /*search*/, const char* fullName, HANDLE /*target*/,
                      const char* fullTarget, BOOL failIfExists) {
    return CopyFileA(fullName, fullTarget, failIfExists);
}

}  // namespace Sorvex::platform
