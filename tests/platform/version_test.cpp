#include "platform/posix/version.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "platform/posix/errors.h"
#include "support/memory_file.h"
#include "support/process_facts.h"
#include "support/temporary_directory.h"
#include "support/version_image.h"

namespace {

using namespace Sorvex;
using namespace Sorvex::testing;

// The block of one image, and what can be asked of it.
class Block {
public:
    explicit Block(const std::string& image) {
        const MemoryFile file(image);
        const std::string name = file.name();
        size = platform::GetFileVersionInfoSizeA(name.c_str(), nullptr);
        sizeError = platform::GetLastError();
        bytes = std::make_unique<unsigned char[]>(size);
        isRead = size != 0 && platform::GetFileVersionInfoA(name.c_str(), 0, size, bytes.get());
    }

    explicit Block(const VersionEntry& root) : Block(imageOf(root).bytes()) {}

    // The bytes of a value, or the code of the failure in brackets.
    std::string value(const std::string& subBlock) const {
        if (!isRead)
            return "[no block]";
        void* found = nullptr;
        platform::UINT length = 0;
        if (!platform::VerQueryValueA(bytes.get(), subBlock.c_str(), &found, &length))
            return "[" + std::to_string(platform::GetLastError()) + "]";
        const auto* start = static_cast<const unsigned char*>(found);
        EXPECT_GE(start, bytes.get());
        EXPECT_LE(start + length, bytes.get() + size);
        return {static_cast<const char*>(found), length};
    }

    std::string string(const std::string& name) const {
        return value("\\StringFileInfo\\040904b0\\" + name);
    }

    platform::DWORD size = 0;
    platform::DWORD sizeError = 0;
    bool isRead = false;
    std::unique_ptr<unsigned char[]> bytes;
};

std::string withNul(const std::string& text) {
    return text + '\0';
}

const std::string notFound = "[1813]";

VersionEntry withString(const VersionEntry& entry) {
    return versionRoot({stringTable(u"040904b0", {entry, text(u"Next", u"found")})});
}

TEST(VersionResource, IsReadFromBothKindsOfImages) {
    for (const bool is64 : {false, true})
        for (const bool hasDataSection : {false, true}) {
            SCOPED_TRACE(is64 * 2 + hasDataSection);
            VersionImage image = imageOf(usualVersion());
            image.is64 = is64;
            image.hasDataSection = hasDataSection;
            const Block block(image.bytes());
            EXPECT_EQ(block.value("\\"), fixedPart());
            EXPECT_EQ(block.string("CompanyName"), withNul("Müller & Söhne"));
            EXPECT_EQ(block.string("ProductName"), withNul("Пример"));
            EXPECT_EQ(block.value("\\VarFileInfo\\Translation"), "\x09\x04\xB0\x04");
        }
}

TEST(VersionResource, ComparesNamesWithoutCaseAndTakesEverySpelling) {
    const Block block(usualVersion());
    const std::string company = withNul("Müller & Söhne");
    const struct {
        const char* subBlock;
        std::string expected;
    } cases[] = {
        {"", fixedPart()},
        {"\\\\", fixedPart()},
        {"\\STRINGFILEINFO\\040904B0\\companyname", company},
        {"StringFileInfo\\040904b0\\CompanyName", company},
        {"\\StringFileInfo\\040904b0\\CompanyName\\", company},
        {"\\varfileinfo\\translation", "\x09\x04\xB0\x04"},
        {"\\StringFileInfo", ""},
        {"\\StringFileInfo\\040904b0", ""},
        {"\\StringFileInfo\\040904b0\\CompanyNam", notFound},
        {"\\StringFileInfo\\040904b0\\CompanyNames", notFound},
        {"\\StringFileInfo\\040904b0\\CompanyName\\More", notFound},
        {"\\StringFileInfo\\040704b0\\CompanyName", notFound},
        {"\\CompanyName", notFound},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.subBlock);
        EXPECT_EQ(block.value(c.subBlock), c.expected);
    }
}

TEST(VersionResource, GivesEveryKindOfValue) {
    const std::string abc = units(u"abc");
    const struct {
        const char* what;
        VersionEntry entry;
        std::string expected;
    } cases[] = {
        {"terminated", {u"V", 1, terminated(u"abc"), {}}, withNul("abc")},
        {"not terminated", {u"V", 1, abc, {}}, withNul("abc")},
        {"terminated twice", {u"V", 1, terminated(u"abc") + word(0), {}}, withNul("abc")},
        {"a NUL inside", {u"V", 1, units({u'a', 0, u'b', 0}), {}}, std::string("a\0b\0", 4)},
        {"empty", {u"V", 1, word(0), {}}, withNul("")},
        {"no value", {u"V", 1, "", {}}, ""},
        {"three bytes a unit", {u"V", 1, units(u"\u20AC\u20AC"), {}}, withNul("€€")},
        {"a pair", {u"V", 1, units(u"\U0001F600"), {}}, withNul("\xF0\x9F\x98\x80")},
        {"half a pair", {u"V", 1, word(0xD83D), {}}, withNul("\xEF\xBF\xBD")},
        {"the other half", {u"V", 1, word(0xDC80), {}}, withNul("\xEF\xBF\xBD")},
        {"counted in bytes", {u"V", 1, terminated(u"abc"), {}, 8}, withNul("abc")},
        {"longer than its entry", {u"V", 1, terminated(u"abc"), {}, 0xFFFF}, withNul("abc")},
        {"shorter than its text", {u"V", 1, terminated(u"abc"), {}, 2}, withNul("ab")},
        {"no text", {u"V", 0, std::string("\1\0\2\3\0", 5), {}}, std::string("\1\0\2\3\0", 5)},
        {"no text, longer", {u"V", 0, "\1\2\3\4", {}, 0xFFFF}, "\1\2\3\4"},
        {"an odd text", {u"V", 1, abc + "x", {}, 4}, withNul("abc")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const Block block(withString(c.entry));
        EXPECT_EQ(block.string("V"), c.expected);
        EXPECT_EQ(block.string("Next"), withNul("found"));
        EXPECT_EQ(block.string("V"), c.expected);
    }
}

TEST(VersionResource, FindsItsWayThroughOddTrees) {
    const VersionEntry strings =
        stringTable(u"040904b0", {text(u"Before", u"1"), text(u"V", u"abc")});
    VersionEntry padded = strings;
    padded.children[0].children.insert(padded.children[0].children.begin() + 1,
                                       VersionEntry{u"", 0, "", {}, 0, 0});
    VersionEntry tooLong = strings;
    tooLong.children[0].length = 0xFFFF;
    tooLong.length = 0xFFF0;
    VersionEntry textualRoot = versionRoot({strings});
    textualRoot.type = 1;
    textualRoot.valueLength = 52;
    VersionEntry otherRoot = versionRoot({strings});
    otherRoot.length = 0xFFFF;
    const struct {
        const char* what;
        VersionEntry root;
    } cases[] = {
        {"variables first", versionRoot({translation("1234"), strings})},
        {"an entry without a length", versionRoot({padded})},
        {"entries longer than their parents", versionRoot({tooLong})},
        {"a root that is called text", textualRoot},
        {"a root longer than the resource", otherRoot},
        {"another table before",
         versionRoot({{u"StringFileInfo",
                       1,
                       "",
                       {{u"040704e4", 1, "", {text(u"V", u"ab\u00E7")}}, strings.children[0]}}})},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const Block block(c.root);
        EXPECT_EQ(block.value("\\"), fixedPart());
        EXPECT_EQ(block.string("V"), withNul("abc"));
        EXPECT_EQ(block.string("W"), notFound);
    }
}

TEST(VersionResource, AnswersForItsStringsWithoutAWholeFixedPart) {
    VersionEntry unsignedPart = usualVersion();
    unsignedPart.value[0] = 0;
    VersionEntry shortPart = usualVersion();
    shortPart.value.resize(48);
    VersionEntry emptyPart = usualVersion();
    emptyPart.value.clear();
    for (const VersionEntry& root : {unsignedPart, shortPart, emptyPart}) {
        const Block block(root);
        EXPECT_EQ(block.value("\\"), notFound);
        EXPECT_EQ(block.string("ProductName"), withNul("Пример"));
    }
}

TEST(VersionResource, IsChosenByLanguage) {
    const auto inLanguage = [](std::uint32_t language, const std::u16string& value) {
        return LanguageResource{
            language, versionRoot({stringTable(u"040904b0", {text(u"V", value)})}).bytes()};
    };
    const struct {
        std::vector<LanguageResource> resources;
        std::string expected;
    } cases[] = {
        {{inLanguage(0x407, u"German"), inLanguage(0x409, u"English"), inLanguage(0, u"neutral")},
         "neutral"},
        {{inLanguage(0x407, u"German"), inLanguage(0x409, u"English")}, "English"},
        {{inLanguage(0x40C, u"French"), inLanguage(0x407, u"German")}, "French"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.expected);
        VersionImage image;
        image.resources = c.resources;
        EXPECT_EQ(Block(image.bytes()).string("V"), withNul(c.expected));
    }
}

TEST(VersionResource, IsMissingWithTheCodeOfWhatIsMissing) {
    VersionImage otherType = imageOf(usualVersion());
    otherType.type = 24;
    VersionImage noLanguage;
    VersionImage otherName = imageOf(usualVersion());
    otherName.name = 7;
    EXPECT_TRUE(Block(otherName.bytes()).isRead);
    std::string noDirectory = imageOf(usualVersion()).bytes();
    noDirectory.replace(VersionImage{}.resourceDirectoryEntry(), 4, doubleWord(0));
    std::string fewDirectories = imageOf(usualVersion()).bytes();
    fewDirectories.replace(VersionImage{}.resourceDirectoryEntry() - 20, 4, doubleWord(2));
    const struct {
        const char* what;
        std::string image;
        platform::DWORD error;
    } cases[] = {
        {"empty", "", 193},
        {"no image", std::string(5000, 'x'), 193},
        {"an old program", "MZ" + std::string(5000, '\0'), 193},
        {"no resources", noDirectory, 1812},
        {"no directory for them", fewDirectories, 1812},
        {"other resources", otherType.bytes(), 1813},
        {"no language", noLanguage.bytes(), 1815},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const Block block(c.image);
        EXPECT_EQ(block.size, 0U);
        EXPECT_EQ(block.sizeError, c.error);
    }
}

TEST(VersionResource, IsNoneInAnImageCutAnywhere) {
    const std::string whole = imageOf(usualVersion()).bytes();
    ASSERT_TRUE(Block(whole).isRead);
    MemoryFile file("");
    for (std::size_t size = 0; size + 4 <= whole.size(); ++size) {
        ASSERT_TRUE(file.setContents(whole.substr(0, size)));
        ASSERT_EQ(platform::GetFileVersionInfoSizeA(file.name().c_str(), nullptr), 0U) << size;
    }
}

TEST(VersionResource, SurvivesImagesThatLie) {
    const VersionImage layout = imageOf(usualVersion());
    const std::size_t root = VersionImage::directories;
    const std::size_t section = layout.sectionTable();
    const std::size_t dataEntry = root + 24 + 24 + 24;
    const struct {
        const char* what;
        std::size_t offset;
        std::string bytes;
    } cases[] = {
        {"headers far away", 0x3C, doubleWord(0xFFFFFFFF)},
        {"no section", VersionImage::imageHeader + 6, word(0)},
        {"section without bytes", section + 16, doubleWord(0)},
        {"section behind the end", section + 20, doubleWord(0xFFFFFE00)},
        {"directory outside", layout.resourceDirectoryEntry(), doubleWord(0xFFFFFFF0)},
        {"millions of entries", root + 12, word(0xFFFF) + word(0xFFFF) + doubleWord(1)},
        {"directory that is its own entry", root + 20, doubleWord(0x80000000)},
        {"entry outside", root + 20, doubleWord(0xFFFFFFFF)},
        {"name that is no directory", root + 24 + 20, doubleWord(48)},
        {"languages that are the root", root + 24 + 20, doubleWord(0x80000000)},
        {"language that is a directory", root + 48 + 20, doubleWord(0x80000000)},
        {"data outside", dataEntry, doubleWord(0xFFFFFFFF)},
        {"data in front of the directories", dataEntry, doubleWord(0xFFF)},
        {"data of 4 GiB", dataEntry + 4, doubleWord(0xFFFFFFFF)},
        {"data of no size", dataEntry + 4, doubleWord(7)},
        {"resource of no length", dataEntry + 16, word(0)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::string image = layout.bytes();
        image.replace(c.offset, c.bytes.size(), c.bytes);
        EXPECT_EQ(Block(image).size, 0U);
    }
}

TEST(VersionResource, TakesTheFirstOfSectionsThatOverlap) {
    // Both sections begin at the same address; the first one holds the tree, and only the second
    // one reaches as far as the resource.
    constexpr std::uint32_t filler = 96;
    const std::string resource = usualVersion().bytes();
    VersionImage image;
    image.hasDataSection = true;
    image.resources = {{0, std::string(filler, 'x') + resource}};
    std::string bytes = image.bytes();
    bytes.replace(image.sectionTable() + VersionImage::sectionSize + 12, 4,
                  doubleWord(VersionImage::sectionAddress));
    bytes.replace(VersionImage::directories + 72, 8,
                  doubleWord(VersionImage::sectionAddress + filler) +
                      doubleWord(static_cast<std::uint32_t>(resource.size())));
    EXPECT_EQ(Block(bytes).value("\\"), fixedPart());
}

TEST(VersionResource, IsSoughtInFilesOnly) {
    const TemporaryDirectory directory;
    const std::string pipe = directory.name("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const struct {
        std::string name;
        platform::DWORD error;
    } cases[] = {{directory.name("missing"), 2},
                 {directory.file("plain") + "/below", 3},
                 {directory.name(), 5},
                 {pipe, 193},
                 {"/dev/zero", 193},
                 {"/proc/self/maps", 193}};
    const std::size_t descriptors = openDescriptors();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(platform::GetFileVersionInfoSizeA(c.name.c_str(), nullptr), 0U);
        EXPECT_EQ(platform::GetLastError(), c.error);
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(VersionResource, FailsWhenTheFileHasChangedSinceItsSizeWasAsked) {
    const TemporaryDirectory directory;
    const std::string small = imageOf(usualVersion()).bytes();
    const std::string large = imageOf(withString(text(u"V", std::u16string(500, u'v')))).bytes();
    const std::string name = directory.file("image.dll", small);
    const platform::DWORD size = platform::GetFileVersionInfoSizeA(name.c_str(), nullptr);
    const auto block = std::make_unique<unsigned char[]>(size);
    directory.file("image.dll", large);
    EXPECT_FALSE(platform::GetFileVersionInfoA(name.c_str(), 0, size, block.get()));
    EXPECT_EQ(platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    std::filesystem::resize_file(name, small.size() / 2);
    EXPECT_FALSE(platform::GetFileVersionInfoA(name.c_str(), 0, size, block.get()));
    EXPECT_EQ(platform::GetLastError(), ERROR_BAD_EXE_FORMAT);
    void* value = nullptr;
    platform::UINT length = 0;
    EXPECT_FALSE(platform::VerQueryValueA(block.get(), "\\", &value, &length));
    EXPECT_EQ(platform::GetLastError(), ERROR_INVALID_DATA);
}

}  // namespace
