#include "platform/posix/files/find.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <utility>

#include "platform/posix/base/errors.h"
#include "platform/posix/files/file_search.h"
#include "platform/posix/files/host_path.h"

namespace Sorvex::platform {

namespace {

// The two halves of a search text.
class SearchText {
public:
    explicit SearchText(const char* text) noexcept : path(withoutServer(text)) {
        const std::string_view name(text);
        const std::size_t separator = name.find_last_of("\\/");
        if (separator != std::string_view::npos)
            pattern = name.substr(separator + 1);
        else
            pattern = name.substr(startsWithDrive(text) ? 2 : 0);
        splitPath();
    }

    bool isTooLong() const noexcept {
        return path.view().size() >= PATH_MAX || pattern.size() > Wildcard::maximumLength;
    }

    const char* wholePath() const noexcept { return path.c_str(); }
    const char* directoryPath() const noexcept { return directory; }
    std::string_view shownPattern() const noexcept { return pattern; }

private:
    // What has only separators before its last part lies in the root, and on no server.
    static const char* withoutServer(const char* text) noexcept {
        const std::size_t separators = std::strspn(text, "\\/");
        return std::strpbrk(text + separators, "\\/") == nullptr && separators > 1
                   ? text + separators - 1
                   : text;
    }

    void splitPath() noexcept {
        const std::string_view name = path.view();
        const std::size_t separator = name.rfind('/');
        std::string_view holder = name.empty() ? "" : ".";
        if (separator == 0)
            holder = "/";
        else if (separator != std::string_view::npos)
            holder = name.substr(0, separator);
        holder.copy(directory, holder.size());
        directory[holder.size()] = '\0';
    }

    HostPath path;
    std::string_view pattern;
    char directory[PATH_MAX + 1];
};

bool isHostRoot(const char* hostName) noexcept {
    return !isBelowHostRoot({AT_FDCWD, hostName}, 0) && errno == EBUSY;
}

HANDLE listDirectory(const SearchText& text, FileSearch::Looks looks, WIN32_FIND_DATAA& data) {
    Descriptor opened = openDirectory({AT_FDCWD, text.directoryPath()}, O_RDONLY);
    if (!opened)
        return INVALID_HANDLE_VALUE;
    const bool hasDots = !isHostRoot(text.directoryPath());
    return startSearch(
        std::make_unique<FileSearch>(std::move(opened), text.shownPattern(), looks, hasDots), data);
}

HANDLE findFirst(const char* text, FileSearch::Looks looks, WIN32_FIND_DATAA& data) {
    const SearchText name(text);
    if (name.isTooLong())
        return failSearch(ERROR_FILENAME_EXCED_RANGE);
    if (Wildcard::isIn(name.shownPattern()))
        return listDirectory(name, looks, data);
    if (isDotEntry(name.shownPattern()) && isHostRoot(name.directoryPath()))
        return failSearch(ERROR_FILE_NOT_FOUND);
    return findEntry(Descriptor(), name.wholePath(), name.shownPattern(), data);
}

}  // namespace

HANDLE FindFirstFileA(const char* text, WIN32_FIND_DATAA* data) {
    return findFirst(text, FileSearch::Looks::all, *data);
}

HANDLE findFirstDirectory(const char* text, WIN32_FIND_DATAA* data) {
    return findFirst(text, FileSearch::Looks::directories, *data);
}

HANDLE findFirstFile(const char* text, WIN32_FIND_DATAA* data) {
    return findFirst(text, FileSearch::Looks::files, *data);
}

BOOL FindNextFileA(HANDLE search, WIN32_FIND_DATAA* data) {
    FileSearch* const found = searchOf(search);
    if (found == nullptr)
        return failWith(ERROR_INVALID_HANDLE);
    return found->next(*data) ? TRUE : FALSE;
}

BOOL FindClose(HANDLE search) {
    return CloseHandle(search == INVALID_HANDLE_VALUE ? nullptr : search);
}

}  // namespace Sorvex::platform
