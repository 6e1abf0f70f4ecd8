// What the handle of a search stands for.
#ifndef SORVEX_PLATFORM_POSIX_FILES_SEARCH_H
#define SORVEX_PLATFORM_POSIX_FILES_SEARCH_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/posix/base/descriptor.h"
#include "platform/posix/base/handles.h"
#include "platform/posix/files/find.h"
#include "platform/posix/files/wildcard.h"

struct dirent64;

namespace Sorvex::platform {

/// The matching entries of an open directory, one after the other. The host delivers them in
/// blocks, so a listing needs the same memory whatever its length.
class Search final : public HandleObject {
public:
    enum class Scope {
        listing,             ///< every match, `.` and `..` first
        listingWithoutDots,  ///< every match but these two
        walk                 ///< the same, and no facts unless they are asked for
    };

    Search(Descriptor opened, std::string_view wildcards, Scope scope);

    /// A search that stands on the one entry that it has, seen from the directory (from the current
    /// one when none is open).
    Search(Descriptor opened, const char* hostName);

    /// Steps to the next match. False with the last error set when there is none.
    bool next(WIN32_FIND_DATAA& data);

    /// Adds the facts of the present entry that are still missing.
    void complete(WIN32_FIND_DATAA& data) noexcept;

    /// Notes that the entries don't lie where their full names say.
    void setElsewhere() noexcept { isElsewhere = true; }

    /// Whether a walk goes on from the directory that holds the entry, and not by full names.
    bool leads() const noexcept { return !isElsewhere; }

    int directoryNumber() const noexcept;
    const char* entryName() const noexcept { return entry.c_str(); }

private:
    const dirent64* nextListed();
    bool refill();
    bool take(std::string_view hostName, unsigned char kind, WIN32_FIND_DATAA& data);

    Descriptor directory;
    std::optional<Wildcard> pattern;
    std::string entry;              // the present one, as the host names it
    std::unique_ptr<char[]> block;  // of entries, as the host delivers them
    std::size_t blockSize = 0;
    std::size_t position = 0;  // in the block
    int dotsLeft = 0;          // of `.` and `..`
    int looksLeft = 0;         // at entries ahead of being asked
    bool isComplete = false;   // nothing more is to be known about the present entry
    bool isAtEnd = false;
    bool isElsewhere = false;
};

/// The search behind a handle; null for no search.
Search* searchOf(HANDLE handle) noexcept;

/// Opens a directory, to list it or (O_PATH) to start from it. On failure the last error is set as
/// for a search.
Descriptor openDirectory(int from, const char* hostName, int flags) noexcept;

/// Steps a new search to its first match and gives its handle, as FindFirstFileA does.
HANDLE startSearch(std::unique_ptr<Search> search, WIN32_FIND_DATAA& data);

/// Looks for one entry and gives the handle of a search that stands on it, as FindFirstFileA does.
///
/// @param opened the directory that the entry's name is seen from; the current one when none is
///     open
/// @param shownName the last part of the name in the library's spelling
HANDLE findEntry(Descriptor opened, const char* hostName, std::string_view shownName,
                 WIN32_FIND_DATAA& data);

/// Whether a name, seen from an open directory, is that of the host's root.
bool isHostRoot(int directory, const char* name, int flags) noexcept;

}  // namespace Sorvex::platform

#endif
