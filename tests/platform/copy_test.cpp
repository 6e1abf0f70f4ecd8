#include "platform/posix/copy.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/platform.h"
#include "support/child_process.h"
#include "support/process_facts.h"
#include "support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;
using namespace Sorvex;
using Sorvex::testing::contentsOf;

bool copyFile(const std::string& source, const std::string& target, bool overwrite = false) {
    return platform::CopyFileA(source.c_str(), target.c_str(), overwrite ? FALSE : TRUE) != 0;
}

std::size_t entriesOf(const Sorvex::testing::TemporaryDirectory& directory) {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(directory.path()), fs::directory_iterator()));
}

class CopyTest : public ::testing::Test {
protected:
    // Files get no longer than this many bytes from now on, in a child.
    static void limitFileSize(rlim_t size) {
        const rlimit limit{size, size};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }

    Sorvex::testing::TemporaryDirectory directory;
};

TEST_F(CopyTest, TakesContentsBitsAndTimeOfModification) {
    for (const std::size_t size : {0U, 1U, 511U, 4096U, 4097U, 1000003U}) {
        SCOPED_TRACE(size);
        std::string contents(size, 'x');
        if (size > 1)
            contents[size / 2] = '\0';
        const std::string source = directory.file("source", contents);
        const std::string target = directory.name("target" + std::to_string(size));
        ASSERT_EQ(chmod(source.c_str(), 0517), 0);
        const timespec times[] = {{1000000000, 5}, {1234567890, 123456789}};
        ASSERT_EQ(utimensat(AT_FDCWD, source.c_str(), times, 0), 0);
        ASSERT_TRUE(copyFile(source, target));
        struct stat facts {};
        ASSERT_EQ(stat(target.c_str(), &facts), 0);
        EXPECT_EQ(facts.st_mode, mode_t{S_IFREG | 0517});
        EXPECT_EQ(facts.st_mtim.tv_sec, 1234567890);
        EXPECT_EQ(facts.st_mtim.tv_nsec, 123456789);
        EXPECT_EQ(contentsOf(target), contents);
        fs::remove(source);
    }
}

TEST_F(CopyTest, LeavesHolesHoles) {
    constexpr off_t size = off_t{3} << 30;
    const std::string source = directory.file("source", "start");
    const int file = open(source.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_EQ(pwrite(file, "middle", 6, 1 << 30), 6);
    ASSERT_EQ(ftruncate(file, size), 0);
    close(file);
    ASSERT_TRUE(copyFile(source, directory.name("target")));
    struct stat facts {};
    ASSERT_EQ(stat(directory.name("target").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_size, size);
    EXPECT_LT(facts.st_blocks, 2048);
    std::ifstream target(directory.name("target"), std::ios::binary);
    std::string middle(6, ' ');
    EXPECT_EQ(target.seekg(1 << 30).read(middle.data(), 6).gcount(), 6);
    EXPECT_EQ(middle, "middle");
}

TEST_F(CopyTest, CopiesWhatTheHostMakesUpWhileItIsRead) {
    ASSERT_TRUE(copyFile("/proc/self/limits", directory.name("target")));
    EXPECT_NE(contentsOf(directory.name("target")).find("Max open files"), std::string::npos);
}

TEST_F(CopyTest, RefusesAFileOntoItselfUnderAnyName) {
    const std::string source = directory.file("source", "contents");
    fs::create_hard_link(source, directory.name("hard"));
    fs::create_symlink("source", directory.name("link"));
    fs::create_symlink("link", directory.name("link to link"));
    const std::string names[] = {
        "source",       "hard",     "link",
        "link to link", "./source", (".." / directory.path().filename() / "source").string()};
    for (const std::string& from : names)
        for (const std::string& to : names)
            for (const bool overwrite : {false, true}) {
                SCOPED_TRACE(::testing::Message() << from << " to " << to);
                EXPECT_FALSE(copyFile(directory.name(from), directory.name(to), overwrite));
                EXPECT_EQ(errno, overwrite ? EINVAL : EEXIST);
            }
    EXPECT_EQ(contentsOf(source), "contents");
    EXPECT_TRUE(fs::is_symlink(directory.name("link")));
    EXPECT_EQ(fs::hard_link_count(source), 2U);
    EXPECT_EQ(entriesOf(directory), 4U);
}

TEST_F(CopyTest, ReplacesOnlyWhenTold) {
    const std::string source = directory.file("source", "new");
    const std::string target = directory.file("target", "old");
    const std::string dangling = directory.name("dangling");
    fs::create_symlink("nowhere", dangling);
    fs::create_hard_link(target, directory.name("other name"));
    for (const std::string& taken : {target, dangling}) {
        EXPECT_FALSE(copyFile(source, taken));
        EXPECT_EQ(platform::GetLastError(), ERROR_FILE_EXISTS);
        EXPECT_EQ(errno, EEXIST);
        EXPECT_TRUE(copyFile(source, taken, true));
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(taken)));
        EXPECT_EQ(contentsOf(taken), "new");
    }
    EXPECT_EQ(contentsOf(directory.name("other name")), "old");
    EXPECT_FALSE(fs::exists(directory.name("nowhere")));
    EXPECT_EQ(entriesOf(directory), 4U);
}

TEST_F(CopyTest, CopiesLinksByWhatIsBehindThem) {
    directory.file("file", "contents");
    fs::create_directory(directory.name("directory"));
    const struct {
        const char* contents;
        bool becomesFile;
    } cases[] = {{"file", true},
                 {"directory", false},
                 {"nowhere", false},
                 {"/dev/null", false},
                 {"loop", false}};
    fs::create_symlink("loop", directory.name("loop"));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.contents);
        fs::remove(directory.name("link"));
        fs::create_symlink(c.contents, directory.name("link"));
        for (const bool overwrite : {false, true}) {
            ASSERT_TRUE(copyFile(directory.name("link"), directory.name("copy"), overwrite));
            EXPECT_EQ(fs::is_symlink(directory.name("copy")), !c.becomesFile);
            if (!c.becomesFile) {
                EXPECT_EQ(fs::read_symlink(directory.name("copy")), c.contents);
            }
        }
        fs::remove(directory.name("copy"));
    }
}

TEST_F(CopyTest, MakesPipesAndRefusesSocketsDevicesAndDirectories) {
    const std::string pipe = directory.name("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    ASSERT_EQ(chmod(pipe.c_str(), 0666), 0);
    EXPECT_TRUE(copyFile(pipe, directory.name("pipe 2")));
    EXPECT_TRUE(copyFile(pipe, directory.name("pipe 2"), true));
    struct stat facts {};
    ASSERT_EQ(stat(directory.name("pipe 2").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode, mode_t{S_IFIFO | 0666});

    EXPECT_FALSE(copyFile("/dev/null", directory.name("target")));
    EXPECT_EQ(platform::GetLastError(), ERROR_NOT_SUPPORTED);
    EXPECT_FALSE(copyFile(directory.name(), directory.name("target")));
    EXPECT_EQ(platform::GetLastError(), ERROR_ACCESS_DENIED);
    const std::string source = directory.file("source");
    fs::create_directory(directory.name("directory"));
    EXPECT_FALSE(copyFile(source, directory.name("directory"), true));
    EXPECT_EQ(errno, EISDIR);
    EXPECT_FALSE(copyFile(source, directory.name("missing/target")));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(copyFile(source, directory.name("target/")));
    EXPECT_FALSE(copyFile(source, ""));
    EXPECT_FALSE(copyFile(source, "Z:\\target"));

    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string socketName = directory.name("socket");
    socketName.copy(address.sun_path, sizeof address.sun_path - 1);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    close(descriptor);
    EXPECT_FALSE(copyFile(socketName, directory.name("target")));
    EXPECT_FALSE(copyFile(source, socketName, true));
    EXPECT_TRUE(fs::is_socket(socketName));
    EXPECT_EQ(entriesOf(directory), 5U);
}

TEST_F(CopyTest, LeavesTheOldTargetAndNothingElseWhenTheDiskIsFull) {
    const std::string source = directory.file("source", std::string(500000, 'n'));
    const std::string old = directory.file("old", "old");
    const std::string fresh = directory.name("fresh");
    EXPECT_EQ(Sorvex::testing::runInChild([&] {
                  std::signal(SIGXFSZ, SIG_IGN);
                  limitFileSize(100000);
                  const std::size_t before = Sorvex::testing::openDescriptors();
                  for (const bool overwrite : {false, true}) {
                      EXPECT_FALSE(copyFile(source, overwrite ? old : fresh, overwrite));
                      EXPECT_EQ(errno, EFBIG);
                      EXPECT_EQ(platform::GetLastError(), ERROR_FILE_TOO_LARGE);
                  }
                  EXPECT_EQ(Sorvex::testing::openDescriptors(), before);
              }),
              0);
    EXPECT_EQ(contentsOf(old), "old");
    EXPECT_EQ(entriesOf(directory), 2U);
}

TEST_F(CopyTest, LeavesNothingOnAFullFileSystem) {
    const std::string source = directory.file("source", std::string(500000, 'n'));
    const std::string small = directory.name("small");
    fs::create_directory(small);
    constexpr int noPrivilege = 77;
    const int status = Sorvex::testing::runInChild([&] {
        // Seen by the child alone, and gone with it.
        if (unshare(CLONE_NEWNS) != 0 ||
            mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", small.c_str(), "tmpfs", 0, "size=300k") != 0)
            _exit(noPrivilege);
        std::ofstream(small + "/old") << "old";
        for (const bool overwrite : {false, true}) {
            EXPECT_FALSE(copyFile(source, small + (overwrite ? "/old" : "/fresh"), overwrite));
            EXPECT_EQ(errno, ENOSPC);
            EXPECT_EQ(platform::GetLastError(), ERROR_DISK_FULL);
        }
        EXPECT_EQ(contentsOf(small + "/old"), "old");
        EXPECT_EQ(fs::space(small).free, 300 * 1024 - 4096U);
        EXPECT_EQ(std::distance(fs::directory_iterator(small), fs::directory_iterator()), 1);
    });
    if (WIFEXITED(status) && WEXITSTATUS(status) == noPrivilege)
        GTEST_SKIP() << "only root can mount";
    EXPECT_EQ(status, 0);
}

TEST_F(CopyTest, LeavesNothingBehindWhenTheProcessIsKilled) {
#ifdef SORVEX_OLDER_HOST
    GTEST_SKIP() << "a file in the making has a name there";
#endif
    const std::string source = directory.file("source", std::string(500000, 'n'));
    const std::string old = directory.file("old", "old");
    for (const bool overwrite : {false, true}) {
        const int status = Sorvex::testing::runInChild([&] {
            const rlimit noCore{0, 0};
            setrlimit(RLIMIT_CORE, &noCore);
            std::signal(SIGXFSZ, SIG_DFL);
            limitFileSize(100000);
            copyFile(source, overwrite ? old : directory.name("fresh"), overwrite);
        });
        EXPECT_TRUE(WIFSIGNALED(status));
    }
    EXPECT_EQ(contentsOf(old), "old");
    EXPECT_EQ(entriesOf(directory), 2U);
}

TEST_F(CopyTest, LetsOnlyOneOfTwoRacingCopiesWin) {
    const std::string sources[] = {directory.file("0", std::string(70000, '0')),
                                   directory.file("1", std::string(70000, '1'))};
    for (int round = 0; round < 200; ++round) {
        const std::string target = directory.name("target" + std::to_string(round));
        std::atomic<int> ready = 0;
        bool won[2] = {};
        const auto race = [&](int racer) {
            ++ready;
            while (ready < 2)
                std::this_thread::yield();
            won[racer] = copyFile(sources[racer], target);
        };
        std::thread other(race, 1);
        race(0);
        other.join();
        ASSERT_NE(won[0], won[1]);
        ASSERT_EQ(contentsOf(target), std::string(70000, won[0] ? '0' : '1'));
        fs::remove(target);
    }
    EXPECT_EQ(entriesOf(directory), 2U);
}

TEST_F(CopyTest, LeavesWhatTheUserMayNotTouch) {
    const std::string secret = directory.file("secret", "secret");
    const std::string source = directory.file("source", "new");
    ASSERT_EQ(chmod(secret.c_str(), 0), 0);
    const std::string own = directory.name("own");
    fs::create_directory(own);
    const std::string closed = directory.name("closed");
    fs::create_directory(closed);
    const std::string open = directory.file("closed/open", "old");
    ASSERT_EQ(chmod(open.c_str(), 0666), 0);
    ASSERT_EQ(chmod(closed.c_str(), 0555), 0);
    ASSERT_EQ(chmod(own.c_str(), 0777), 0);
    EXPECT_EQ(Sorvex::testing::runUnprivileged([&] {
                  const std::string locked = own + "/locked";
                  ASSERT_TRUE(copyFile(source, locked));
                  ASSERT_EQ(chmod(locked.c_str(), 0444), 0);
                  const std::size_t before = Sorvex::testing::openDescriptors();
                  const struct {
                      std::string from, to;
                  } refused[] = {{secret, own + "/target"},
                                 {source, closed + "/target"},
                                 {source, open},
                                 {source, locked}};
                  for (const auto& c : refused) {
                      SCOPED_TRACE(::testing::Message() << c.from << " to " << c.to);
                      EXPECT_FALSE(copyFile(c.from, c.to, true));
                      EXPECT_EQ(errno, EACCES);
                      EXPECT_EQ(platform::GetLastError(), ERROR_ACCESS_DENIED);
                  }
                  EXPECT_EQ(Sorvex::testing::openDescriptors(), before);
                  EXPECT_TRUE(copyFile(source, own + "/fresh"));
                  EXPECT_TRUE(copyFile(source, own + "/fresh", true));
              }),
              0);
    EXPECT_EQ(contentsOf(open), "old");
    ASSERT_EQ(chmod(closed.c_str(), 0755), 0);
}

TEST_F(CopyTest, LeavesAReplacedFileToItsOwner) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give files away";
    const std::string source = directory.file("source", "new");
    const std::string target = directory.file("target", "old");
    ASSERT_EQ(chmod(source.c_str(), 04755), 0);
    ASSERT_EQ(chown(target.c_str(), 12345, 54321), 0);
    ASSERT_TRUE(copyFile(source, target, true));
    struct stat facts {};
    ASSERT_EQ(stat(target.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_uid, 12345U);
    EXPECT_EQ(facts.st_gid, 54321U);
    EXPECT_EQ(facts.st_mode, mode_t{S_IFREG | 0755});
}

TEST_F(CopyTest, MovesFilesAndLinksToAnotherFileSystem) {
    struct stat here {};
    struct stat there {};
    if (stat("/dev/shm", &there) != 0 || access("/dev/shm", W_OK) != 0 ||
        stat(directory.name().c_str(), &here) != 0 || here.st_dev == there.st_dev)
        GTEST_SKIP() << "no second file system";
    const std::string other = "/dev/shm/" + directory.path().filename().string();
    fs::create_directory(other);
    directory.file("file", "contents");
    fs::create_symlink("file", directory.name("link"));
    fs::create_directory(directory.name("directory"));
    const auto move = [&](const std::string& name) {
        return platform::rename(directory.name(name).c_str(), (other + "/" + name).c_str());
    };
    EXPECT_EQ(move("link"), 0);
    EXPECT_EQ(fs::read_symlink(other + "/link"), "file");
    EXPECT_EQ(move("file"), 0);
    EXPECT_EQ(contentsOf(other + "/file"), "contents");
    EXPECT_EQ(move("directory"), -1);
    EXPECT_EQ(errno, EXDEV);
    directory.file("file", "second");
    EXPECT_EQ(move("file"), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(contentsOf(other + "/file"), "contents");
    EXPECT_EQ(contentsOf(directory.name("file")), "second");
    fs::remove_all(other);
}

}  // namespace
