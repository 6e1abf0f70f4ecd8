#include "platform/posix/files/paths.h"

#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/bfile.h>

#include "platform/posix/files/host_path.h"
#include "support/child_process.h"
#include "support/directory_test.h"

namespace {

using namespace Sorvex;

TEST(HostPath, MapsDriveSeparatorsAndBackslash) {
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"/home/ada/a.txt", {"C:\\home\\ada\\a.txt", "c:/home\\ada/a.txt", "\\home\\ada\\a.txt"}},
        {"../a", {"..\\a", "C:..\\a"}},
        {"/", {"C:", "C:\\", "\\"}},
        {"\\z", {"\xEF\x81\x9Cz"}},
        {"1:\xFF\n\xEF\x81", {"1:\xFF\n\xEF\x81"}},
        // What doesn't exist here is the empty name, which the host refuses.
        {"", {"", nullptr, "Z:", "Z:\\a", "Z:a", "\\\\server\\share\\a", "//server"}},
    };
    for (const auto& [host, names] : cases)
        for (const char* name : names)
            EXPECT_STREQ(platform::HostPath(name).c_str(), host);
    EXPECT_EQ(platform::_access((std::string(4090, '/') + "tmp").c_str(), 0), 0);
    EXPECT_EQ(platform::_access(std::string(1000000, 'a').c_str(), 0), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST(FullPath, ResolvesByTheTextAloneToAtMost259Characters) {
    const std::string longest = "C:\\" + std::string(256, 'a');
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"C:\\y", {"c:/x/../y", "\\x\\..\\..\\..\\y", "\\" + std::string(4000, 'a') + "\\..\\y"}},
        {"C:\\a\\b\\c\\", {"/a//b/./c/"}},
        {"C:\\a\\...\\.b", {"C:\\a\\...\\.b"}},
        {"C:\\", {"C:\\a\\..", "C:", "\\", "\\\\"}},
        {"Z:\\a\\", {"z:\\a\\", "Z:a/", "Z:/a\\./"}},
        {"\\\\server\\share\\x", {"\\\\server\\share\\x"}},
        {"\\\\server\\share", {"//server/share/x/../../.."}},
        {"\\\\server", {"\\\\server"}},
        {longest, {longest}},
        {"", {longest + "a", std::string(20000, 'a')}},
    };
    char buffer[260];
    for (const auto& [full, names] : cases)
        for (const std::string& name : names) {
            const char* const result = platform::_fullpath(buffer, name.c_str(), sizeof buffer);
            EXPECT_EQ(result == nullptr ? "" : result, full) << name;
            EXPECT_TRUE(result != nullptr || errno == ERANGE);
        }
}

using PathsTest = Sorvex::testing::DirectoryTest;

TEST_F(PathsTest, TellsTheKindsThatThePlatformKnowsAndAllBits) {
    const std::string pipe = directory.name("pipe");
    const std::string socket = directory.name("socket");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    ASSERT_EQ(mknod(socket.c_str(), S_IFSOCK | 0600, 0), 0);
    EXPECT_EQ(BPath(pipe).attributes(), 0x1180UL);
    EXPECT_EQ(BPath(socket).attributes() & 0xF000UL, 0UL);
    EXPECT_EQ(BPath("C:\\dev\\null").attributes() & 0xF000UL, 0x2000UL);
    ASSERT_EQ(chmod(pipe.c_str(), 03751), 0);
    BPath path(pipe);
    path.setAttributes(path.attributes()).getInformation();
    EXPECT_EQ(path.attributes(), 0x1000UL | 03751UL);
    // What runs with its owner's rights is not made of anything by asking for all.
    path.setAttributes(BPath::allAttr).getInformation();
    EXPECT_EQ(path.attributes(), 0x1000UL | 03777UL);
    path.setAttributes(BPath::readPermision).getInformation();
    path.setAttributes(BPath::allAttr).getInformation();
    EXPECT_EQ(path.attributes(), 0x1000UL | 0777UL);
}

TEST_F(PathsTest, TakesALinkForWhatItIsWhereANameMustBeFree) {
    namespace fs = std::filesystem;
    build({"real", "new", "folder/"});
    fs::create_symlink("../link", host("folder/chain"));
    fs::create_symlink("./././././real", host("link"));
    fs::create_symlink("nowhere", host("dangling"));
    // The host takes this name, but not one with what the link leads to behind it.
    std::string longest = directory.name();
    longest.resize(4091, '/');
    for (const std::string& from :
         {longest + "link", directory.name("link"), directory.name("folder/chain")})
        for (const char* to : {"real", "link"})
            BPath::move(from.c_str(), directory.name(to).c_str(), true);
    EXPECT_EQ(Sorvex::testing::contentsOf(host("real")), "real");
    EXPECT_TRUE(fs::is_symlink(host("link")));
    EXPECT_EQ(fs::read_symlink(host("folder/chain")), "../link");
    EXPECT_EQ(BFile::safeFileName(directory.name("dangling")), directory.name("dangling.001"));
    EXPECT_THROW(BPath(directory.name("new")).move(in("dangling").c_str(), false),
                 std::runtime_error);
    BPath::move(directory.name("new").c_str(), directory.name("dangling").c_str(), true);
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(host("dangling"))));
    EXPECT_EQ(treeOf("").size(), 5U);
}

// A process may act for another user than the one who started it.
TEST_F(PathsTest, AsksForTheRightsThatCountForOpening) {
    const std::string secret = directory.file("secret");
    const std::string shared = directory.file("shared");
    ASSERT_EQ(chmod(secret.c_str(), 0) + chmod(shared.c_str(), 0444), 0);
    const int status = Sorvex::testing::runInChild([&] {
        constexpr unsigned nobody = 65534;
        ASSERT_TRUE(geteuid() != 0 || setegid(nobody) + seteuid(nobody) == 0);
        EXPECT_TRUE(BFile::canAccess(secret.c_str(), BFile::accessExists));
        EXPECT_FALSE(BFile::canAccess(secret.c_str(), BFile::accessRead));
        EXPECT_TRUE(BFile::canAccess(shared.c_str(), BFile::accessRead));
        EXPECT_FALSE(BFile::canAccess(shared.c_str(), BFile::accessReadWrite));
    });
    EXPECT_EQ(status, 0);
}

}  // namespace
