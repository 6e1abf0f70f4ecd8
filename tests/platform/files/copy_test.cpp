#include "platform/posix/files/copy.h"

#include <barrier>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/platform.h"
#include "support/child_process.h"
#include "support/directory_test.h"
#include "support/process_facts.h"

namespace {

namespace fs = std::filesystem;
using namespace Sorvex;
using Sorvex::testing::contentsOf;
using Sorvex::testing::openDescriptors;

bool copyFile(const std::string& source, const std::string& target, bool overwrite = false) {
    return platform::CopyFileA(source.c_str(), target.c_str(), overwrite ? FALSE : TRUE) != 0;
}

struct stat factsOf(const std::string& name) {
    struct stat facts {};
    EXPECT_EQ(lstat(name.c_str(), &facts), 0) << name;
    return facts;
}

class CopyTest : public Sorvex::testing::DirectoryTest {
protected:
    const std::string source = directory.file("source", "new");
    const std::string target = directory.name("target");
};

TEST_F(CopyTest, TakesContentsBitsAndTimeOfModification) {
    for (const std::size_t size : {0U, 1U, 4096U, 4097U, 1000003U}) {
        const std::string contents =
            std::string(size / 2, 'x') + std::string(size - size / 2, '\0');
        directory.file("source", contents);
        ASSERT_EQ(chmod(source.c_str(), 0717), 0);
        const timespec times[] = {{1000000000, 5}, {1234567890, 123456789}};
        ASSERT_EQ(utimensat(AT_FDCWD, source.c_str(), times, 0), 0);
        ASSERT_TRUE(copyFile(source, target, true));
        EXPECT_EQ(factsOf(target).st_mode, mode_t{S_IFREG | 0717});
        EXPECT_EQ(fs::last_write_time(target), fs::last_write_time(source));
        EXPECT_TRUE(contentsOf(target) == contents) << size;
    }
    // The host makes these up while they are read, of sizes 0 and 4096.
    for (const char* madeUp : {"/proc/self/limits", "/sys/class/net/lo/mtu"}) {
        ASSERT_TRUE(copyFile(madeUp, target, true));
        EXPECT_EQ(contentsOf(target), contentsOf(madeUp));
    }
}

TEST_F(CopyTest, LeavesHolesHoles) {
    fs::resize_file(source, 1 << 30);
    std::ofstream(source, std::ios::app) << "middle";
    fs::resize_file(source, std::uintmax_t{3} << 30);
    ASSERT_TRUE(copyFile(source, target));
    EXPECT_EQ(factsOf(target).st_size, off_t{3} << 30);
    EXPECT_LT(factsOf(target).st_blocks, 2048);
    std::string middle(6, ' ');
    std::ifstream(target).seekg(1 << 30).read(middle.data(), 6);
    EXPECT_EQ(middle, "middle");
}

TEST_F(CopyTest, RefusesAFileOntoItselfUnderAnyName) {
    fs::create_hard_link(source, host("hard"));
    fs::create_symlink("source", host("link"));
    fs::create_symlink("link", host("link to link"));
    const char* const names[] = {"source", "hard", "link", "link to link", ".//source"};
    for (const char* from : names)
        for (const char* to : names)
            for (const bool overwrite : {false, true}) {
                SCOPED_TRACE(::testing::Message() << from << " to " << to);
                EXPECT_FALSE(copyFile(directory.name(from), directory.name(to), overwrite));
                EXPECT_EQ(errno, overwrite ? EINVAL : EEXIST);
            }
    EXPECT_EQ(contentsOf(source), "new");
    EXPECT_TRUE(fs::is_symlink(host("link")));
    EXPECT_EQ(fs::hard_link_count(source), 2U);
    EXPECT_EQ(treeOf("").size(), 4U);
}

TEST_F(CopyTest, ReplacesOnlyWhenToldAndLeavesAFileToItsOwner) {
    build({"target", "directory/"});
    fs::create_hard_link(target, host("other name"));
    fs::create_symlink("nowhere", host("dangling"));
    for (const char* taken : {"target", "dangling", "directory"}) {
        EXPECT_EQ(platform::rename(source.c_str(), directory.name(taken).c_str()), -1) << taken;
        EXPECT_EQ(errno, EEXIST) << taken;
    }
    ASSERT_EQ(chmod(source.c_str(), 04755), 0);
    const uid_t owner = chown(target.c_str(), 12345, 54321) == 0 ? 12345 : geteuid();
    for (const std::string& taken : {target, directory.name("dangling")}) {
        EXPECT_FALSE(copyFile(source, taken));
        EXPECT_EQ(platform::GetLastError(), ERROR_FILE_EXISTS);
        EXPECT_TRUE(copyFile(source, taken, true));
        EXPECT_EQ(contentsOf(taken), "new");
        EXPECT_EQ(factsOf(taken).st_mode, mode_t{S_IFREG | 0755});
    }
    EXPECT_EQ(factsOf(target).st_uid, owner);
    EXPECT_EQ(contentsOf(host("other name")), "target");
    EXPECT_EQ(treeOf("").size(), 5U);
}

TEST_F(CopyTest, CopiesLinksByWhatIsBehindThem) {
    const std::string link = directory.name("link");
    build({"directory/"});
    for (const std::string behind : {"source", "directory", "nowhere", "/dev/null", "link"}) {
        SCOPED_TRACE(behind);
        fs::remove(link);
        fs::create_symlink(behind, link);
        for (const bool overwrite : {false, true}) {
            ASSERT_TRUE(copyFile(link, target, overwrite));
            EXPECT_EQ(fs::is_symlink(target) ? fs::read_symlink(target).string() : "source",
                      behind);
        }
        fs::remove(target);
    }
}

TEST_F(CopyTest, MakesPipesAndRefusesSocketsDevicesAndDirectories) {
    const std::string pipe = directory.name("pipe");
    const std::string socket = directory.name("socket");
    ASSERT_EQ(mknod(socket.c_str(), S_IFSOCK | 0600, 0), 0);
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    ASSERT_EQ(chmod(pipe.c_str(), 0666), 0);
    for (const bool overwrite : {false, true})
        EXPECT_TRUE(copyFile(pipe, pipe + " 2", overwrite));
    EXPECT_EQ(factsOf(pipe + " 2").st_mode, mode_t{S_IFIFO | 0666});
    const std::pair<platform::DWORD, std::vector<std::pair<std::string, std::string>>> refused[] = {
        {ERROR_NOT_SUPPORTED, {{"/dev/null", target}, {socket, target}, {source, socket}}},
        {ERROR_ACCESS_DENIED, {{directory.name(), target}, {source, directory.name()}}},
        {ERROR_FILE_NOT_FOUND, {{source, target + "/"}, {source, ""}, {source, "Z:\\target"}}},
    };
    for (const auto& [error, pairs] : refused)
        for (const auto& [from, to] : pairs) {
            EXPECT_FALSE(copyFile(from, to, true)) << from << " to " << to;
            EXPECT_EQ(platform::GetLastError(), error) << from << " to " << to;
        }
    EXPECT_EQ(treeOf("").size(), 4U);
}

TEST_F(CopyTest, LeavesTheOldTargetAndNothingElseWhenItCanNotEnd) {
    directory.file("source", std::string(500000, 'n'));
    directory.file("target", "old");
    for (const bool overwrite : {false, true})
        for (const bool isKilled : {false, true}) {
            // There a file in the making has a name.
            if (SORVEX_OLDER_HOST && isKilled)
                continue;
            const int status = Sorvex::testing::runInChild([&] {
                const rlimit noCore{0, 0};
                const rlimit limit{100000, 100000};
                setrlimit(RLIMIT_CORE, &noCore);
                setrlimit(RLIMIT_FSIZE, &limit);
                std::signal(SIGXFSZ, isKilled ? SIG_DFL : SIG_IGN);
                const std::size_t before = openDescriptors();
                EXPECT_FALSE(copyFile(source, overwrite ? target : target + " 2", overwrite));
                EXPECT_EQ(errno, SORVEX_OLDER_HOST ? ENOSPC : EFBIG);
                EXPECT_EQ(openDescriptors(), before);
            });
            EXPECT_EQ(status, isKilled ? SIGXFSZ : 0);
            EXPECT_EQ(contentsOf(target), "old");
            EXPECT_EQ(treeOf("").size(), 2U);
        }
}

TEST_F(CopyTest, LetsOnlyOneRacerTakeAName) {
    for (int round = 0; round < 400; ++round) {
        std::barrier start(2);
        const auto race = [&](bool renames, const std::string& contents) {
            const std::string from = directory.file(contents.substr(0, 1), contents);
            start.arrive_and_wait();
            return renames ? platform::rename(from.c_str(), target.c_str()) == 0
                           : copyFile(from, target);
        };
        bool hasOtherWon = false;
        std::thread other([&] { hasOtherWon = race(round % 2 != 0, std::string(70000, 'o')); });
        const bool hasWon = race(round % 3 == 0, std::string(70000, 'w'));
        other.join();
        ASSERT_NE(hasWon, hasOtherWon);
        ASSERT_EQ(contentsOf(target), std::string(70000, hasWon ? 'w' : 'o'));
        fs::remove(target);
    }
    EXPECT_LE(treeOf("").size(), 3U);
}

TEST_F(CopyTest, LeavesWhatTheUserMayNotTouch) {
    build({"secret", "own/", "closed/open", "hidden/file"});
    fs::create_symlink(host("hidden/file"), host("own/link"));
    for (const auto& [entry, bits] : {std::pair("secret", 0000U),
                                      {"closed/open", 0666},
                                      {"closed", 0555},
                                      {"own", 0777},
                                      {"hidden", 0000}})
        ASSERT_EQ(chmod(host(entry).c_str(), bits), 0);
    const int status = Sorvex::testing::runUnprivileged([&] {
        const std::string own = directory.name("own/");
        const std::string closed = directory.name("closed/");
        ASSERT_TRUE(copyFile(source, own + "locked"));
        ASSERT_TRUE(copyFile(source, own + "locked", true));
        ASSERT_EQ(chmod((own + "locked").c_str(), 0444), 0);
        const std::size_t before = openDescriptors();
        for (const std::string& from : {directory.name("secret"), own + "link"})
            EXPECT_FALSE(copyFile(from, own + "target")) << from;
        for (const std::string& to : {closed + "target", closed + "open", own + "locked"}) {
            EXPECT_FALSE(copyFile(source, to, true)) << to;
            EXPECT_EQ(platform::GetLastError(), ERROR_ACCESS_DENIED);
        }
        EXPECT_EQ(openDescriptors(), before);
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(contentsOf(host("closed/open")), "closed/open");
    for (const char* shut : {"closed", "hidden"})
        chmod(host(shut).c_str(), 0755);
}

TEST_F(CopyTest, MovesFilesPipesAndLinksToAnotherFileSystem) {
    const fs::path memory("/dev/shm");
    const Sorvex::testing::TemporaryDirectory other(fs::exists(memory) ? memory : directory.path());
    if (factsOf(directory.name()).st_dev == factsOf(other.name()).st_dev)
        GTEST_SKIP() << "no second file system";
    build({"directory/"});
    fs::create_symlink("source", host("link"));
    ASSERT_EQ(mkfifo(host("pipe").c_str(), 0600), 0);
    const auto move = [&](const char* name) {
        return platform::rename(host(name).c_str(), other.name(name).c_str());
    };
    for (const char* owned : {"source", "pipe"}) {
        const uid_t owner = chown(host(owned).c_str(), 12345, 54321) == 0 ? 12345 : geteuid();
        EXPECT_EQ(move(owned), 0);
        EXPECT_EQ(factsOf(other.name(owned)).st_uid, owner);
    }
    EXPECT_EQ(move("link"), 0);
    EXPECT_EQ(fs::read_symlink(other.name("link")), "source");
    EXPECT_EQ(treeOf("").size(), 1U);
    EXPECT_EQ(move("directory"), -1);
    EXPECT_EQ(errno, EXDEV);
    build({"source"});
    EXPECT_EQ(move("source"), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(contentsOf(other.name("source")) + contentsOf(source), "newsource");
}

}  // namespace
