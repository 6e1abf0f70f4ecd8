// Walks over directory trees on the host's file system: they stay in their tree, cope with every
// name, and leave nothing open.
#include <atomic>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sorvex/bdirectory.h>
#include <sorvex/cursors.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/child_process.h"
#include "support/directory_test.h"
#include "support/failure_assertions.h"
#include "support/process_facts.h"

namespace {

namespace fs = std::filesystem;
using namespace Sorvex;
using Sorvex::testing::contentsOf;
using Names = std::set<std::string>;

constexpr char removal[] = "BDirectory::remove(): error removing directory ";
constexpr char creation[] = "BDirectory::create(): error creating directory ";
constexpr char search[] = "BPathCursor::BPathCursor(): FindFirstFile() ";

// Whether the host keeps all that it knows of files to itself.
bool isHostSilent = false;

extern "C" int statx(int directory, const char* name, int flags, unsigned mask,
                     struct statx* facts) {
    errno = EACCES;
    return isHostSilent ? -1
                        : static_cast<int>(syscall(SYS_statx, directory, name, flags, mask, facts));
}

class TreeWalks : public Sorvex::testing::DirectoryTest {
protected:
    using DirectoryTest::DirectoryTest;

    void link(const std::string& target, const std::string& entry) const {
        fs::create_symlink(target, host(entry));
    }

    void remove(const std::string& entry) const { BDirectory::remove(in(entry).c_str(), true); }
    void zap(const std::string& entry, const char* pattern) const {
        BDirectory::zap(in(entry).c_str(), pattern);
    }
    void copy(const std::string& from, const std::string& to) const {
        BDirectory::copy(in(from).c_str(), in(to).c_str(), true, true);
    }
};

TEST_F(TreeWalks, RemoveLinksAndNothingBehindThemHoweverTheyAreSpelled) {
    build({"outside/sub/", "outside/file"});
    for (const std::string end : {"", "\\", "//", "\\.", "/./"}) {
        SCOPED_TRACE(end);
        build({"tree/sub/", "tree/file"});
        link("../../outside", "tree/sub/link");
        link("nowhere", "tree/dangling");
        link("loop", "tree/loop");
        zap("tree" + end, "f*");
        EXPECT_EQ(treeOf("tree"), (Names{"sub", "sub/link", "dangling", "loop"}));
        remove("tree" + end);
        link("outside", "link");
        remove("link" + end);
        EXPECT_EQ(treeOf(""), (Names{"outside", "outside/sub", "outside/file"}));
    }
    link("outside/file", "link");
    EXPECT_FAILURE(remove("link"), removal + in("link") + " Not a directory");
    link("outside", "to directory");
    zap("to directory", nullptr);
    EXPECT_EQ(treeOf(""), (Names{"outside", "link", "to directory"}));
}

TEST_F(TreeWalks, CopyLinksAsEntriesAndFollowThemOnlyAtTheirStart) {
    build({"outside/file", "from/sub/", "more/to directory/file"});
    link("../outside", "from/to directory");
    link("../outside/file", "from/to file");
    link("nowhere", "from/sub/dangling");
    link("from", "start");
    copy("start", "to");
    EXPECT_EQ(fs::read_symlink(host("to/to directory")), "../outside");
    EXPECT_EQ(fs::read_symlink(host("to/sub/dangling")), "nowhere");
    // What is behind may be for the copier alone to read.
    EXPECT_EQ(fs::read_symlink(host("to/to file")), "../outside/file");
    EXPECT_FAILURE(copy("more", "to"), creation + in("to\\to directory") + " Not a directory");
    link("outside", "end");
    copy("more", "end");
    EXPECT_EQ(treeOf("outside"), (Names{"file", "to directory", "to directory/file"}));
}

// A tree whose middle is exchanged for a link to a place outside where everything has the same
// names, so that a walk that follows a name only once too often does harm.
class TreeWalkRaces : public TreeWalks {
protected:
    // Where renaming costs no writing to a disk, so that many rounds take little time.
    TreeWalkRaces() : TreeWalks(fs::exists("/dev/shm") ? "/dev/shm" : fs::temp_directory_path()) {}

    bool exchange() const {
        return renameat2(AT_FDCWD, host("tree/victim").c_str(), AT_FDCWD, host("link").c_str(),
                         RENAME_EXCHANGE) == 0;
    }

    // Runs something again and again while the middle is exchanged.
    template <typename Action>
    void race(int rounds, Action action) const {
        build({"outside/file", "outside/deep/file"});
        int exchanges = 0;
        for (int round = 0; round < rounds; ++round) {
            for (const char* entry : {"tree", "link", "to"})
                fs::remove_all(host(entry));
            link(host("outside").string(), "link");
            build({"tree/victim/file", "tree/victim/deep/file"});
            // An exchange follows a look at the tree so closely that otherwise the same kind would
            // be seen first each time.
            ASSERT_TRUE(round % 2 == 0 || exchange());
            std::atomic<bool> hasBegun = false;
            std::thread exchanger([&] {
                hasBegun = true;
                // As many as a walk takes time for, so that it isn't kept from getting on.
                for (int done = 0; done < 10; ++done)
                    exchanges += exchange() ? 1 : 0;
            });
            while (!hasBegun)
                std::this_thread::yield();
            try {
                action();
            } catch (const std::runtime_error&) {
                // Whatever was exchanged under its feet.
            }
            exchanger.join();
            for (const std::string file : {"victim/file", "victim/deep/file"})
                ASSERT_TRUE(fs::is_symlink(host("to/victim")) || !fs::exists(host("to/" + file)) ||
                            contentsOf(host("to/" + file)) == "tree/" + file);
        }
        EXPECT_GT(exchanges, 0);
        EXPECT_EQ(treeOf("outside"), (Names{"file", "deep", "deep/file"}));
        for (const std::string file : {"outside/file", "outside/deep/file"})
            EXPECT_EQ(contentsOf(host(file)), file);
    }
};

TEST_F(TreeWalkRaces, NeverLeadARemovalOutside) {
    race(10'000, [&] { remove("tree"); });
}

TEST_F(TreeWalkRaces, NeverLeadAZapOutside) {
    race(2000, [&] { zap("tree", "v*"); });
}

TEST_F(TreeWalkRaces, NeverLetACopyReadOrWriteOutside) {
    race(1000, [&] { copy("tree", "to"); });
    build({"from/victim/file", "from/victim/deep/file", "from/victim/new"});
    race(1000, [&] { copy("from", "tree"); });
}

TEST_F(TreeWalks, CopeWithEveryName) {
    const Names awkward = {"a\\b", "line\nbreak", "\xFF\xFE", "C:",           "*",
                           "?",    "dot.",        " ",        "...",          "a\\..\\b",
                           "nul",  "-rf",         "~",        "\xEF\x81\x9D", "\\"};
    for (const std::string& name : awkward)
        build({"from/" + name + "/" + name});
    copy("from", "to");
    for (const std::string& name : awkward)
        EXPECT_EQ(contentsOf(host("to") / name / name), "from/" + name + "/" + name);
    zap("to", nullptr);
    remove("from");
    EXPECT_EQ(treeOf(""), Names{"to"});
}

TEST_F(TreeWalks, TakeAPatternForTextThatNamesEntriesOfTheOneDirectory) {
    build({"tree/a:b", "tree/C:", "tree/\\", "tree/sub/a", "tree/c", "a", "b"});
    const std::string tooLong = std::string(4096, '*') + "none";
    EXPECT_FAILURE(zap("tree", tooLong.c_str()), search + in("tree\\") + tooLong);
    for (const char* pattern :
         {"C:..", "C:c", "..", ".", "..\\*", "sub\\a", "sub\\?", "/tmp", "C:\\*", "", "Z:*"})
        zap("tree", pattern);
    EXPECT_EQ(treeOf("tree").size(), 6U);
    for (const char* pattern : {"a:b", "C:", "\xEF\x81\x9C", "sub"})
        zap("tree", pattern);
    EXPECT_EQ(treeOf(""), (Names{"tree", "tree/c", "a", "b"}));
}

TEST_F(TreeWalks, RemoveNothingThatMayBeTheRoot) {
    build({"tree/file"});
    isHostSilent = true;
    EXPECT_FAILURE(zap("tree", nullptr), removal + in("tree") + " Permission denied");
    EXPECT_FAILURE(remove("tree"), removal + in("tree") + " Permission denied");
    isHostSilent = false;
    EXPECT_EQ(treeOf("tree"), Names{"file"});
}

// Runs as root in a root of its own, so that a fault could empty nothing else.
TEST_F(TreeWalks, RefuseTheRootOfTheHost) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs a root of its own";
    build({"tmp/empty/", "mounts/nested/", "file"});
    link("/", "link");
    const int status = Sorvex::testing::runInChild([&] {
        // The root is mounted a second time, below.
        const bool isNested = unshare(CLONE_NEWNS) == 0 &&
                              mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                              mount(directory.name().c_str(), host("mounts/nested").c_str(),
                                    nullptr, MS_BIND, nullptr) == 0;
        ASSERT_EQ(chroot(directory.name().c_str()) + chdir("/tmp") + access("/file", F_OK), 0);
        if (isNested) {
            EXPECT_FAILURE(BDirectory::remove("C:\\mounts", true),
                           removal + std::string("C:\\mounts\\nested Device or resource busy"));
        }
        for (const std::string name : {"C:\\", "/", "C:", "\\\\", "//", "C:\\.", "/tmp/..", "..",
                                       "C:\\tmp\\empty\\..\\..", "\\link"}) {
            SCOPED_TRACE(name);
            const std::string text = removal + name + " Device or resource busy";
            for (const char* pattern : {"*", "*.none", "file", "C:"})
                EXPECT_FAILURE(BDirectory::zap(name.c_str(), pattern), text);
            if (name != "\\link") {
                EXPECT_FAILURE(BDirectory::remove(name.c_str(), true), text);
            }
        }
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(treeOf(""), (Names{"tmp", "tmp/empty", "mounts", "mounts/nested", "file", "link"}));
}

TEST_F(TreeWalks, LeaveNothingOpenWhenTheyFail) {
    // As deep as a full name can be, and deeper.
    std::string deepest = "tree/a/b/";
    deepest.append(259 - in(deepest).size(), 'd');
    build({deepest + "/"});
    copy("tree", "to");
    EXPECT_TRUE(fs::exists(host(deepest.replace(0, 4, "to"))));
    build({deepest + "/too/deep/"});
    const std::string longName(4000, 'n');
    // Behind what the host takes of a name.
    std::string cutOff = in("tree");
    cutOff.resize(4097, '\\');
    const std::size_t descriptors = Sorvex::testing::openDescriptors();
    for (int round = 0; round < 1000; ++round) {
        for (const std::string& name :
             {longName, in(longName), std::string(), cutOff + "\\none", cutOff + ".\\none"}) {
            EXPECT_THROW(BDirectory::remove(name.c_str(), true), std::runtime_error);
            EXPECT_THROW(BDirectory::copy(here.c_str(), name.c_str(), true, true),
                         std::runtime_error);
        }
        EXPECT_THROW(remove("to"), std::runtime_error);
        EXPECT_THROW(zap("to", nullptr), std::runtime_error);
        EXPECT_THROW(copy("to", "new"), std::runtime_error);
    }
    EXPECT_FAILURE(BDirectory::zap(longName.c_str(), nullptr), search + longName + "\\*");
    EXPECT_EQ(Sorvex::testing::openDescriptors(), descriptors);
    EXPECT_TRUE(fs::exists(host(deepest + "/too/deep")));
}

TEST_F(TreeWalks, StopWhereTheUserHasNoRights) {
    fs::permissions(directory.path(), fs::perms::all);
    const int status = Sorvex::testing::runUnprivileged([&] {
        build({"tree/closed/full/", "tree/closed/file", "tree/unreadable/file", "from/closed/new"});
        const std::string closed = in("tree\\closed\\");
        const std::string unreadable = in("tree\\unreadable");
        fs::permissions(host("tree/closed"), fs::perms{0555});
        fs::permissions(host("tree/unreadable"), fs::perms{0333});
        EXPECT_FAILURE(zap("tree\\closed", "file"),
                       "BFile::remove(): error removing file " + closed + "file Permission denied");
        EXPECT_FAILURE(zap("tree\\closed", "fu*"), removal + closed + "full Permission denied");
        EXPECT_FAILURE(copy("from", "tree"), "BFile::copy(): failed " + in("from\\closed\\new") +
                                                 " to " + closed + "new Permission denied");
        EXPECT_FAILURE(BFileCursor(unreadable, "*"), search + unreadable + "\\*");
        EXPECT_TRUE(BFileCursor(unreadable, "file"));
        zap("tree\\unreadable", "file");
        for (const char* entry : {"tree/closed", "tree/unreadable"})
            fs::permissions(host(entry), fs::perms{0755});
        EXPECT_EQ(treeOf("tree"), (Names{"closed", "closed/full", "closed/file", "unreadable"}));
    });
    EXPECT_EQ(status, 0);
}

}  // namespace
