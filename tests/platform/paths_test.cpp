#include "platform/posix/paths.h"

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "platform/posix/host_path.h"

namespace {

using namespace Sorvex;

std::string fullPath(const char* name) {
    char buffer[260];
    return platform::_fullpath(buffer, name, sizeof buffer) == nullptr ? "" : buffer;
}

TEST(HostPath, MapsDriveSeparatorsAndBackslash) {
    const struct {
        const char* name;
        const char* host;
    } cases[] = {
        {"C:\\home\\ada\\a.txt", "/home/ada/a.txt"},
        {"c:/home\\ada/a.txt", "/home/ada/a.txt"},
        {"\\home\\ada", "/home/ada"},
        {"C:a.txt", "a.txt"},
        {"..\\a", "../a"},
        {"C:", "/"},
        {"C:\\", "/"},
        {"\\\\", "//"},
        {"C:\\\\logs\\", "//logs/"},
        {"a\xEF\x81\x9C"
         "b",
         "a\\b"},
        {"\xEF\x81", "\xEF\x81"},
        {"\xFF\n:", "\xFF\n:"},
        {"1:2", "1:2"},
        // What doesn't exist here is the empty name, which the host refuses.
        {"", ""},
        {nullptr, ""},
        {"Z:", ""},
        {"Z:\\a", ""},
        {"Z:a", ""},
        {"\\\\server\\share\\a", ""},
        {"//server", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name == nullptr ? "null" : c.name);
        EXPECT_STREQ(platform::HostPath(c.name).c_str(), c.host);
    }
}

TEST(HostPath, LeavesWhatIsTooLongTooLong) {
    const std::string name(1000000, 'a');
    EXPECT_EQ(platform::_access(name.c_str(), 0), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    const std::string fits = std::string(4090, '/') + "tmp";
    EXPECT_EQ(platform::_access(fits.c_str(), 0), 0);
}

TEST(LibraryName, SpellsNamesOfTheHost) {
    EXPECT_EQ(platform::libraryName("/home/a\\b"),
              "C:\\home\\a\xEF\x81\x9C"
              "b");
    EXPECT_EQ(platform::libraryName("/"), "C:\\");
    EXPECT_EQ(platform::libraryName("a/b"), "a\\b");
}

TEST(FullPath, ResolvesByTheTextAlone) {
    const struct {
        const char* name;
        const char* full;
    } cases[] = {
        {"C:\\dir\\a.txt", "C:\\dir\\a.txt"},
        {"c:/x/../y", "C:\\y"},
        {"/a//b/./c/", "C:\\a\\b\\c\\"},
        {"\\a\\..\\..\\..\\b", "C:\\b"},
        {"C:\\a\\.", "C:\\a"},
        {"C:\\a\\..", "C:\\"},
        {"C:\\a\\...\\.b", "C:\\a\\...\\.b"},
        {"C:", "C:\\"},
        {"\\", "C:\\"},
        {"\\\\", "C:\\"},
        {"Z:", "Z:\\"},
        {"z:\\a\\b\\", "Z:\\a\\b\\"},
        {"Z:a", "Z:\\a"},
        {"\\\\server\\share\\x\\y", "\\\\server\\share\\x\\y"},
        {"//server/share/x/../../..", "\\\\server\\share"},
        {"\\\\server\\share\\", "\\\\server\\share\\"},
        {"\\\\server", "\\\\server"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(fullPath(c.name), c.full);
    }
}

TEST(FullPath, HoldsAtMost259Characters) {
    const std::string longest = "C:\\" + std::string(256, 'a');
    EXPECT_EQ(fullPath(longest.c_str()), longest);
    EXPECT_EQ(fullPath((longest + "a").c_str()), "");
    EXPECT_EQ(errno, ERANGE);
    // Only the result counts.
    EXPECT_EQ(fullPath(("\\" + std::string(4000, 'a') + "\\..\\b").c_str()), "C:\\b");
    EXPECT_EQ(fullPath(std::string(20000, 'a').c_str()), "");
    EXPECT_EQ(errno, ERANGE);
}

}  // namespace
