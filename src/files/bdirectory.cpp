#include <sorvex/bdirectory.h>

#include <cerrno>
#include <cstddef>
#include <string>

#include <sorvex/bstring.h>

#include "files/cursor_record.h"
#include "platform/platform.h"
#include "strings/failure.h"

namespace Sorvex {

// One level of a walk over a directory tree. It lists as its base does, but a nested level starts
// from the entry that the level above stands on, and not from that entry's name; `above` is null at
// the start of a walk.
class WalkCursor : public BPathCursor {
public:
    using BPathCursor::BPathCursor;

    // Starts on the entries of a directory that is to be emptied, which must not be the root of the
    // file system.
    void startToEmpty() {
        if (prepare())
            settleUnlessRoot(platform::findFirstToEmpty(directoryPath.c_str(),
                                                        searchPattern.c_str(), findData.get()));
    }

    // The same of one that is to be removed.
    void startToRemove(const WalkCursor* above) {
        if (prepare())
            settleUnlessRoot(platform::findFirstToRemove(searchOf(above), directoryPath.c_str(),
                                                         findData.get()));
    }

    // Starts on the entries of a directory that is to be copied.
    void startToCopy(const WalkCursor* above) {
        if (prepare())
            settle(
                platform::findFirstToCopy(searchOf(above), directoryPath.c_str(), findData.get()));
    }

    bool isOnDotEntry() const noexcept { return isOnDots(); }
    void* search() const noexcept { return findHandle; }

private:
    static void* searchOf(const WalkCursor* above) noexcept {
        return above == nullptr ? nullptr : above->findHandle;
    }

    void settleUnlessRoot(void* found) {
        if (found == INVALID_HANDLE_VALUE && platform::GetLastError() == ERROR_CURRENT_DIRECTORY)
            failure::raiseWithErrno("BDirectory::remove(): error removing directory ",
                                    directoryPath);
        settle(found);
    }
};

namespace {

constexpr const char* everything = "*";

// Whether somebody else has made the directory since it was looked for. Leaves errno as it is.
bool hasComeToExist(const char* name) noexcept {
    if (errno != EEXIST)
        return false;
    platform::StatRecord record;
    const bool isDirectory =
        platform::_stat(name, &record) == 0 && (record.st_mode & BPath::directory) != 0;
    errno = EEXIST;
    return isDirectory;
}

// A directory that the entries of another are copied into.
class CopyTarget {
public:
    /// The target of a whole copy.
    explicit CopyTarget(const std::string& name)
        : directoryName(name), handle(platform::openCopyTarget(name.c_str())) {}

    /// The one inside another for the directory that a level stands on.
    CopyTarget(const CopyTarget& above, const WalkCursor& entry, const std::string& name)
        : directoryName(name),
          handle(platform::makeCopyTarget(entry.search(), above.handle, name.c_str())) {
        if (handle == nullptr)
            failure::raiseWithErrno("BDirectory::create(): error creating directory ", name);
    }

    ~CopyTarget() { platform::closeCopyTarget(handle); }

    CopyTarget(const CopyTarget&) = delete;
    CopyTarget& operator=(const CopyTarget&) = delete;

    const std::string& name() const noexcept { return directoryName; }

    bool isEntry(const WalkCursor& entry, const std::string& fullName) const {
        return platform::isCopyTarget(entry.search(), fullName.c_str(), handle) != 0;
    }

    void take(const WalkCursor& entry, const std::string& from, const std::string& to,
              bool overwrite) const {
        if (!platform::copyFound(entry.search(), from.c_str(), handle, to.c_str(), !overwrite))
            failure::raiseForPair("BFile::copy(): failed ", from, to);
    }

private:
    std::string directoryName;
    void* handle;
};

// What stays the same on all levels of a copy.
struct Copying {
    const CopyTarget& root;
    bool overwrite;
    bool recursive;
};

void removeEntries(WalkCursor& entries);

// The listing ends before the directory itself goes.
void removeAllIn(const WalkCursor* above, const std::string& name) {
    WalkCursor entries(name, everything);
    entries.startToRemove(above);
    removeEntries(entries);
}

void removeNested(const WalkCursor& above, const std::string& name) {
    removeAllIn(&above, name);
    if (platform::removeFoundDirectory(above.search(), name.c_str()) != 0)
        failure::raiseWithErrno("BDirectory::remove(): error removing directory ", name);
}

void removeEntries(WalkCursor& entries) {
    for (; entries; entries.next()) {
        if (entries.isOnDotEntry())
            continue;
        const std::string name = entries.fullName();
        if (entries.isDirectory())
            removeNested(entries, name);
        else if (platform::removeFound(entries.search(), name.c_str()) != 0)
            failure::raiseWithErrno("BFile::remove(): error removing file ", name);
    }
}

void copyEntries(WalkCursor& entries, const CopyTarget& target, const Copying& copying) {
    for (; entries; entries.next()) {
        if (entries.isOnDotEntry())
            continue;
        const std::string from = entries.fullName();
        const std::string to =
            target.name() + OSInterface::directorySeparatorCharacter() + entries.name();
        if (!entries.isDirectory()) {
            target.take(entries, from, to, copying.overwrite);
        } else if (copying.recursive && !copying.root.isEntry(entries, from)) {
            const CopyTarget nestedTarget(target, entries, to);
            WalkCursor nested(from, everything);
            nested.startToCopy(&entries);
            copyEntries(nested, nestedTarget, copying);
        }
    }
}

}  // namespace

BDirectory::BDirectory(const char* name) : BPath(name) {}

BDirectory::~BDirectory() = default;

bool BDirectory::exists(const char* name) noexcept {
    return BPath::exists(name);
}

bool BDirectory::exists() const noexcept {
    return exists(name().c_str());
}

void BDirectory::create(const char* name, bool recursive) {
    if (BPath::exists(name) || platform::_mkdir(name) == 0 || hasComeToExist(name))
        return;
    if (!recursive)
        failure::raiseWithErrno("BDirectory::create(): error creating directory ", name);

    const int error = errno;
    std::string parentName = BPath::parent(name);
    if (parentName == name)
        failure::raiseFor(
            "BDirectory::create(): error creating directory; directories must not end with slash",
            name);
    if (parentName.ends_with('\\'))
        parentName.pop_back();
    if (parentName == name) {
        errno = error;
        failure::raiseWithErrno("BDirectory::create(): error creating directory ", name);
    }
    create(parentName.c_str(), recursive);
    create(name, false);
}

BDirectory& BDirectory::create(bool recursive) {
    create(name().c_str(), recursive);
    return *this;
}

void BDirectory::remove(const char* name, bool recursive) {
    if (recursive)
        removeAllIn(nullptr, name);
    if (platform::_rmdir(name) != 0)
        failure::raiseWithErrno("BDirectory::remove(): error removing directory ", name);
}

BDirectory& BDirectory::remove(bool recursive) {
    remove(name().c_str(), recursive);
    return *this;
}

void BDirectory::zap(const char* name, const char* pattern) {
    WalkCursor entries(name, pattern == nullptr ? everything : pattern);
    entries.startToEmpty();
    removeEntries(entries);
}

BDirectory& BDirectory::zap(const char* pattern) {
    zap(name().c_str(), pattern);
    return *this;
}

void BDirectory::copy(const char* source, const char* target, bool overwrite, bool recursive) {
    create(target, true);
    const CopyTarget root(target);
    WalkCursor entries(source, everything);
    entries.startToCopy(nullptr);
    copyEntries(entries, root, {root, overwrite, recursive});
}

BDirectory& BDirectory::copy(const char* target, bool overwrite, bool recursive) {
    copy(name().c_str(), target, overwrite, recursive);
    return *this;
}

bool BDirectory::isRoot(const char* name) {
    constexpr std::size_t behindDrive = 2;
    const std::string parentName = BPath::parent(name);
    return parentName.starts_with('\\') ||
           (parentName.size() > behindDrive && parentName[behindDrive] == '\\');
}

bool BDirectory::isRoot() const {
    return isRoot(name().c_str());
}

}  // namespace Sorvex
