// The block handed out is a header of our own, the bytes of the resource, and room for the 8-bit
// form of every text in it. All positions below count from the start of the resource, as its own
// alignment does.
#include "platform/posix/hostinfo/version.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/posix/base/errors.h"
#include "platform/posix/hostinfo/image_file.h"
#include "platform/posix/strings/unicode.h"

namespace Sorvex::platform {

namespace {

struct BlockHeader {
    DWORD signature;
    DWORD size;  // of the resource
};

constexpr DWORD blockSignature = 0x42565653;
constexpr DWORD fixedSignature = 0xFEEF04BD;
constexpr WORD textType = 1;
constexpr std::string_view variables = "VarFileInfo";
constexpr DWORD entryHeaderSize = 6;  // length, length of the value, type
constexpr DWORD unitSize = 2;

constexpr DWORD aligned(DWORD position) {
    return (position + 3) & ~DWORD{3};
}

// A unit of UTF-16 takes 3 bytes of UTF-8 at most (a pair takes 4), so the text of a value at some
// position has its place at one and a half times that position and can't reach the next one's.
constexpr DWORD textPosition(DWORD valuePosition) {
    return valuePosition / unitSize * 3;
}

constexpr DWORD textCapacity(DWORD resourceSize) {
    return textPosition(aligned(resourceSize)) + 1;
}

constexpr DWORD blockSize(DWORD resourceSize) {
    return DWORD{sizeof(BlockHeader)} + aligned(resourceSize) + textCapacity(resourceSize);
}

// One entry of the tree, its parts cut to what its parent holds.
struct Entry {
    DWORD keyBegin;
    DWORD keyEnd;
    DWORD valueBegin;
    DWORD valueEnd;
    DWORD end;
    DWORD length;  // as it stands in the resource
    bool isText;
};

class Resource {
public:
    explicit Resource(const void* block)
        : bytes(static_cast<const unsigned char*>(block) + sizeof(BlockHeader)),
          resourceSize(static_cast<const BlockHeader*>(block)->size) {}

    DWORD size() const { return resourceSize; }
    const unsigned char* at(DWORD position) const { return bytes + position; }

    WORD unit(DWORD position) const {
        return static_cast<WORD>(bytes[position] | bytes[position + 1] << 8);
    }

    Entry entryAt(DWORD position, DWORD limit, bool mayBeText) const;
    bool hasKey(const Entry& entry, std::string_view key) const;
    bool findChild(const Entry& parent, std::string_view key, bool mayBeText, Entry& child) const;

private:
    const unsigned char* bytes;
    DWORD resourceSize;
};

// The caller has seen that the header lies before the limit. The root and the variables are called
// text in some genuine images, and are numbers all the same.
Entry Resource::entryAt(DWORD position, DWORD limit, bool mayBeText) const {
    Entry entry{};
    entry.length = unit(position);
    entry.end = position + std::clamp(entry.length, entryHeaderSize, limit - position);
    entry.isText = mayBeText && unit(position + 4) == textType;
    entry.keyBegin = position + entryHeaderSize;
    entry.keyEnd = entry.keyBegin;
    while (entry.keyEnd + unitSize <= entry.end && unit(entry.keyEnd) != 0)
        entry.keyEnd += unitSize;
    const DWORD valueSize = DWORD{unit(position + 2)} * (entry.isText ? unitSize : 1);
    entry.valueBegin = std::min(aligned(entry.keyEnd + unitSize), entry.end);
    entry.valueEnd = entry.valueBegin + std::min(valueSize, entry.end - entry.valueBegin);
    return entry;
}

constexpr char32_t withoutCase(char32_t character) {
    return character >= 'A' && character <= 'Z' ? character + ('a' - 'A') : character;
}

bool Resource::hasKey(const Entry& entry, std::string_view key) const {
    const std::size_t count = (entry.keyEnd - entry.keyBegin) / unitSize;
    const auto unitOfKey = [this, &entry](std::size_t index) {
        return char32_t{unit(entry.keyBegin + static_cast<DWORD>(index) * unitSize)};
    };
    for (std::size_t index = 0, taken = 0; index < count; index += taken) {
        char text[longestUtf8];
        const std::size_t size =
            encodeUtf8(withoutCase(characterAt(unitOfKey, index, count, taken)), text);
        if (key.size() < size)
            return false;
        if (!std::equal(text, text + size, key.begin(), [](char own, char asked) {
                return own ==
                       static_cast<char>(withoutCase(char32_t{static_cast<unsigned char>(asked)}));
            }))
            return false;
        key.remove_prefix(size);
    }
    return key.empty();
}

// An entry without a length is stepped over by the least that an entry is moved by: the padding of
// genuine images reads as such entries.
bool Resource::findChild(const Entry& parent, std::string_view key, bool mayBeText,
                         Entry& child) const {
    DWORD position = aligned(parent.valueEnd);
    while (position + entryHeaderSize <= parent.end) {
        child = entryAt(position, parent.end, mayBeText);
        if (hasKey(child, key))
            return true;
        position += std::max(aligned(child.length), aligned(1));
    }
    return false;
}

constexpr char separator = '\\';

// Takes the first name off the front of a sub-block, and the separators before it.
std::string_view takeName(std::string_view& subBlock) {
    subBlock.remove_prefix(std::min(subBlock.find_first_not_of(separator), subBlock.size()));
    const std::string_view name = subBlock.substr(0, subBlock.find(separator));
    subBlock.remove_prefix(name.size());
    return name;
}

constexpr DWORD unsignedLength(std::size_t length) {
    return static_cast<DWORD>(length);
}

// Makes the 8-bit form of a text in its place inside the block. NULs at its end count as one.
UINT makeText(const Resource& resource, const Entry& entry, char* text) {
    std::size_t count = (entry.valueEnd - entry.valueBegin) / unitSize;
    const auto unitOfValue = [&resource, &entry](std::size_t index) {
        return char32_t{resource.unit(entry.valueBegin + unsignedLength(index) * unitSize)};
    };
    while (count > 0 && unitOfValue(count - 1) == 0)
        --count;
    std::size_t length = 0;
    for (std::size_t index = 0, taken = 0; index < count; index += taken) {
        char bytes[longestUtf8];
        const std::size_t size = encodeUtf8(characterAt(unitOfValue, index, count, taken), bytes);
        std::copy_n(bytes, size, text + length);
        length += size;
    }
    text[length] = '\0';
    return entry.valueBegin == entry.valueEnd ? 0 : unsignedLength(length) + 1;
}

bool isFixedPart(const Resource& resource, const Entry& root) {
    DWORD signature = 0;
    if (root.valueEnd - root.valueBegin < sizeof(VS_FIXEDFILEINFO))
        return false;
    std::memcpy(&signature, resource.at(root.valueBegin), sizeof signature);
    return signature == fixedSignature;
}

}  // namespace

DWORD GetFileVersionInfoSizeA(const char* name, DWORD* handle) {
    if (handle != nullptr)
        *handle = 0;
    ImageFile image;
    FileExtent resource;
    if (!image.open(name) || !image.findVersionResource(resource))
        return 0;
    return blockSize(static_cast<DWORD>(resource.size));
}

BOOL GetFileVersionInfoA(const char* name, DWORD /*handle*/, DWORD size, void* block) {
    ImageFile image;
    FileExtent resource;
    if (!image.open(name) || !image.findVersionResource(resource))
        return FALSE;
    const auto resourceSize = static_cast<DWORD>(resource.size);
    if (size < blockSize(resourceSize))
        return failWith(ERROR_INSUFFICIENT_BUFFER);
    const BlockHeader header{blockSignature, resourceSize};
    auto* bytes = static_cast<unsigned char*>(block);
    if (!image.read(resource.offset, bytes + sizeof header, resourceSize))
        return FALSE;
    std::memcpy(bytes, &header, sizeof header);
    return TRUE;
}

BOOL VerQueryValueA(const void* block, const char* subBlock, void** value, UINT* length) {
    if (static_cast<const BlockHeader*>(block)->signature != blockSignature)
        return failWith(ERROR_INVALID_DATA);
    const Resource resource(block);
    // The block is the caller's to write; only the interface calls it constant.
    auto* bytes = const_cast<unsigned char*>(resource.at(0));
    Entry entry = resource.entryAt(0, resource.size(), false);
    std::string_view rest(subBlock);
    std::string_view name = takeName(rest);
    if (name.empty() && !isFixedPart(resource, entry))
        return failWith(ERROR_RESOURCE_TYPE_NOT_FOUND);
    for (bool mayBeText = false; !name.empty(); name = takeName(rest)) {
        const Entry parent = entry;
        if (!resource.findChild(parent, name, mayBeText, entry))
            return failWith(ERROR_RESOURCE_TYPE_NOT_FOUND);
        mayBeText = mayBeText || !resource.hasKey(entry, variables);
    }
    if (entry.isText) {
        char* text = reinterpret_cast<char*>(bytes) + aligned(resource.size()) +
                     textPosition(entry.valueBegin);
        *length = makeText(resource, entry, text);
        *value = text;
    } else {
        *length = entry.valueEnd - entry.valueBegin;
        *value = bytes + entry.valueBegin;
    }
    return TRUE;
}

}  // namespace Sorvex::platform
