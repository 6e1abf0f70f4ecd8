// Searches that name no other entry than the one they found.
#pragma once

#include "platform/windows/windows.h"

namespace Sorvex::platform {

/// The record of an entry, with its names in the code page.
///
/// What the code page can't say reads `?`, which no name holds, so that whoever takes the name for
/// a file is refused. The system's own 8-bit search writes the nearest letter instead (best fit),
/// and so may name another file, or pass a directory over as one that is not there.
inline void narrow(const WIN32_FIND_DATAW& found, WIN32_FIND_DATAA& data) {
    static_assert(sizeof(data.cFileName) == MAX_PATH);
    const UINT page = AreFileApisANSI() != 0 ? CP_ACP : CP_OEMCP;
    const auto write = [page](const wchar_t* name, char* text, int size) {
        // UTF-8 knows no nearest letters, and refuses the flag against them.
        if (::WideCharToMultiByte(page, WC_NO_BEST_FIT_CHARS, name, -1, text, size, "?", nullptr) ==
                0 &&
            ::WideCharToMultiByte(page, WC_ERR_INVALID_CHARS, name, -1, text, size, nullptr,
                                  nullptr) == 0)
            std::strcpy(text, "?");
    };
    data = {};
    data.dwFileAttributes = found.dwFileAttributes;
    data.ftCreationTime = found.ftCreationTime;
    data.ftLastAccessTime = found.ftLastAccessTime;
    data.ftLastWriteTime = found.ftLastWriteTime;
    data.nFileSizeHigh = found.nFileSizeHigh;
    data.nFileSizeLow = found.nFileSizeLow;
    data.dwReserved0 = found.dwReserved0;
    data.dwReserved1 = found.dwReserved1;
    write(found.cFileName, data.cFileName, sizeof data.cFileName);
    write(found.cAlternateFileName, data.cAlternateFileName, sizeof data.cAlternateFileName);
}

/// The system's operation of that name, but for the names that the code page can't say.
inline HANDLE FindFirstFileA(const char* name, WIN32_FIND_DATAA* data) {
    const UINT page = AreFileApisANSI() != 0 ? CP_ACP : CP_OEMCP;
    wchar_t wideName[MAX_PATH];
    if (::MultiByteToWideChar(page, 0, name, -1, wideName, MAX_PATH) == 0) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return INVALID_HANDLE_VALUE;
    }
    WIN32_FIND_DATAW found;
    const HANDLE search = ::FindFirstFileW(wideName, &found);
    if (search != INVALID_HANDLE_VALUE)
        narrow(found, *data);
    return search;
}

/// The same for the entries that follow.
inline BOOL FindNextFileA(HANDLE search, WIN32_FIND_DATAA* data) {
    WIN32_FIND_DATAW found;
    const BOOL hasNext = ::FindNextFileW(search, &found);
    if (hasNext != FALSE)
        narrow(found, *data);
    return hasNext;
}

}  // namespace Sorvex::platform
