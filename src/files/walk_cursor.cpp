#include "files/walk_cursor.h"

#include "files/cursor_record.h"
#include "platform/platform.h"
#include "strings/failure.h"

namespace Sorvex {

void* WalkCursor::searchOf(const WalkCursor* above) noexcept {
    return above == nullptr ? nullptr : above->findHandle;
}

void WalkCursor::startToEmpty() {
    if (!prepare())
        return;
    findHandle =
        platform::findFirstToEmpty(directoryPath.c_str(), searchPattern.c_str(), findData.get());
    settleUnlessRoot();
}

void WalkCursor::startToRemove(const WalkCursor* above) {
    if (!prepare())
        return;
    findHandle =
        platform::findFirstToRemove(searchOf(above), directoryPath.c_str(), findData.get());
    settleUnlessRoot();
}

void WalkCursor::startToCopy(const WalkCursor* above) {
    if (!prepare())
        return;
    findHandle = platform::findFirstToCopy(searchOf(above), directoryPath.c_str(), findData.get());
    settle();
}

void WalkCursor::settleUnlessRoot() {
    if (findHandle == INVALID_HANDLE_VALUE && platform::GetLastError() == ERROR_CURRENT_DIRECTORY)
        failure::raiseWithErrno("BDirectory::remove(): error removing directory ", directoryPath);
    settle();
}

}  // namespace Sorvex
