// How the names of files that the application gives map to those of the host, and back.
//
// Drive C: is the host's root, no other drive and no server exists, and both separators count. A
// backslash inside a name of the host stands as U+F05C in the library's spelling.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Sorvex::platform {

/// The bytes that a backslash inside a name of the host is shown as: U+F05C in UTF-8.
inline constexpr std::string_view shownBackslash = "\xEF\x81\x9C";

/// Tells whether a character separates the parts of a name.
constexpr bool isSeparator(char character) noexcept {
    return character == '\\' || character == '/';
}

/// Tells whether a name begins with a drive: a letter and a colon.
bool startsWithDrive(const char* name) noexcept;

/// Tells whether a name is that of a server: two separators and no third.
bool startsWithServer(const char* name) noexcept;

/// A name in the host's spelling, made without an allocation.
///
/// A name that can't exist here (another drive, a server, the empty name, null) is the empty name,
/// which the host refuses with ENOENT wherever it is used. A name that is too long for the host
/// stays too long, so that the host refuses it with ENAMETOOLONG.
class HostPath {
public:
    explicit HostPath(const char* name) noexcept;

    /// The name of an entry of some directory: text in which no drive or root counts. What holds a
    /// separator names no entry and is the empty name.
    static HostPath ofEntry(const char* name) noexcept;

    const char* c_str() const noexcept { return text; }
    std::string_view view() const noexcept { return {text, length}; }

    /// Drops separators at the end, so that the name of a link is that of the link itself. The root
    /// keeps one. A name that is too long keeps all, since what stood behind them is cut off.
    void dropTrailingSeparators() noexcept;

    /// The same for parts at the end that are a mere dot. A name that is one dot stays.
    void dropTrailingDots() noexcept;

private:
    HostPath() noexcept { text[0] = '\0'; }
    void append(const char* name) noexcept;

    // One more than the host takes, its terminator included.
    static constexpr std::size_t limit = 4096;

    std::size_t length = 0;
    char text[limit + 1];
};

/// The library's spelling of a name of the host: C:\ and what follows for an absolute one, the
/// separators turned for a relative one or the name of an entry.
std::string libraryName(std::string_view hostName);

/// Writes the library's spelling of a name of the host without its drive and without a terminator.
///
/// @return the end of what was written, or null when there isn't room for so many bytes
char* writeLibraryName(std::string_view hostName, char* target, std::size_t room) noexcept;

}  // namespace Sorvex::platform
