// The layout is that of the published "PE Format" specification: headers, section table and the
// three levels of resource directories (type, name, language).
#include "platform/posix/hostinfo/image_file.h"

#include <algorithm>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/base/errors.h"
#include "platform/posix/base/retried.h"
#include "platform/posix/files/host_path.h"

namespace Sorvex::platform {

namespace {

constexpr std::uint16_t dosSignature = 0x5A4D;    // "MZ"
constexpr std::uint32_t imageSignature = 0x4550;  // "PE", 0, 0
constexpr std::uint16_t magic32 = 0x10B;
constexpr std::uint16_t magic64 = 0x20B;

constexpr std::size_t imageHeaderSize = 24;  // with the signature
constexpr std::size_t sectionSize = 40;
constexpr std::size_t directorySize = 16;
constexpr std::size_t entrySize = 8;
constexpr std::size_t dataEntrySize = 16;

// The number of data directories stands right before them, the resource directory is the third.
constexpr std::size_t directories32 = 96;
constexpr std::size_t directories64 = 112;
constexpr std::size_t resourceDirectoryIndex = 2;
constexpr std::size_t dataDirectorySize = 8;
constexpr std::size_t longestOptionalHeader =
    directories64 + (resourceDirectoryIndex + 1) * dataDirectorySize;

constexpr std::uint32_t highBit = 0x80000000;
constexpr std::uint32_t versionType = 16;
constexpr std::uint32_t versionName = 1;
constexpr std::uint32_t languageNeutral = 0;
constexpr std::uint32_t languageEnglishUnitedStates = 0x409;

// The header of the version resource, and the NUL of its key.
constexpr std::uint16_t leastVersionResource = 8;

std::uint16_t word(const unsigned char* bytes) {
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

std::uint32_t doubleWord(const unsigned char* bytes) {
    return word(bytes) | static_cast<std::uint32_t>(word(bytes + 2)) << 16;
}

}  // namespace

bool ImageFile::open(const char* name) {
    const HostPath path(name);
    struct stat status {};
    // Opening is an act of its own for a device, and wakes the writer of a pipe: so first a look.
    if (::stat(path.c_str(), &status) != 0)
        return failWithErrno();
    if (!S_ISREG(status.st_mode))
        return failWith(S_ISDIR(status.st_mode) ? ERROR_ACCESS_DENIED : ERROR_BAD_EXE_FORMAT);
    descriptor = openAt(AT_FDCWD, path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!descriptor || ::fstat(descriptor.get(), &status) != 0)
        return failWithErrno();
    if (!S_ISREG(status.st_mode))
        return failWith(ERROR_BAD_EXE_FORMAT);
    fileSize = static_cast<std::uint64_t>(status.st_size);
    return true;
}

bool ImageFile::read(std::uint64_t offset, void* target, std::size_t size) {
    if (offset > fileSize || size > fileSize - offset)
        return failWith(ERROR_BAD_EXE_FORMAT);
    auto* out = static_cast<unsigned char*>(target);
    while (size > 0) {
        const ssize_t count = retried(
            [&] { return ::pread(descriptor.get(), out, size, static_cast<off_t>(offset)); });
        if (count == -1)
            return failWithErrno();
        // The file may have been cut short since it was opened.
        if (count == 0)
            return failWith(ERROR_BAD_EXE_FORMAT);
        out += count;
        offset += static_cast<std::uint64_t>(count);
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

bool ImageFile::readHeaders() {
    unsigned char dosHeader[64];
    if (!read(0, dosHeader, sizeof dosHeader))
        return false;
    const std::uint64_t imageHeader = doubleWord(dosHeader + 0x3C);
    unsigned char header[imageHeaderSize];
    if (word(dosHeader) != dosSignature)
        return failWith(ERROR_BAD_EXE_FORMAT);
    if (!read(imageHeader, header, sizeof header))
        return false;
    if (doubleWord(header) != imageSignature)
        return failWith(ERROR_BAD_EXE_FORMAT);
    sectionCount = word(header + 6);
    const std::size_t optionalSize = word(header + 20);
    sectionTable = imageHeader + imageHeaderSize + optionalSize;

    unsigned char optional[longestOptionalHeader] = {};
    if (!read(imageHeader + imageHeaderSize, optional, std::min(optionalSize, sizeof optional)))
        return false;
    const std::uint16_t magic = word(optional);
    if (magic != magic32 && magic != magic64)
        return failWith(ERROR_BAD_EXE_FORMAT);
    const std::size_t directories = magic == magic64 ? directories64 : directories32;
    const std::size_t entry = directories + resourceDirectoryIndex * dataDirectorySize;
    const bool isListed = doubleWord(optional + directories - 4) > resourceDirectoryIndex &&
                          entry + dataDirectorySize <= optionalSize;
    resourceAddress = isListed ? doubleWord(optional + entry) : 0;
    return resourceAddress != 0 || failWith(ERROR_RESOURCE_DATA_NOT_FOUND);
}

// Finds an address of the loaded image in the file, up to the end of what its section has there. In
// sections that overlap the first one counts.
bool ImageFile::locate(std::uint32_t address, FileExtent& extent) {
    for (std::uint32_t index = 0; index < sectionCount; ++index) {
        unsigned char section[sectionSize];
        if (!read(sectionTable + index * sectionSize, section, sizeof section))
            return false;
        const std::uint32_t start = doubleWord(section + 12);
        const std::uint32_t size = doubleWord(section + 16);
        const std::uint64_t offset = doubleWord(section + 20);
        if (address < start || address - start >= size || offset >= fileSize)
            continue;
        const std::uint64_t present = std::min<std::uint64_t>(size, fileSize - offset);
        const std::uint32_t within = address - start;
        if (within >= present)
            continue;
        extent = {offset + within, present - within};
        return true;
    }
    return failWith(ERROR_BAD_EXE_FORMAT);
}

bool ImageFile::readResource(std::uint32_t offset, void* target, std::size_t size) {
    if (offset > resources.size || size > resources.size - offset)
        return failWith(ERROR_BAD_EXE_FORMAT);
    return read(resources.offset + offset, target, size);
}

// Chooses the entry whose identifier stands first in the list, else the first entry of the
// directory where that will do. An entry that has a name in place of a number is none of the
// preferred ones.
bool ImageFile::chooseEntry(std::uint32_t directory, std::initializer_list<std::uint32_t> preferred,
                            bool orFirst, ResourceEntry& chosen) {
    unsigned char header[directorySize];
    if (!readResource(directory, header, sizeof header))
        return false;
    const std::uint32_t count = std::uint32_t{word(header + 12)} + word(header + 14);
    std::size_t bestRank = preferred.size() + (orFirst ? 1 : 0);
    bool isFound = false;
    for (std::uint32_t index = 0; index < count && bestRank > 0; ++index) {
        unsigned char entry[entrySize];
        const std::uint64_t offset = std::uint64_t{directory} + directorySize + index * entrySize;
        if (offset > resources.size)
            return failWith(ERROR_BAD_EXE_FORMAT);
        if (!readResource(static_cast<std::uint32_t>(offset), entry, sizeof entry))
            return false;
        const auto* place = std::find(preferred.begin(), preferred.end(), doubleWord(entry));
        const auto rank = static_cast<std::size_t>(place - preferred.begin());
        if (rank >= bestRank)
            continue;
        bestRank = rank;
        const std::uint32_t target = doubleWord(entry + 4);
        chosen = {(target & highBit) != 0, target & ~highBit};
        isFound = true;
    }
    return isFound;
}

bool ImageFile::findData(ResourceEntry& entry) {
    if (!chooseEntry(0, {versionType}, false, entry) || !entry.isDirectory)
        return failWith(ERROR_RESOURCE_TYPE_NOT_FOUND);
    // Most compilers of resources give the number, some scripts leave it a name.
    if (!chooseEntry(entry.offset, {versionName}, true, entry) || !entry.isDirectory)
        return failWith(ERROR_RESOURCE_NAME_NOT_FOUND);
    if (!chooseEntry(entry.offset, {languageNeutral, languageEnglishUnitedStates}, true, entry) ||
        entry.isDirectory)
        return failWith(ERROR_RESOURCE_LANG_NOT_FOUND);
    return true;
}

bool ImageFile::findVersionResource(FileExtent& resource) {
    ResourceEntry entry;
    if (!readHeaders() || !locate(resourceAddress, resources) || !findData(entry))
        return false;
    unsigned char data[dataEntrySize];
    if (!readResource(entry.offset, data, sizeof data))
        return false;
    const std::uint32_t address = doubleWord(data);
    const std::uint32_t size = doubleWord(data + 4);
    // Nearly always the section of the directories themselves.
    if (address >= resourceAddress && address - resourceAddress < resources.size) {
        const std::uint32_t within = address - resourceAddress;
        resource = {resources.offset + within, resources.size - within};
    } else if (!locate(address, resource)) {
        return false;
    }
    unsigned char length[2];
    if (size > resource.size)
        return failWith(ERROR_BAD_EXE_FORMAT);
    if (size < leastVersionResource)
        return failWith(ERROR_RESOURCE_DATA_NOT_FOUND);
    if (!read(resource.offset, length, sizeof length))
        return false;
    resource.size = std::min<std::uint32_t>(size, word(length));
    return resource.size >= leastVersionResource || failWith(ERROR_RESOURCE_DATA_NOT_FOUND);
}

}  // namespace Sorvex::platform
