#include "platform/posix/files/tree.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/base/errors.h"
#include "platform/posix/files/copy.h"
#include "platform/posix/files/entry.h"
#include "platform/posix/files/file_search.h"
#include "platform/posix/files/host_path.h"
#include "platform/posix/files/paths.h"

namespace Sorvex::platform {

namespace {

constexpr mode_t directoryMode = 0777;

// A directory that files are copied into, as its handle knows it.
class TargetDirectory final : public HandleObject {
public:
    TargetDirectory(Descriptor opened, int whyNot) noexcept
        : directory(std::move(opened)), error(whyNot) {
        if (directory)
            identity.read({directory.get(), ""}, AT_EMPTY_PATH);
    }

    Descriptor directory;
    int error;  // why the directory isn't open, if it isn't
    FileIdentity identity;
};

TargetDirectory& targetOf(HANDLE handle) noexcept {
    return static_cast<TargetDirectory&>(*static_cast<HandleObject*>(handle));
}

HANDLE listForWalk(Descriptor opened, std::string_view pattern, WIN32_FIND_DATAA& data) {
    if (!opened)
        return INVALID_HANDLE_VALUE;
    return startSearch(
        std::make_unique<FileSearch>(std::move(opened), pattern, FileSearch::Looks::none, false),
        data);
}

// What the search above a nested level stands on. A link in its place is not followed.
Descriptor openNested(HANDLE above) noexcept {
    return openDirectory(searchOf(above)->entry(), O_RDONLY | O_NOFOLLOW);
}

// A directory whose entries are to be removed: closed and with the last error set when it is the
// host's root, also where that is mounted a second time, or when it can't be told from it.
Descriptor withoutHostRoot(Descriptor opened) noexcept {
    if (!opened || isBelowHostRoot({opened.get(), ""}, AT_EMPTY_PATH))
        return opened;
    SetLastError(ERROR_CURRENT_DIRECTORY);
    return Descriptor();
}

}  // namespace

HANDLE findFirstToEmpty(const char* directory, const char* pattern, WIN32_FIND_DATAA* data) {
    if (std::strlen(pattern) > Wildcard::maximumLength)
        return failSearch(ERROR_FILENAME_EXCED_RANGE);
    const bool lists = Wildcard::isIn(pattern);
    Descriptor opened = withoutHostRoot(
        openDirectory({AT_FDCWD, HostPath(directory).c_str()}, lists ? O_RDONLY : O_PATH));
    if (!opened)
        return INVALID_HANDLE_VALUE;
    if (lists)
        return listForWalk(std::move(opened), pattern, *data);
    return findEntry(std::move(opened), HostPath::ofEntry(pattern).c_str(), pattern, *data);
}

HANDLE findFirstToRemove(HANDLE above, const char* fullName, WIN32_FIND_DATAA* data) {
    HostPath path(fullName);
    path.dropTrailingDots();
    return listForWalk(withoutHostRoot(above != nullptr ? openNested(above)
                                                        : openDirectory({AT_FDCWD, path.c_str()},
                                                                        O_RDONLY | O_NOFOLLOW)),
                       "*", *data);
}

HANDLE findFirstToCopy(HANDLE above, const char* fullName, WIN32_FIND_DATAA* data) {
    return listForWalk(above != nullptr
                           ? openNested(above)
                           : openDirectory({AT_FDCWD, HostPath(fullName).c_str()}, O_RDONLY),
                       "*", *data);
}

int removeFound(HANDLE search, const char* /*fullName*/) noexcept {
    const EntryAt entry = searchOf(search)->entry();
    return unlinkat(entry.directory, entry.name, 0);
}

int removeFoundDirectory(HANDLE search, const char* /*fullName*/) noexcept {
    return removeDirectory(searchOf(search)->entry());
}

HANDLE openCopyTarget(const char* name) {
    Descriptor opened = openAt(AT_FDCWD, HostPath(name).c_str(), O_PATH | O_DIRECTORY);
    const int error = errno;
    return static_cast<HandleObject*>(new TargetDirectory(std::move(opened), error));
}

HANDLE makeCopyTarget(HANDLE search, HANDLE target, const char* /*fullName*/) {
    const TargetDirectory& above = targetOf(target);
    const EntryAt made{above.directory.get(), searchOf(search)->entry().name};
    errno = above.error;
    if (!above.directory ||
        (mkdirat(made.directory, made.name, directoryMode) != 0 && errno != EEXIST))
        return nullptr;
    Descriptor opened = openAt(made.directory, made.name, O_PATH | O_DIRECTORY | O_NOFOLLOW);
    const int error = errno;
    if (!opened && (error != ENOTDIR || isLink(made))) {
        errno = error;
        return nullptr;
    }
    return static_cast<HandleObject*>(new TargetDirectory(std::move(opened), error));
}

BOOL isCopyTarget(HANDLE search, const char* /*fullName*/, HANDLE target) noexcept {
    FileIdentity identity;
    return identity.read(searchOf(search)->entry(), AT_SYMLINK_NOFOLLOW) &&
           identity == targetOf(target).identity;
}

void closeCopyTarget(HANDLE target) noexcept {
    delete static_cast<HandleObject*>(target);
}

BOOL copyFound(HANDLE search, const char* /*fullName*/, HANDLE target, const char* /*fullTarget*/,
               BOOL failIfExists) noexcept {
    const EntryAt entry = searchOf(search)->entry();
    const TargetDirectory& into = targetOf(target);
    if (!into.directory) {
        errno = into.error;
        return failWithErrno();
    }
    return copyEntry(entry, {into.directory.get(), entry.name}, failIfExists != FALSE);
}

}  // namespace Sorvex::platform
