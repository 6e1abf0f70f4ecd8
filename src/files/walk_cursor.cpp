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
    settleUnlessRoot(
        platform::findFirstToEmpty(directoryPath.c_str(), searchPattern.c_str(), findData.get()));
}

void WalkCursor::startToRemove(const WalkCursor* above) {
    if (!prepare())
        return;
    settleUnlessRoot(
        platform::findFirstToRemove(searchOf(above), directoryPath.c_str(), findData.get()));
}

void WalkCursor::startToCopy(const WalkCursor* above) {
    if (prepare())
        settle(platform::findFirstToCopy(searchOf(above), directoryPath.c_str(), findData.get()));
}

void WalkCursor::settleUnlessRoot(void* found) {
    if (found == INVALID_HANDLE_VALUE && platform::GetLastError() == ERROR_CURRENT_DIRECTORY)
        failure::raiseWithErrno("BDirectory::remove(): error removing directory ", directoryPath);
    settle(found);
}

}  // namespace Sorvex
