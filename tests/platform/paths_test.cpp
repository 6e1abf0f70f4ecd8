#include "platform/posix/paths.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sorvex/bfile.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/posix/host_path.h"
#include "support/child_process.h"
#include "support/failure_assertions.h"
#include "support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;
using namespace Sorvex;
using Sorvex::testing::contentsOf;

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
    EXPECT_EQ(fullPath((std::string("\\") + std::string(4000, 'a') + "\\..\\b").c_str()), "C:\\b");
    EXPECT_EQ(fullPath(std::string(20000, 'a').c_str()), "");
    EXPECT_EQ(errno, ERANGE);
}

class PathsTest : public ::testing::Test {
protected:
    Sorvex::testing::TemporaryDirectory directory;
};

TEST_F(PathsTest, TellsTheKindsThatThePlatformKnowsAndNoOther) {
    ASSERT_EQ(mkfifo(directory.name("pipe").c_str(), 0640), 0);
    ASSERT_EQ(chmod(directory.name("pipe").c_str(), 0640), 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    directory.name("socket").copy(address.sun_path, sizeof address.sun_path - 1);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    close(descriptor);
    EXPECT_EQ(BPath(directory.name("pipe")).attributes(), 0x11A0UL);
    EXPECT_EQ(BPath(directory.name("socket")).attributes() & BPath::Attr(0xF000), 0UL);
    EXPECT_TRUE(BPath("/dev/null").hasAttribute(BPath::characterDevice));
    EXPECT_FALSE(BPath("C:\\dev\\null").hasAttribute(BPath::directory | BPath::normalFile));
}

TEST_F(PathsTest, GivesBackTheBitsBeyondThePermissions) {
    const std::string name = directory.name("directory");
    fs::create_directory(name);
    ASSERT_EQ(chmod(name.c_str(), 03751), 0);
    BPath path(name);
    path.setAttributes(path.attributes()).getInformation();
    EXPECT_EQ(path.attributes(), 0x4000UL | 03751UL);
}

TEST_F(PathsTest, RemovesALinkAndNothingBehindIt) {
    fs::create_directory(directory.name("directory"));
    directory.file("directory/file", "contents");
    const struct {
        const char* contents;
        const char* name;
        int rmdirErrno;  // 0 when _rmdir removes it
    } cases[] = {{"directory", "link", 0},
                 {"directory", "link\\", 0},
                 {"directory/file", "link", ENOTDIR},
                 {"missing", "link", ENOTDIR}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.contents);
        fs::create_symlink(c.contents, directory.name("link"));
        const std::string name = directory.name(c.name);
        EXPECT_EQ(platform::_rmdir(name.c_str()), c.rmdirErrno == 0 ? 0 : -1);
        if (c.rmdirErrno != 0) {
            EXPECT_EQ(errno, c.rmdirErrno);
            BFile::remove(name.c_str());
        }
        EXPECT_FALSE(fs::is_symlink(directory.name("link")));
        EXPECT_EQ(contentsOf(directory.name("directory/file")), "contents");
    }
}

TEST_F(PathsTest, ReachesFilesWithABackslashInTheName) {
    const std::string host = directory.name("a\\b");
    const std::string shown = platform::libraryName(host);
    BFile file(shown);
    file.create("wb") << "contents";
    file.close();
    EXPECT_EQ(contentsOf(host), "contents");
    EXPECT_EQ(file.fullName(), shown);
    EXPECT_EQ(file.fileName(),
              "a\xEF\x81\x9C"
              "b");
    file.copy((shown + "2").c_str(), false).remove();
    EXPECT_TRUE(fs::exists(host + "2"));
    EXPECT_FALSE(fs::exists(host));
}

TEST_F(PathsTest, RenamesWithoutEverReplacing) {
    const std::string source = directory.file("source", "new");
    const std::string target = directory.file("target", "old");
    fs::create_symlink("nowhere", directory.name("dangling"));
    fs::create_directory(directory.name("directory"));
    for (const char* taken : {"target", "dangling", "directory"}) {
        EXPECT_EQ(platform::rename(source.c_str(), directory.name(taken).c_str()), -1);
        EXPECT_EQ(errno, EEXIST);
    }
    EXPECT_EQ(contentsOf(target), "old");
    // A file that comes to be between the question and the renaming survives, too.
    for (int round = 0; round < 200; ++round) {
        const std::string contested = directory.name("contested");
        std::atomic<int> ready = 0;
        bool isMade = false;
        std::thread maker([&] {
            ++ready;
            while (ready < 2)
                std::this_thread::yield();
            try {
                BFile(contested).create("wx") << "made";
                isMade = true;
            } catch (const std::runtime_error&) {}
        });
        ++ready;
        while (ready < 2)
            std::this_thread::yield();
        const bool isMoved = platform::rename(source.c_str(), contested.c_str()) == 0;
        maker.join();
        ASSERT_NE(isMoved, isMade);
        ASSERT_EQ(contentsOf(contested), isMoved ? "new" : "made");
        directory.file("source", "new");
        fs::remove(contested);
    }
}

TEST_F(PathsTest, AsksForTheRightsOfTheRunningUser) {
    const std::string secret = directory.file("secret");
    ASSERT_EQ(chmod(secret.c_str(), 0), 0);
    const std::string shared = directory.file("shared");
    ASSERT_EQ(chmod(shared.c_str(), 0444), 0);
    fs::create_directory(directory.name("closed"));
    const std::string inside = directory.file("closed/inside");
    ASSERT_EQ(chmod(directory.name("closed").c_str(), 0), 0);
    EXPECT_EQ(Sorvex::testing::runUnprivileged([&] {
                  EXPECT_TRUE(BFile::canAccess(secret.c_str(), BFile::accessExists));
                  EXPECT_FALSE(BFile::canAccess(secret.c_str(), BFile::accessRead));
                  EXPECT_TRUE(BFile::canAccess(shared.c_str(), BFile::accessRead));
                  EXPECT_FALSE(BFile::canAccess(shared.c_str(), BFile::accessReadWrite));
                  EXPECT_FALSE(BPath::exists(inside.c_str()));
                  const std::string denied = inside + " " + std::strerror(EACCES);
                  EXPECT_FAILURE(BPath(inside).getInformation(),
                                 "BPath::getInformation(): file not found " + denied);
                  EXPECT_FAILURE(BFile::remove(inside.c_str()),
                                 "BFile::remove(): error removing file " + denied);
                  EXPECT_FAILURE(BFile(secret).open("rb"),
                                 "BFile::create(): can not fopen " + secret + " mode:rb.");
              }),
              0);
    ASSERT_EQ(chmod(directory.name("closed").c_str(), 0755), 0);
}

}  // namespace
