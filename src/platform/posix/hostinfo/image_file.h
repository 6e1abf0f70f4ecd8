// Finds the version resource in the file of a 32-bit or 64-bit Windows image.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "platform/posix/base/descriptor.h"
#include "platform/posix/base/types.h"

namespace Sorvex::platform {

/// Bytes that belong together in a file.
struct FileExtent {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};

/// A file read as an image, and no more of it than is needed.
///
/// Nothing in the file is trusted: every position is compared with the end of the file before it is
/// used, and what is looked at is bounded by the number of sections and of entries of three
/// resource directories. The file may change or shrink meanwhile. Operations that fail set the last
/// error.
class ImageFile {
public:
    /// Opens a regular file; anything else, such as a pipe, is refused without touching it.
    bool open(const char* name);

    /// Finds the version resource: the bytes that its own header counts, 65535 at most.
    bool findVersionResource(FileExtent& resource);

    /// Reads exactly these bytes.
    bool read(std::uint64_t offset, void* target, std::size_t size);

private:
    struct ResourceEntry {
        bool isDirectory = false;
        std::uint32_t offset = 0;
    };

    bool readHeaders();
    bool locate(std::uint32_t address, FileExtent& extent);
    bool readResource(std::uint32_t offset, void* target, std::size_t size);
    bool chooseEntry(std::uint32_t directory, std::initializer_list<std::uint32_t> preferred,
                     bool orFirst, ResourceEntry& chosen);
    bool findData(ResourceEntry& entry);

    Descriptor descriptor;
    std::uint64_t fileSize = 0;

    std::uint64_t sectionTable = 0;
    std::uint32_t sectionCount = 0;
    std::uint32_t resourceAddress = 0;
    FileExtent resources;  // from the root directory to the end of its section
};

}  // namespace Sorvex::platform
