#include "platform/posix/files/paths.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include "platform/posix/base/descriptor.h"
#include "platform/posix/files/copy.h"
#include "platform/posix/files/entry.h"
#include "platform/posix/files/host_path.h"

namespace Sorvex::platform {

namespace {

constexpr mode_t ordinaryBits = 0777;
constexpr mode_t specialBits = 07000;  // set-user-id, set-group-id, sticky

// The host's words for blocks and sockets hold the bit of a directory.
WORD modeWord(unsigned mode) noexcept {
    const unsigned kind = mode & S_IFMT;
    const bool isKnown = kind == S_IFREG || kind == S_IFDIR || kind == S_IFCHR || kind == S_IFIFO;
    return static_cast<WORD>((isKnown ? kind : 0) | (mode & (ordinaryBits | specialBits)));
}

std::int64_t creationSeconds(const struct statx& facts) noexcept {
    if ((facts.stx_mask & STATX_BTIME) != 0)
        return facts.stx_btime.tv_sec;
    return std::min(facts.stx_ctime.tv_sec, facts.stx_mtime.tv_sec);
}

EntryAt entryOf(const HostPath& path) noexcept {
    return {AT_FDCWD, path.c_str()};
}

// The last part of a name and the directory that holds it.
struct EntryName {
    explicit EntryName(std::string_view hostName) noexcept {
        const std::size_t separator = hostName.rfind('/');
        const std::size_t start = separator == std::string_view::npos ? 0 : separator + 1;
        entry = hostName.substr(start);
        const std::string_view holder = start == 0 ? "." : hostName.substr(0, start);
        holder.copy(directory, holder.size());
        directory[holder.size()] = '\0';
    }

    std::string_view entry;
    char directory[4098];
};

bool isInOneDirectory(const HostPath& first, const HostPath& second) noexcept {
    const EntryName firstEntry(first.view());
    const EntryName secondEntry(second.view());
    FileIdentity firstHolder;
    FileIdentity secondHolder;
    return firstEntry.entry == secondEntry.entry &&
           firstHolder.read({AT_FDCWD, firstEntry.directory}, 0) &&
           secondHolder.read({AT_FDCWD, secondEntry.directory}, 0) && firstHolder == secondHolder;
}

// Whether the links that begin with a name lead over a file or to it.
bool linksLeadTo(const FileIdentity& file, std::string name) {
    FileIdentity end;
    if (end.read({AT_FDCWD, name.c_str()}, 0) && end == file)
        return true;
    constexpr int mostLinks = 40;  // the host follows no more
    char behind[4096 + 1];
    for (int links = 0; links < mostLinks; ++links) {
        const ssize_t length = readlink(name.c_str(), behind, sizeof behind - 1);
        if (length <= 0)
            return false;
        behind[length] = '\0';
        name.replace(*behind == '/' ? 0 : name.rfind('/') + 1, std::string::npos, behind);
        FileIdentity met;
        if (met.read({AT_FDCWD, name.c_str()}, AT_SYMLINK_NOFOLLOW) && met == file)
            return true;
    }
    return false;
}

bool leadsTo(HostPath& first, HostPath& second) {
    first.dropTrailingSeparators();
    second.dropTrailingSeparators();
    struct statx facts;
    FileIdentity identity;
    if (!factsOf(entryOf(first), AT_SYMLINK_NOFOLLOW, facts) ||
        !identity.read(entryOf(second), AT_SYMLINK_NOFOLLOW))
        return false;
    if (FileIdentity(facts) != identity)
        return S_ISLNK(facts.stx_mode) && linksLeadTo(identity, std::string(first.view()));
    // Whatever the spelling, only one entry can lead to a directory or to a file with one link.
    return S_ISDIR(facts.stx_mode) || facts.stx_nlink == 1 || isInOneDirectory(first, second);
}

// For file systems that can't rename without replacing. Making a second link is exclusive too; what
// can't have one (a directory, anything on some file systems) is looked for first.
int renameInTwoSteps(const char* oldName, const char* newName) noexcept {
    if (linkat(AT_FDCWD, oldName, AT_FDCWD, newName, 0) == 0) {
        if (unlink(oldName) == 0)
            return 0;
        const int number = errno;
        unlink(newName);
        errno = number;
        return -1;
    }
    if (errno != EPERM && errno != EOPNOTSUPP)
        return -1;
    struct statx facts;
    if (factsOf({AT_FDCWD, newName}, AT_SYMLINK_NOFOLLOW, facts)) {
        errno = EEXIST;
        return -1;
    }
    return errno == ENOENT ? renameat(AT_FDCWD, oldName, AT_FDCWD, newName) : -1;
}

// An absolute name in the making. The room is that of the longest name of the host, spelled out.
class FullName {
public:
    void startAtDrive(char letter) noexcept {
        length = 0;
        append({&letter, 1});
        append(":\\");
        rootLength = length;
    }

    // The server and its share are never climbed above.
    const char* startAtServer(const char* name) noexcept {
        append("\\");
        for (int part = 0; part < 2; ++part) {
            while (isSeparator(*name))
                ++name;
            const std::size_t size = std::strcspn(name, "\\/");
            if (size == 0)
                break;
            append("\\");
            append({name, size});
            name += size;
        }
        rootLength = length;
        return name;
    }

    bool startAtCurrentDirectory() noexcept {
        char directory[4097];
        if (getcwd(directory, sizeof directory) == nullptr)
            return false;
        startAtDrive('C');
        char* const end = writeLibraryName(directory + 1, text + length, sizeof text - length);
        if (end == nullptr)
            isTooLong = true;
        else
            length = static_cast<std::size_t>(end - text);
        return true;
    }

    // Adds the parts of a relative name one by one.
    void addParts(const char* name) noexcept {
        bool endsInSeparator = false;
        while (*name != '\0') {
            const std::size_t size = std::strcspn(name, "\\/");
            addPart({name, size});
            name += size;
            endsInSeparator = *name != '\0';
            while (isSeparator(*name))
                ++name;
        }
        if (endsInSeparator)
            separate();
    }

    char* copyTo(char* buffer, std::size_t size) const noexcept {
        if (isTooLong || length >= size) {
            errno = ERANGE;
            return nullptr;
        }
        std::memcpy(buffer, text, length);
        buffer[length] = '\0';
        return buffer;
    }

private:
    void addPart(std::string_view part) noexcept {
        if (part.empty() || part == ".")
            return;
        if (part == "..")
            return climb();
        separate();
        append(part);
    }

    void climb() noexcept {
        while (length > rootLength && text[length - 1] != '\\')
            --length;
        if (length > rootLength)
            --length;
    }

    void separate() noexcept {
        if (length > 0 && text[length - 1] != '\\')
            append("\\");
    }

    void append(std::string_view addition) noexcept {
        if (addition.size() > sizeof text - length) {
            isTooLong = true;
            return;
        }
        addition.copy(text + length, addition.size());
        length += addition.size();
    }

    bool isTooLong = false;
    std::size_t rootLength = 0;
    std::size_t length = 0;
    char text[3 * 4096];
};

// Starts a full name and tells which part of the name is still to be added; null on failure.
const char* startFullName(FullName& full, const char* name) noexcept {
    if (startsWithServer(name))
        return full.startAtServer(name);
    if (isSeparator(name[0])) {
        full.startAtDrive('C');
        return name;
    }
    if (!startsWithDrive(name))
        return full.startAtCurrentDirectory() ? name : nullptr;
    const char letter = static_cast<char>(name[0] & ~0x20);
    name += 2;
    if (letter == 'C' && *name != '\0' && !isSeparator(*name))
        return full.startAtCurrentDirectory() ? name : nullptr;
    full.startAtDrive(letter);
    return name;
}

}  // namespace

int _stat(const char* name, StatRecord* record) noexcept {
    struct statx facts;
    if (!factsOf(entryOf(HostPath(name)), 0, facts, STATX_BASIC_STATS | STATX_BTIME))
        return -1;
    record->st_mode = modeWord(facts.stx_mode);
    record->st_size = static_cast<DWORD>(facts.stx_size);
    record->st_atime = facts.stx_atime.tv_sec;
    record->st_mtime = facts.stx_mtime.tv_sec;
    record->st_ctime = creationSeconds(facts);
    return 0;
}

int _access(const char* name, int mode) noexcept {
    static_assert(F_OK == 0 && W_OK == 2 && R_OK == 4);
    if ((mode & ~(R_OK | W_OK)) != 0) {
        errno = EINVAL;
        return -1;
    }
    // The rights asked for are those that a later open is checked against.
    return faccessat(AT_FDCWD, HostPath(name).c_str(), mode, mode == F_OK ? 0 : AT_EACCESS);
}

bool isTaken(const char* name) noexcept {
    struct statx facts;
    return factsOf(entryOf(HostPath(name)), AT_SYMLINK_NOFOLLOW, facts, STATX_TYPE);
}

int _chmod(const char* name, int mode) noexcept {
    const HostPath path(name);
    const auto asked = static_cast<mode_t>(mode);
    if ((asked & specialBits) == 0)
        return chmod(path.c_str(), asked & ordinaryBits);
    // The file is held, so that no other one gets the bits that this one has.
    const Descriptor file = openAt(AT_FDCWD, path.c_str(), O_PATH);
    struct statx facts;
    if (!file || !factsOf({file.get(), ""}, AT_EMPTY_PATH, facts, STATX_MODE))
        return -1;
    if (chmod(HeldName(file.get()).c_str(),
              (asked & ordinaryBits) | (asked & facts.stx_mode & specialBits)) == 0)
        return 0;
    return errno == ENOENT ? chmod(path.c_str(), asked & ordinaryBits) : -1;
}

int _mkdir(const char* name) noexcept {
    return mkdir(HostPath(name).c_str(), 0777);
}

int _rmdir(const char* name) noexcept {
    HostPath path(name);
    path.dropTrailingDots();
    return removeDirectory(entryOf(path));
}

int remove(const char* name) noexcept {
    return unlink(HostPath(name).c_str());
}

int rename(const char* oldName, const char* newName) {
    HostPath from(oldName);
    HostPath to(newName);
    int result = renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
    if (result != 0 && (errno == EINVAL || errno == ENOSYS))
        result = renameInTwoSteps(from.c_str(), to.c_str());
    if (result == 0)
        return 0;
    const int number = errno;
    if ((number == EXDEV && moveEntryAcross({AT_FDCWD, from.c_str()}, {AT_FDCWD, to.c_str()})) ||
        (number == EEXIST && leadsTo(from, to)))
        return 0;
    if (number == EEXIST || errno == EISDIR || errno == EOPNOTSUPP)
        errno = number;
    return -1;
}

bool leadsTo(const char* first, const char* second) {
    HostPath firstPath(first);
    HostPath secondPath(second);
    return leadsTo(firstPath, secondPath);
}

char* _fullpath(char* buffer, const char* name, std::size_t size) noexcept {
    FullName full;
    if (name == nullptr || *name == '\0')
        return full.startAtCurrentDirectory() ? full.copyTo(buffer, size) : nullptr;
    const char* const rest = startFullName(full, name);
    if (rest == nullptr)
        return nullptr;
    full.addParts(rest);
    return full.copyTo(buffer, size);
}

}  // namespace Sorvex::platform
