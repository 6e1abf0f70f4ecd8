#include "platform/posix/files/find.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "platform/posix/base/errors.h"
#include "platform/posix/files/entry.h"
#include "platform/posix/files/host_path.h"
#include "platform/posix/files/search.h"

namespace Sorvex::platform {

namespace {

// What the host's own directory streams use: enough for a few hundred entries.
constexpr std::size_t blockCapacity = 32768;

// How many entries in a row are looked at though nobody has asked for the facts of any. An
// application that asks gets those that an entry had when the listing came to it, one that wants
// only names pays for no more than these looks.
constexpr int looksAhead = 4;

constexpr DWORD sizeShift = 32;

bool isDotEntry(std::string_view name) noexcept {
    return name == "." || name == "..";
}

bool lookAt(int directory, const char* name, struct statx& facts) noexcept {
    return statx(directory, name, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &facts) ==
           0;
}

unsigned char kindOf(const struct statx& facts) noexcept {
    return static_cast<unsigned char>(IFTODT(facts.stx_mode));
}

FILETIME asFileTime(const statx_timestamp& time) noexcept {
    return fileTimeFromHost(time.tv_sec, time.tv_nsec);
}

FILETIME creationTime(const struct statx& facts) noexcept {
    if ((facts.stx_mask & STATX_BTIME) != 0)
        return asFileTime(facts.stx_btime);
    const FILETIME change = asFileTime(facts.stx_ctime);
    const FILETIME write = asFileTime(facts.stx_mtime);
    return fileTimeTicks(change) < fileTimeTicks(write) ? change : write;
}

DWORD listedAttributesOf(std::string_view name, unsigned char kind) noexcept {
    DWORD attributes = 0;
    if (kind == DT_DIR)
        attributes |= FILE_ATTRIBUTE_DIRECTORY;
    if (kind == DT_LNK)
        attributes |= FILE_ATTRIBUTE_REPARSE_POINT;
    if (name.front() == '.' && !isDotEntry(name))
        attributes |= FILE_ATTRIBUTE_HIDDEN;
    return attributes == 0 ? FILE_ATTRIBUTE_NORMAL : attributes;
}

// What the listing alone tells of an entry.
void storeListed(std::string_view shownName, DWORD attributes, WIN32_FIND_DATAA& data) noexcept {
    data.dwFileAttributes = attributes;
    data.ftCreationTime = {};
    data.ftLastAccessTime = {};
    data.ftLastWriteTime = {};
    data.nFileSizeHigh = 0;
    data.nFileSizeLow = 0;
    data.dwReserved0 = 0;
    data.dwReserved1 = 0;
    shownName.copy(data.cFileName, shownName.size());
    data.cFileName[shownName.size()] = '\0';
    data.cAlternateFileName[0] = '\0';
}

// What only the entry itself tells.
void storeFacts(const struct statx& facts, WIN32_FIND_DATAA& data) noexcept {
    if ((facts.stx_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0)
        data.dwFileAttributes =
            (data.dwFileAttributes & ~FILE_ATTRIBUTE_NORMAL) | FILE_ATTRIBUTE_READONLY;
    data.ftCreationTime = creationTime(facts);
    data.ftLastAccessTime = asFileTime(facts.stx_atime);
    data.ftLastWriteTime = asFileTime(facts.stx_mtime);
    if (S_ISREG(facts.stx_mode)) {
        data.nFileSizeHigh = static_cast<DWORD>(facts.stx_size >> sizeShift);
        data.nFileSizeLow = static_cast<DWORD>(facts.stx_size);
    }
}

// The name of an entry in the library's spelling, which differs only where a backslash is in it.
class ShownName {
public:
    explicit ShownName(std::string_view hostName) noexcept : name(hostName) {
        if (name.find('\\') == std::string_view::npos)
            return;
        const char* const end = writeLibraryName(name, storage, storage + sizeof storage);
        name = {storage, static_cast<std::size_t>(end - storage)};
    }

    std::string_view view() const noexcept { return name; }

private:
    std::string_view name;
    char storage[sizeof WIN32_FIND_DATAA::cFileName];
};

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

// Only a name made of dots and separators can be the root, or one that climbs.
bool mayBeHostRoot(std::string_view hostName) noexcept {
    return hostName.find_first_not_of("./") == std::string_view::npos ||
           hostName.find("..") != std::string_view::npos;
}

HANDLE failSearch(DWORD error) noexcept {
    SetLastError(error);
    return INVALID_HANDLE_VALUE;
}

// Says why a look-up has found nothing: for want of the entry, or of the directory that would hold
// it.
HANDLE failLookUp(int directory, std::string_view hostName) {
    if (errno != ENOENT)
        return failSearch(errorFromErrno(errno));
    const std::string holder(hostName.substr(0, hostName.rfind('/') + 1));
    struct statx facts;
    const bool hasDirectory =
        holder.empty() ? !hostName.empty() : lookAt(directory, holder.c_str(), facts);
    return failSearch(hasDirectory ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND);
}

HANDLE listDirectory(const SearchText& text, WIN32_FIND_DATAA& data) {
    Descriptor opened = openDirectory(AT_FDCWD, text.directoryPath(), O_RDONLY);
    if (!opened)
        return INVALID_HANDLE_VALUE;
    const bool isRoot =
        mayBeHostRoot(text.directoryPath()) && isHostRoot(opened.get(), "", AT_EMPTY_PATH);
    return startSearch(std::make_unique<Search>(
                           std::move(opened), text.shownPattern(),
                           isRoot ? Search::Scope::listingWithoutDots : Search::Scope::listing),
                       data);
}

}  // namespace

Search::Search(Descriptor opened, std::string_view wildcards, Scope scope)
    : directory(std::move(opened)),
      pattern(wildcards),
      dotsLeft(scope == Scope::listing ? 2 : 0),
      looksLeft(scope == Scope::walk ? 0 : looksAhead) {}

Search::Search(Descriptor opened, const char* hostName)
    : directory(std::move(opened)), entry(hostName), isComplete(true), isAtEnd(true) {}

int Search::directoryNumber() const noexcept {
    return directory ? directory.get() : AT_FDCWD;
}

bool Search::next(WIN32_FIND_DATAA& data) {
    while (dotsLeft > 0) {
        --dotsLeft;
        if (take(dotsLeft == 1 ? "." : "..", DT_DIR, data))
            return true;
    }
    while (const dirent64* listed = nextListed()) {
        const std::string_view name(listed->d_name);
        if (!isDotEntry(name) && take(name, listed->d_type, data))
            return true;
    }
    return false;
}

const dirent64* Search::nextListed() {
    if (position == blockSize && !refill())
        return nullptr;
    const auto* const listed = reinterpret_cast<const dirent64*>(block.get() + position);
    position += listed->d_reclen;
    return listed;
}

bool Search::refill() {
    if (isAtEnd) {
        SetLastError(ERROR_NO_MORE_FILES);
        return false;
    }
    if (block == nullptr)
        block.reset(new char[blockCapacity]);
    ssize_t size;
    do
        size = getdents64(directory.get(), block.get(), blockCapacity);
    while (size < 0 && errno == EINTR);
    // A directory that has been removed has no entries any more.
    if (size == 0 || (size < 0 && errno == ENOENT)) {
        isAtEnd = true;
        SetLastError(ERROR_NO_MORE_FILES);
        return false;
    }
    if (size < 0) {
        setLastErrorFromErrno();
        return false;
    }
    blockSize = static_cast<std::size_t>(size);
    position = 0;
    return true;
}

bool Search::take(std::string_view hostName, unsigned char kind, WIN32_FIND_DATAA& data) {
    const ShownName shown(hostName);
    if (!pattern->matches(shown.view()))
        return false;
    entry = hostName;
    struct statx facts;
    const bool isDot = isDotEntry(hostName);
    const bool looks = kind == DT_UNKNOWN || (looksLeft > 0 && !isDot);
    isComplete = looks && lookAt(directory.get(), entryName(), facts);
    if (kind == DT_UNKNOWN && isComplete)
        kind = kindOf(facts);
    storeListed(shown.view(), listedAttributesOf(hostName, kind), data);
    if (isComplete)
        storeFacts(facts, data);
    if (looksLeft > 0 && !isDot)
        --looksLeft;
    return true;
}

void Search::complete(WIN32_FIND_DATAA& data) noexcept {
    looksLeft = looksAhead;
    struct statx facts;
    if (!isComplete && lookAt(directoryNumber(), entryName(), facts))
        storeFacts(facts, data);
    isComplete = true;
}

Search* searchOf(HANDLE handle) noexcept {
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE)
        return nullptr;
    return static_cast<Search*>(static_cast<HandleObject*>(handle));
}

Descriptor openDirectory(int from, const char* hostName, int flags) noexcept {
    Descriptor opened = openAt(from, hostName, flags | O_DIRECTORY);
    if (!opened)
        SetLastError(errno == ENOENT ? ERROR_PATH_NOT_FOUND : errorFromErrno(errno));
    return opened;
}

HANDLE startSearch(std::unique_ptr<Search> search, WIN32_FIND_DATAA& data) {
    if (search->next(data))
        return static_cast<HandleObject*>(search.release());
    return failSearch(GetLastError() == ERROR_NO_MORE_FILES ? ERROR_FILE_NOT_FOUND
                                                            : GetLastError());
}

HANDLE findEntry(Descriptor opened, const char* hostName, std::string_view shownName,
                 WIN32_FIND_DATAA& data) {
    auto search = std::make_unique<Search>(std::move(opened), hostName);
    struct statx facts;
    // With a separator at its end the name would be that of the directory.
    errno = ENOENT;
    if (shownName.empty() || !lookAt(search->directoryNumber(), hostName, facts))
        return failLookUp(search->directoryNumber(), hostName);
    storeListed(shownName, listedAttributesOf(shownName, kindOf(facts)), data);
    storeFacts(facts, data);
    return static_cast<HandleObject*>(search.release());
}

bool isHostRoot(int directory, const char* name, int flags) noexcept {
    FileIdentity root;
    FileIdentity named;
    return named.read({directory, name}, flags) && root.read({AT_FDCWD, "/"}, 0) && named == root;
}

HANDLE FindFirstFileA(const char* text, WIN32_FIND_DATAA* data) {
    const SearchText name(text);
    if (name.isTooLong())
        return failSearch(ERROR_FILENAME_EXCED_RANGE);
    if (Wildcard::isIn(name.shownPattern()))
        return listDirectory(name, *data);
    if (isDotEntry(name.shownPattern()) && mayBeHostRoot(name.directoryPath()) &&
        isHostRoot(AT_FDCWD, name.directoryPath(), 0))
        return failSearch(ERROR_FILE_NOT_FOUND);
    return findEntry(Descriptor(), name.wholePath(), name.shownPattern(), *data);
}

BOOL FindNextFileA(HANDLE search, WIN32_FIND_DATAA* data) {
    Search* const found = searchOf(search);
    if (found == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return found->next(*data) ? TRUE : FALSE;
}

BOOL FindClose(HANDLE search) {
    return CloseHandle(search == INVALID_HANDLE_VALUE ? nullptr : search);
}

void completeFindData(HANDLE search, WIN32_FIND_DATAA* data) {
    if (Search* const found = searchOf(search))
        found->complete(*data);
}

}  // namespace Sorvex::platform
