#include "platform/posix/files/file_search.h"

#include <cerrno>
#include <utility>

#include <dirent.h>

#include "platform/posix/base/errors.h"
#include "platform/posix/base/retried.h"
#include "platform/posix/files/host_path.h"

namespace Sorvex::platform {

namespace {

// What the host's own directory streams use: enough for a few hundred entries.
constexpr std::size_t blockCapacity = 32768;

constexpr DWORD sizeShift = 32;

// The facts (stat) of the record: the time of the last change stands in where birth isn't kept.
bool lookAt(EntryAt entry, struct statx& facts) noexcept {
    return factsOf(entry, AT_SYMLINK_NOFOLLOW, facts,
                   STATX_TYPE | STATX_MODE | STATX_SIZE | STATX_ATIME | STATX_MTIME | STATX_CTIME |
                       STATX_BTIME);
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

// Some file systems have names beyond the host's own limit. They are cut where the record ends: far
// behind the longest full name, so that no cut name can be taken for that of another entry.
constexpr std::size_t nameRoom = sizeof WIN32_FIND_DATAA::cFileName - 1;

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
    data.cFileName[shownName.copy(data.cFileName, nameRoom)] = '\0';
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
    explicit ShownName(std::string_view hostName) noexcept : name(hostName.substr(0, nameRoom)) {
        if (name.find('\\') == std::string_view::npos)
            return;
        const char* const end = writeLibraryName(name, storage, sizeof storage);
        name = {storage, static_cast<std::size_t>(end - storage)};
    }

    std::string_view view() const noexcept { return name; }

private:
    std::string_view name;
    char storage[nameRoom * shownBackslash.size()];
};

// Says why a look-up has found nothing: for want of the entry, or of the directory that would hold
// it.
HANDLE failLookUp(int directory, std::string_view hostName) {
    if (errno != ENOENT)
        return failSearch(errorFromErrno(errno));
    const std::string holder(hostName.substr(0, hostName.rfind('/') + 1));
    struct statx facts;
    const bool hasDirectory =
        holder.empty() ? !hostName.empty() : lookAt({directory, holder.c_str()}, facts);
    return failSearch(hasDirectory ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND);
}

}  // namespace

FileSearch::FileSearch(Descriptor opened, std::string_view wildcards, Looks lookedAt, bool hasDots)
    : directory(std::move(opened)),
      pattern(wildcards),
      looks(lookedAt),
      dotsLeft(hasDots ? 2 : 0) {}

FileSearch::FileSearch(Descriptor opened, const char* hostName)
    : directory(std::move(opened)), present(hostName), isAtEnd(true) {}

EntryAt FileSearch::entry() const noexcept {
    return {directory ? directory.get() : AT_FDCWD, present.c_str()};
}

bool FileSearch::next(WIN32_FIND_DATAA& data) {
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
    // The last entry is asked about at the end of a listing, too, even if it was passed over.
    struct statx facts;
    if (looks != Looks::none && !isWhole && lookAt(entry(), facts))
        storeFacts(facts, data);
    isWhole = true;
    return false;
}

const dirent64* FileSearch::nextListed() {
    if (position == blockSize && !refill())
        return nullptr;
    const auto* const listed = reinterpret_cast<const dirent64*>(block.get() + position);
    position += listed->d_reclen;
    return listed;
}

bool FileSearch::refill() {
    if (isAtEnd)
        return failWith(ERROR_NO_MORE_FILES);
    if (block == nullptr)
        block.reset(new char[blockCapacity]);
    const ssize_t size =
        retried([&] { return getdents64(directory.get(), block.get(), blockCapacity); });
    // A directory that has been removed has no entries any more.
    if (size == 0 || (size < 0 && errno == ENOENT)) {
        isAtEnd = true;
        return failWith(ERROR_NO_MORE_FILES);
    }
    if (size < 0)
        return failWithErrno();
    blockSize = static_cast<std::size_t>(size);
    position = 0;
    return true;
}

bool FileSearch::isLookedAt(unsigned char kind) const noexcept {
    return looks == Looks::all || (looks == Looks::directories && kind == DT_DIR) ||
           (looks == Looks::files && kind != DT_DIR);
}

bool FileSearch::take(std::string_view hostName, unsigned char kind, WIN32_FIND_DATAA& data) {
    const ShownName shown(hostName);
    if (!pattern->matches(shown.view()))
        return false;
    present = hostName;
    struct statx facts;
    // Some file systems leave the kind to stat.
    const bool isAsked = kind == DT_UNKNOWN || isLookedAt(kind);
    isWhole = isAsked && lookAt(entry(), facts);
    if (isAsked && !isWhole && errno == ENOENT) {
        // It has been removed since the host listed it.
        isWhole = true;
        return false;
    }
    if (isWhole)
        kind = kindOf(facts);
    storeListed(shown.view(), listedAttributesOf(hostName, kind), data);
    if (isWhole)
        storeFacts(facts, data);
    return true;
}

FileSearch* searchOf(HANDLE handle) noexcept {
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE)
        return nullptr;
    return static_cast<FileSearch*>(static_cast<HandleObject*>(handle));
}

Descriptor openDirectory(EntryAt entry, int flags) noexcept {
    Descriptor opened = openAt(entry.directory, entry.name, flags | O_DIRECTORY);
    if (!opened)
        SetLastError(errno == ENOENT ? ERROR_PATH_NOT_FOUND : errorFromErrno(errno));
    return opened;
}

HANDLE startSearch(std::unique_ptr<FileSearch> search, WIN32_FIND_DATAA& data) {
    if (search->next(data))
        return static_cast<HandleObject*>(search.release());
    return failSearch(GetLastError() == ERROR_NO_MORE_FILES ? ERROR_FILE_NOT_FOUND
                                                            : GetLastError());
}

HANDLE findEntry(Descriptor opened, const char* hostName, std::string_view shownName,
                 WIN32_FIND_DATAA& data) {
    auto search = std::make_unique<FileSearch>(std::move(opened), hostName);
    struct statx facts;
    // With a separator at its end the name would be that of the directory.
    errno = ENOENT;
    if (shownName.empty() || !lookAt(search->entry(), facts))
        return failLookUp(search->entry().directory, hostName);
    storeListed(shownName, listedAttributesOf(shownName, kindOf(facts)), data);
    storeFacts(facts, data);
    return static_cast<HandleObject*>(search.release());
}

HANDLE failSearch(DWORD error) noexcept {
    SetLastError(error);
    return INVALID_HANDLE_VALUE;
}

}  // namespace Sorvex::platform
