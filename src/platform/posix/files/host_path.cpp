#include "platform/posix/files/host_path.h"

#include <cstring>

namespace Sorvex::platform {

namespace {

constexpr bool isLetter(char character) noexcept {
    const char lower = static_cast<char>(character | 0x20);
    return lower >= 'a' && lower <= 'z';
}

constexpr char homeDrive = 'C';

bool isHomeDrive(char letter) noexcept {
    return (letter & ~0x20) == homeDrive;
}

}  // namespace

bool startsWithDrive(const char* name) noexcept {
    return isLetter(name[0]) && name[1] == ':';
}

bool startsWithServer(const char* name) noexcept {
    return isSeparator(name[0]) && isSeparator(name[1]) && name[2] != '\0' && !isSeparator(name[2]);
}

HostPath::HostPath(const char* name) noexcept {
    text[0] = '\0';
    if (name == nullptr || startsWithServer(name))
        return;
    if (!startsWithDrive(name))
        append(name);
    else if (isHomeDrive(name[0]))
        append(name[2] == '\0' ? "/" : name + 2);
}

HostPath HostPath::ofEntry(const char* name) noexcept {
    HostPath path;
    if (std::strpbrk(name, "\\/") == nullptr)
        path.append(name);
    return path;
}

void HostPath::append(const char* name) noexcept {
    while (*name != '\0' && length < limit) {
        if (std::strncmp(name, shownBackslash.data(), shownBackslash.size()) == 0) {
            text[length++] = '\\';
            name += shownBackslash.size();
        } else {
            text[length++] = *name == '\\' ? '/' : *name;
            ++name;
        }
    }
    text[length] = '\0';
}

void HostPath::dropTrailingSeparators() noexcept {
    if (length == limit)
        return;
    while (length > 1 && text[length - 1] == '/')
        --length;
    text[length] = '\0';
}

void HostPath::dropTrailingDots() noexcept {
    dropTrailingSeparators();
    while (length < limit && view().ends_with("/.")) {
        --length;
        dropTrailingSeparators();
    }
    text[length] = '\0';
}

char* writeLibraryName(std::string_view hostName, char* target, std::size_t room) noexcept {
    for (const char character : hostName) {
        const bool isBackslash = character == '\\';
        const std::size_t needed = isBackslash ? shownBackslash.size() : 1;
        if (room < needed)
            return nullptr;
        if (isBackslash)
            std::memcpy(target, shownBackslash.data(), needed);
        else
            *target = character == '/' ? '\\' : character;
        target += needed;
        room -= needed;
    }
    return target;
}

std::string libraryName(std::string_view hostName) {
    std::string name;
    name.reserve(hostName.size() + 2);
    if (!hostName.empty() && hostName.front() == '/')
        name = "C:";
    for (const char character : hostName) {
        if (character == '\\')
            name += shownBackslash;
        else
            name += character == '/' ? '\\' : character;
    }
    return name;
}

}  // namespace Sorvex::platform
