// Windows images and version resources composed byte by byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Sorvex::testing {

inline std::string word(std::uint32_t value) {
    return {static_cast<char>(value), static_cast<char>(value >> 8)};
}

inline std::string doubleWord(std::uint32_t value) {
    return word(value) + word(value >> 16);
}

/// A text as UTF-16 without a terminator.
inline std::string units(const std::u16string& text) {
    std::string bytes;
    for (const char16_t unit : text)
        bytes += word(unit);
    return bytes;
}

/// A text as UTF-16 with its terminator.
inline std::string terminated(const std::u16string& text) {
    return units(text) + word(0);
}

inline void pad(std::string& bytes, std::size_t alignment = 4) {
    bytes.resize((bytes.size() + alignment - 1) / alignment * alignment);
}

/// One entry of a version resource. Each starts at a multiple of 4 bytes, so the padding inside is
/// the same wherever it ends up.
struct VersionEntry {
    std::u16string key;
    std::uint32_t type = 0;  // 1: text
    std::string value;
    std::vector<VersionEntry> children;
    int valueLength = -1;  // as it is written; -1: units for a text, else bytes
    int length = -1;       // as it is written; -1: what it is

    std::string bytes() const {
        std::string rest = terminated(key);
        rest.insert(0, 6, '\0');
        if (!value.empty() || !children.empty())
            pad(rest);
        rest += value;
        for (const VersionEntry& child : children) {
            pad(rest);
            rest += child.bytes();
        }
        const auto usual = static_cast<int>(type == 1 ? value.size() / 2 : value.size());
        const auto size = length >= 0 ? length : static_cast<int>(rest.size());
        const int written = valueLength >= 0 ? valueLength : usual;
        rest.replace(0, 6,
                     word(static_cast<std::uint32_t>(size)) +
                         word(static_cast<std::uint32_t>(written)) + word(type));
        return rest;
    }
};

inline VersionEntry text(const std::u16string& key, const std::u16string& value) {
    return {key, 1, terminated(value), {}};
}

/// The fixed part for file version 1.2.34.5 and product version 6.7.890.12345.
inline std::string fixedPart() {
    std::string bytes;
    for (const std::uint32_t value : {0xFEEF04BDU, 0x10000U, 0x00010002U, 0x00220005U, 0x00060007U,
                                      0x037A3039U, 0x3FU, 0x2U, 0x40004U, 0x1U, 0x7U, 0U, 0U})
        bytes += doubleWord(value);
    return bytes;
}

inline VersionEntry versionRoot(const std::vector<VersionEntry>& children) {
    return {u"VS_VERSION_INFO", 0, fixedPart(), children};
}

inline VersionEntry stringTable(const std::u16string& language,
                                const std::vector<VersionEntry>& strings) {
    return {u"StringFileInfo", 1, "", {{language, 1, "", strings}}};
}

inline VersionEntry translation(const std::string& value) {
    return {u"VarFileInfo", 1, "", {{u"Translation", 0, value, {}}}};
}

/// A whole resource of the usual kind.
inline VersionEntry usualVersion() {
    return versionRoot({stringTable(u"040904b0", {text(u"CompanyName", u"Müller & Söhne"),
                                                  text(u"ProductName", u"Пример")}),
                        translation(word(0x409) + word(0x4B0))});
}

/// One resource in one language.
struct LanguageResource {
    std::uint32_t language;
    std::string bytes;
};

/// An image with nothing in it but version resources.
struct VersionImage {
    static constexpr std::size_t imageHeader = 0x40;
    static constexpr std::size_t sectionSize = 40;
    static constexpr std::size_t directories = 0x400;  // the first section's place in the file
    static constexpr std::uint32_t sectionAddress = 0x1000;
    static constexpr std::uint32_t dataAddress = 0x8000;  // of the second section, if there is one

    bool is64 = true;
    bool hasDataSection = false;  // the resources stand in a section of their own
    std::uint32_t type = 16;
    std::uint32_t name = 1;
    std::vector<LanguageResource> resources;

    std::size_t optionalSize() const { return is64 ? 240 : 224; }
    std::size_t resourceDirectoryEntry() const { return imageHeader + 24 + (is64 ? 112 : 96) + 16; }
    std::size_t sectionTable() const { return imageHeader + 24 + optionalSize(); }

    std::string bytes() const {
        std::string tree;
        std::string data;
        makeTree(tree, data);
        std::string image = headers(tree.size(), data.size()) + tree;
        if (hasDataSection)
            pad(image, 0x200);
        return image + data;
    }

private:
    void makeTree(std::string& tree, std::string& data) const {
        const auto count = static_cast<std::uint32_t>(resources.size());
        constexpr std::uint32_t oneEntry = 24;
        constexpr std::uint32_t subdirectory = 0x80000000;
        const std::uint32_t entries = 2 * oneEntry + 16 + 8 * count;
        const std::uint32_t treeSize = entries + 16 * count;
        tree = directory(1) + doubleWord(type) + doubleWord(subdirectory | oneEntry);
        tree += directory(1) + doubleWord(name) + doubleWord(subdirectory | 2 * oneEntry);
        tree += directory(count);
        for (std::uint32_t index = 0; index < count; ++index)
            tree += doubleWord(resources[index].language) + doubleWord(entries + 16 * index);
        for (const LanguageResource& resource : resources) {
            const auto start = static_cast<std::uint32_t>(data.size());
            tree += doubleWord(hasDataSection ? dataAddress + start
                                              : sectionAddress + treeSize + start);
            tree += doubleWord(static_cast<std::uint32_t>(resource.bytes.size())) + doubleWord(0) +
                    doubleWord(0);
            data += resource.bytes;
            pad(data);
        }
    }

    static std::string directory(std::uint32_t entries) {
        return std::string(14, '\0') + word(entries);
    }

    std::string headers(std::size_t treeSize, std::size_t dataSize) const {
        constexpr std::size_t optional = imageHeader + 24;
        std::string image(directories, '\0');
        const auto put = [&image](std::size_t place, const std::string& bytes) {
            image.replace(place, bytes.size(), bytes);
        };
        const auto putSection = [&](std::size_t place, const char* title, std::uint32_t address,
                                    std::size_t bytes, std::size_t offset) {
            const std::string size = doubleWord(static_cast<std::uint32_t>(bytes));
            put(place, title);
            put(place + 8,
                size + doubleWord(address) + size + doubleWord(static_cast<std::uint32_t>(offset)));
            put(place + 36, doubleWord(0x40000040));
        };
        put(0, "MZ");
        put(0x3C, doubleWord(imageHeader));
        put(imageHeader, "PE");
        put(imageHeader + 4, word(is64 ? 0x8664 : 0x14C) + word(hasDataSection ? 2 : 1));
        put(imageHeader + 20, word(static_cast<std::uint32_t>(optionalSize())) + word(0x2102));
        put(optional, word(is64 ? 0x20B : 0x10B));
        put(optional + 32, doubleWord(0x1000) + doubleWord(0x200));  // alignment: memory, file
        put(optional + 48, word(4));
        put(optional + 56, doubleWord(0x10000) + doubleWord(directories));  // in memory, of headers
        put(resourceDirectoryEntry() - 20, doubleWord(16));
        put(resourceDirectoryEntry(), doubleWord(sectionAddress) + doubleWord(0x1000));
        putSection(sectionTable(), ".rsrc", sectionAddress,
                   treeSize + (hasDataSection ? 0 : dataSize), directories);
        if (hasDataSection)
            putSection(sectionTable() + sectionSize, ".data", dataAddress, dataSize,
                       directories + (treeSize + 0x1FF) / 0x200 * 0x200);
        return image;
    }
};

/// An image of the usual kind with one resource.
inline VersionImage imageOf(const VersionEntry& root) {
    VersionImage image;
    image.resources = {{0x409, root.bytes()}};
    return image;
}

}  // namespace Sorvex::testing
