// What the handle of a search stands for.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/posix/base/descriptor.h"
#include "platform/posix/base/handles.h"
#include "platform/posix/files/entry.h"
#include "platform/posix/files/find_data.h"
#include "platform/posix/files/wildcard.h"

struct dirent64;

namespace Sorvex::platform {

/// The matching entries of an open directory, one after the other. The host delivers them in
/// blocks, so a listing needs the same memory whatever its length.
class FileSearch final : public HandleObject {
public:
    /// Of which entries more is told than the listing itself knows, for a look at each (stat).
    enum class Looks { all, directories, files, none };

    FileSearch(Descriptor opened, std::string_view wildcards, Looks lookedAt, bool hasDots);

    /// A search that stands on the one entry that it has, seen from the directory (from the current
    /// one when none is open).
    FileSearch(Descriptor opened, const char* hostName);

    /// Steps to the next match. False with the last error set when there is none.
    bool next(WIN32_FIND_DATAA& data);

    /// The entry that the search stands on. It holds as long as the search stands there.
    EntryAt entry() const noexcept;

private:
    const dirent64* nextListed();
    bool refill();
    bool take(std::string_view hostName, unsigned char kind, WIN32_FIND_DATAA& data);
    bool isLookedAt(unsigned char kind) const noexcept;

    Descriptor directory;
    std::optional<Wildcard> pattern;
    std::string present;            // the entry, as the host names it
    std::unique_ptr<char[]> block;  // of entries, as the host delivers them
    std::size_t blockSize = 0;
    std::size_t position = 0;  // in the block
    Looks looks = Looks::all;
    int dotsLeft = 0;     // of `.` and `..`
    bool isWhole = true;  // nothing more is to be told of the entry
    bool isAtEnd = false;
};

/// The search behind a handle; null for no search.
FileSearch* searchOf(HANDLE handle) noexcept;

/// Opens a directory, to list it or (O_PATH) to start from it. On failure the last error is set as
/// for a search.
Descriptor openDirectory(EntryAt entry, int flags) noexcept;

/// Steps a new search to its first match and gives its handle, as FindFirstFileA does.
HANDLE startSearch(std::unique_ptr<FileSearch> search, WIN32_FIND_DATAA& data);

/// Looks for one entry and gives the handle of a search that stands on it, as FindFirstFileA does.
///
/// @param opened the directory that the entry's name is seen from; the current one when none is
///     open
/// @param shownName the last part of the name in the library's spelling
HANDLE findEntry(Descriptor opened, const char* hostName, std::string_view shownName,
                 WIN32_FIND_DATAA& data);

/// INVALID_HANDLE_VALUE, with this last error.
HANDLE failSearch(DWORD error) noexcept;

/// Whether a name is `.` or `..`.
constexpr bool isDotEntry(std::string_view name) noexcept {
    return name == "." || name == "..";
}

}  // namespace Sorvex::platform
