// The cursors of the walks over directory trees.
#pragma once

#include <string>

#include <sorvex/cursors.h>

namespace Sorvex {

/// One level of a walk over a directory tree. It lists as its base does, but a nested level starts
/// from the entry that the level above stands on, and not from that entry's name.
class WalkCursor : public BPathCursor {
public:
    using BPathCursor::BPathCursor;

    /// Starts on the entries of a directory that is to be emptied.
    ///
    /// @throws std::runtime_error also "BDirectory::remove(): error removing directory ", the
    ///     directory, a blank and the error text, when it is the root of the file system
    void startToEmpty();

    /// Starts on the entries of a directory that is to be removed. Throws as startToEmpty does.
    ///
    /// @param above the level that stands on the directory; null at the start of a walk
    void startToRemove(const WalkCursor* above);

    /// Starts on the entries of a directory that is to be copied.
    ///
    /// @param above the level that stands on the directory; null at the start of a walk
    void startToCopy(const WalkCursor* above);

    /// Whether the cursor stands on `.` or `..`.
    bool isOnDotEntry() const noexcept { return isOnDots(); }

    /// The search, for the steps of the platform.
    void* search() const noexcept { return findHandle; }

private:
    static void* searchOf(const WalkCursor* above) noexcept;
    void settleUnlessRoot(void* found);
};

}  // namespace Sorvex
