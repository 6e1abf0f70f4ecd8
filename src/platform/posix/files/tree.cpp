#include "platform/posix/files/tree.h"

#include <cerrno>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/base/errors.h"
#include "platform/posix/files/copy.h"
#include "platform/posix/files/entry.h"
#include "platform/posix/files/host_path.h"
#include "platform/posix/files/paths.h"
#include "platform/posix/files/search.h"

namespace Sorvex::platform {

namespace {

constexpr mode_t directoryMode = 0777;

// A directory that files are copied into.
class CopyTarget final : public HandleObject {
public:
    CopyTarget(Descriptor opened, int whyNot) noexcept
        : directory(std::move(opened)), error(whyNot) {
        if (directory)
            identity.read({directory.get(), ""}, AT_EMPTY_PATH);
    }

    Descriptor directory;
    int error;  // why the directory isn't open, if it isn't
    FileIdentity identity;
};

CopyTarget& targetOf(HANDLE handle) noexcept {
    return static_cast<CopyTarget&>(*static_cast<HandleObject*>(handle));
}

HANDLE listForWalk(Descriptor opened, std::string_view pattern, WIN32_FIND_DATAA& data) {
    if (!opened)
        return INVALID_HANDLE_VALUE;
    return startSearch(std::make_unique<Search>(std::move(opened), pattern, Search::Scope::walk),
                       data);
}

HANDLE listBelow(const Search& above, WIN32_FIND_DATAA& data) {
    return listForWalk(
        openDirectory(above.directoryNumber(), above.entryName(), O_RDONLY | O_NOFOLLOW), "*",
        data);
}

// The directory that a removal starts from, closed and with the last error set when it is refused.
Descriptor withoutHostRoot(Descriptor opened) noexcept {
    if (!opened || !isHostRoot(opened.get(), "", AT_EMPTY_PATH))
        return opened;
    SetLastError(ERROR_CURRENT_DIRECTORY);
    errno = EBUSY;
    return Descriptor();
}

bool hasSeparator(std::string_view pattern) noexcept {
    return pattern.find_first_of("\\/") != std::string_view::npos;
}

// A pattern with directories of its own lists entries that lie elsewhere than what their full names
// name; those names are then all that counts.
HANDLE findElsewhere(const char* directory, const char* pattern, WIN32_FIND_DATAA* data) {
    const std::string text = std::string(directory) + '\\' + pattern;
    HANDLE found = FindFirstFileA(text.c_str(), data);
    if (Search* const search = searchOf(found))
        search->setElsewhere();
    return found;
}

}  // namespace

HANDLE findFirstToEmpty(const char* directory, const char* pattern, WIN32_FIND_DATAA* data) {
    const bool lists = Wildcard::isIn(pattern);
    Descriptor opened = withoutHostRoot(
        openDirectory(AT_FDCWD, HostPath(directory).c_str(), lists ? O_RDONLY : O_PATH));
    if (!opened)
        return INVALID_HANDLE_VALUE;
    if (hasSeparator(pattern))
        return findElsewhere(directory, pattern, data);
    if (lists)
        return listForWalk(std::move(opened), pattern, *data);
    return findEntry(std::move(opened), HostPath(pattern).c_str(), pattern, *data);
}

HANDLE findFirstToRemove(HANDLE above, const char* fullName, WIN32_FIND_DATAA* data) {
    const Search* const search = searchOf(above);
    if (search != nullptr && search->leads())
        return listBelow(*search, *data);
    HostPath path(fullName);
    path.dropTrailingDots();
    return listForWalk(
        withoutHostRoot(openDirectory(AT_FDCWD, path.c_str(), O_RDONLY | O_NOFOLLOW)), "*", *data);
}

HANDLE findFirstToCopy(HANDLE above, const char* fullName, WIN32_FIND_DATAA* data) {
    if (const Search* const search = searchOf(above))
        return listBelow(*search, *data);
    return listForWalk(openDirectory(AT_FDCWD, HostPath(fullName).c_str(), O_RDONLY), "*", *data);
}

int removeFound(HANDLE search, const char* fullName) noexcept {
    const Search& found = *searchOf(search);
    if (!found.leads())
        return remove(fullName);
    return unlinkat(found.directoryNumber(), found.entryName(), 0);
}

int removeFoundDirectory(HANDLE search, const char* fullName) noexcept {
    const Search* const found = searchOf(search);
    if (found == nullptr || !found->leads())
        return _rmdir(fullName);
    return removeDirectory({found->directoryNumber(), found->entryName()});
}

HANDLE openCopyTarget(const char* name) {
    Descriptor opened = openAt(AT_FDCWD, HostPath(name).c_str(), O_PATH | O_DIRECTORY);
    const int error = errno;
    return static_cast<HandleObject*>(new CopyTarget(std::move(opened), error));
}

HANDLE makeCopyTarget(HANDLE search, HANDLE target, const char* /*fullName*/) {
    const CopyTarget& above = targetOf(target);
    const int directory = above.directory.get();
    const char* const name = searchOf(search)->entryName();
    errno = above.error;
    if (!above.directory || (mkdirat(directory, name, directoryMode) != 0 && errno != EEXIST))
        return nullptr;
    Descriptor opened = openAt(directory, name, O_PATH | O_DIRECTORY | O_NOFOLLOW);
    const int error = errno;
    if (!opened && (error != ENOTDIR || isLink({directory, name}))) {
        errno = error;
        return nullptr;
    }
    return static_cast<HandleObject*>(new CopyTarget(std::move(opened), error));
}

BOOL isCopyTarget(HANDLE search, const char* /*fullName*/, HANDLE target) noexcept {
    const Search& found = *searchOf(search);
    FileIdentity identity;
    return identity.read({found.directoryNumber(), found.entryName()}, AT_SYMLINK_NOFOLLOW) &&
           identity == targetOf(target).identity;
}

void closeCopyTarget(HANDLE target) noexcept {
    delete static_cast<HandleObject*>(target);
}

BOOL copyFound(HANDLE search, const char* /*fullName*/, HANDLE target, const char* /*fullTarget*/,
               BOOL failIfExists) noexcept {
    const Search& found = *searchOf(search);
    const CopyTarget& into = targetOf(target);
    if (!into.directory) {
        errno = into.error;
        setLastErrorFromErrno();
        return FALSE;
    }
    return copyEntry({found.directoryNumber(), found.entryName()},
                     {into.directory.get(), found.entryName()}, failIfExists != FALSE);
}

}  // namespace Sorvex::platform
