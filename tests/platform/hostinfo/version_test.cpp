#include "platform/posix/hostinfo/version.h"

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include <gtest/gtest.h>
#include <sorvex/hostinfo.h>

#include "platform/posix/base/errors.h"
#include "support/memory_file.h"
#include "support/process_facts.h"
#include "support/temporary_directory.h"
#include "support/version_image.h"

namespace {

using namespace Sorvex;
using namespace Sorvex::testing;

// The version of one image.
class Version {
public:
    explicit Version(const std::string& image) : file(image), info(file.name().c_str()) {
        try {
            info.getInfo();
        } catch (const std::runtime_error& failure) {
            EXPECT_EQ(failure.what(), "VerQueryValue(): ErrorCode 1813 " + file.name());
        }
    }

    explicit Version(const VersionEntry& root) : Version(imageOf(root).bytes()) {}

    std::string value(const std::string& subBlock) {
        try {
            return info.value(subBlock.c_str());
        } catch (const std::runtime_error&) {
            return "[" + std::to_string(platform::GetLastError()) + "]";
        }
    }

    std::string string(const std::string& name) {
        return value("\\StringFileInfo\\040904b0\\" + name);
    }

    MemoryFile file;
    VersionInfo info;
};

std::string withNul(const std::string& text) {
    return text + '\0';
}

const std::string notFound = "[1813]";

TEST(VersionResource, IsReadFromBothKindsOfImagesByAnySpelling) {
    const std::string company = withNul("Müller & Söhne");
    const std::pair<const char*, std::string> cases[] = {
        {"", fixedPart()},
        {"\\\\", fixedPart()},
        {"\\STRINGFILEINFO\\040904B0\\companyname", company},
        {"StringFileInfo\\040904b0\\CompanyName\\", company},
        {"\\varfileinfo\\translation", "\x09\x04\xB0\x04"},
        {"\\StringFileInfo\\040904b0", ""},
        {"\\StringFileInfo\\040904b0\\CompanyNam", notFound},
        {"\\StringFileInfo\\040904b0\\CompanyNames", notFound},
        {"\\StringFileInfo\\040904b0\\CompanyName\\More", notFound},
        {"\\CompanyName", notFound},
    };
    VersionImage image = imageOf(usualVersion());
    for (const bool is64 : {false, true})
        for (const bool hasDataSection : {false, true})
            for (const auto& [subBlock, expected] : cases) {
                SCOPED_TRACE(subBlock);
                image.is64 = is64;
                image.hasDataSection = hasDataSection;
                EXPECT_EQ(Version(image.bytes()).value(subBlock), expected);
            }
}

TEST(VersionResource, GivesEveryKindOfValue) {
    const std::string abc = units(u"abc");
    const std::string binary("\1\0\2\3\0", 5);
    const struct {
        const char* what;
        VersionEntry entry;
        std::string expected;
    } cases[] = {
        {"not terminated", {u"V", 1, abc, {}}, withNul("abc")},
        {"terminated twice", {u"V", 1, terminated(u"abc") + word(0), {}}, withNul("abc")},
        {"a NUL inside", {u"V", 1, units({u'a', 0, u'b', 0}), {}}, std::string("a\0b\0", 4)},
        {"empty", {u"V", 1, word(0), {}}, withNul("")},
        {"no value", {u"V", 1, "", {}}, ""},
        {"three bytes a unit", {u"V", 1, units(u"\u20AC\u20AC"), {}}, withNul("€€")},
        {"a pair", {u"V", 1, units(u"\U0001F600"), {}}, withNul("\xF0\x9F\x98\x80")},
        {"half a pair", {u"V", 1, word(0xD83D), {}}, withNul("\xEF\xBF\xBD")},
        {"the other half", {u"V", 1, word(0xDC80), {}}, withNul("\xEF\xBF\xBD")},
        {"longer than its entry", {u"V", 1, terminated(u"abc"), {}, 0xFFFF}, withNul("abc")},
        {"shorter than its text", {u"V", 1, terminated(u"abc"), {}, 2}, withNul("ab")},
        {"no text", {u"V", 0, binary, {}}, binary},
        {"no text, longer", {u"V", 0, "\1\2\3\4", {}, 0xFFFF}, "\1\2\3\4"},
        {"an odd text", {u"V", 1, abc + "x", {}, 4}, withNul("abc")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Version version(
            versionRoot({stringTable(u"040904b0", {c.entry, text(u"Next", u"found")})}));
        EXPECT_EQ(version.string("V"), c.expected);
        EXPECT_EQ(version.string("Next"), withNul("found"));
        EXPECT_EQ(version.string("V"), c.expected);
    }
}

TEST(VersionResource, FindsItsWayThroughOddTrees) {
    const VersionEntry before = text(u"Before", u"1");
    const VersionEntry wanted = text(u"V", u"abc");
    const VersionEntry usual = versionRoot({stringTable(u"040904b0", {before, wanted})});
    std::map<std::string, VersionEntry> trees;
    const auto tree = [&](const char* what) -> VersionEntry& { return trees[what] = usual; };
    tree("variables first").children = {translation("1234"), usual.children[0]};
    tree("another table before").children[0].children = {
        {u"040704e4", 1, "", {text(u"V", u"ab\u00E7")}}, usual.children[0].children[0]};
    tree("padding between entries").children[0].children[0].children = {
        {u"Before", 1, terminated(u"1") + doubleWord(0), {}, 2, 24}, wanted};
    tree("a part longer than the root").children[0].length = 0xFFF0;
    tree("a table longer than its parent").children[0].children[0].length = 0xFFFF;
    tree("a root longer than the resource").length = 0xFFFF;
    VersionEntry& textual = tree("a root that is called text");
    textual.type = 1;
    textual.valueLength = 52;
    tree("a fixed part without signature").value[0] = 0;
    tree("a short fixed part").value.resize(48);
    tree("no fixed part").value.clear();
    for (const auto& [what, root] : trees) {
        SCOPED_TRACE(what);
        Version version(root);
        EXPECT_EQ(version.value("\\"), root.value == fixedPart() ? fixedPart() : notFound);
        EXPECT_EQ(version.string("V"), withNul("abc"));
        EXPECT_EQ(version.string("W"), notFound);
    }
}

TEST(VersionResource, IsChosenByLanguage) {
    const std::pair<std::vector<std::uint32_t>, const char*> cases[] = {
        {{0x407, 0x409, 0}, "2"}, {{0x407, 0x409}, "1"}, {{0x40C, 0x407}, "0"}};
    for (const auto& [languages, expected] : cases) {
        SCOPED_TRACE(expected);
        VersionImage image;
        for (const std::uint32_t language : languages) {
            const std::u16string place(1, static_cast<char16_t>(u'0' + image.resources.size()));
            const auto root = versionRoot({stringTable(u"040904b0", {text(u"V", place)})});
            image.resources.push_back({language, root.bytes()});
        }
        EXPECT_EQ(Version(image.bytes()).string("V"), withNul(expected));
    }
}

TEST(VersionResource, IsNoneInAnImageCutAnywhere) {
    const std::string whole = imageOf(usualVersion()).bytes();
    MemoryFile file("");
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        ASSERT_TRUE(file.setContents(whole.substr(0, size)));
        ASSERT_EQ(platform::GetFileVersionInfoSizeA(file.name().c_str(), nullptr) != 0,
                  size == whole.size())
            << size;
    }
}

TEST(VersionResource, IsMissingFromOtherImagesAndImagesThatLie) {
    VersionImage layout = imageOf(usualVersion());
    constexpr std::size_t header = VersionImage::imageHeader;
    constexpr std::size_t types = VersionImage::directories;
    constexpr std::size_t names = types + 24;
    constexpr std::size_t languages = names + 24;
    constexpr std::size_t dataEntry = languages + 24;
    const std::size_t section = layout.sectionTable();
    const std::size_t directory = layout.resourceDirectoryEntry();
    const struct {
        const char* what;
        std::size_t offset;
        std::string bytes;
        platform::DWORD error;
        bool hasDataSection = false;
    } cases[] = {
        {"no program", 0, "ZM", 193},
        {"an old program", header, doubleWord(0), 193},
        {"an unknown kind of image", header + 24, word(0x107), 193},
        {"headers far away", 0x3C, doubleWord(0xFFFFFFFF), 193},
        {"no resources", directory, doubleWord(0), 1812},
        {"no directory for them", directory - 20, doubleWord(2), 1812},
        {"a header too short for them", header + 20, word(128), 1812},
        {"directory outside", directory, doubleWord(0xFFFFFFF0), 193},
        {"no section", header + 6, word(0), 193},
        {"section without bytes", section + 16, doubleWord(0), 193},
        {"section behind the end", section + 20, doubleWord(0xFFFFFE00), 193},
        {"other resources", types + 16, doubleWord(24), 1813},
        {"millions of entries", types + 12, word(0xFFFF) + word(0xFFFF) + doubleWord(1), 1813},
        {"directory that is its own entry", types + 20, doubleWord(0x80000000), 1815},
        {"entry outside", types + 20, doubleWord(0xFFFFFFFF), 1814},
        {"type that is no directory", types + 20, doubleWord(24), 1813},
        {"name that is no directory", names + 20, doubleWord(48), 1814},
        {"languages that are the root", names + 20, doubleWord(0x80000000), 1815},
        {"no language", languages + 14, word(0), 1815},
        {"language that is a directory", languages + 20, doubleWord(0x80000000), 1815},
        {"data outside", dataEntry, doubleWord(0xFFFFFFFF), 193},
        {"data in front of the directories", dataEntry, doubleWord(0xFFF), 193},
        {"data of 4 GiB", dataEntry + 4, doubleWord(0xFFFFFFFF), 193},
        {"data of no size", dataEntry + 4, doubleWord(7), 1812},
        {"resource of no length", dataEntry + 16, word(7), 1812},
        // The first one counts.
        {"sections that overlap", section + 40 + 12, doubleWord(0x1000), 193, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        layout.hasDataSection = c.hasDataSection;
        std::string image = layout.bytes();
        image.replace(c.offset, c.bytes.size(), c.bytes);
        EXPECT_FALSE(Version(image).info.hasInfo());
        EXPECT_EQ(platform::GetLastError(), c.error);
    }
    layout.name = 7;
    EXPECT_TRUE(Version(layout.bytes()).info.hasInfo());
}

TEST(VersionResource, IsSoughtInFilesOnly) {
    const TemporaryDirectory directory;
    const std::string pipe = directory.name("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const std::pair<std::string, platform::DWORD> cases[] = {
        {directory.name("missing"), 2},
        {directory.file("plain") + "/below", 3},
        {directory.name(), 5},
        {pipe, 193},
        {"/dev/zero", 193},
        {"/proc/self/maps", 193}};
    const std::size_t descriptors = openDescriptors();
    for (const auto& [name, error] : cases) {
        SCOPED_TRACE(name);
        EXPECT_EQ(platform::GetFileVersionInfoSizeA(name.c_str(), nullptr), 0U);
        EXPECT_EQ(platform::GetLastError(), error);
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(VersionResource, FailsWhenTheFileHasChangedSinceItsSizeWasAsked) {
    VersionEntry large = usualVersion();
    large.children.push_back(translation(std::string(500, 'v')));
    const std::string small = imageOf(usualVersion()).bytes();
    const MemoryFile file(small);
    const std::string name = file.name();
    const platform::DWORD size = platform::GetFileVersionInfoSizeA(name.c_str(), nullptr);
    const auto block = std::make_unique<unsigned char[]>(size);
    const std::pair<std::string, platform::DWORD> cases[] = {
        {imageOf(large).bytes(), ERROR_INSUFFICIENT_BUFFER},
        {small.substr(0, small.size() / 2), ERROR_BAD_EXE_FORMAT}};
    for (const auto& [contents, error] : cases) {
        ASSERT_TRUE(file.setContents(contents));
        EXPECT_FALSE(platform::GetFileVersionInfoA(name.c_str(), 0, size, block.get()));
        EXPECT_EQ(platform::GetLastError(), error);
    }
    void* value = nullptr;
    platform::UINT length = 0;
    EXPECT_FALSE(platform::VerQueryValueA(block.get(), "\\", &value, &length));
    EXPECT_EQ(platform::GetLastError(), ERROR_INVALID_DATA);
}

}  // namespace
