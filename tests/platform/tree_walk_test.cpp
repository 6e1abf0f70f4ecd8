// Walks over directory trees on the host's file system: they stay in their tree, cope with every
// name, and leave nothing open.
#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sorvex/bdirectory.h>
#include <sorvex/cursors.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/child_process.h"
#include "support/failure_assertions.h"
#include "support/full_name.h"
#include "support/process_facts.h"
#include "support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;
using namespace Sorvex;
using Sorvex::testing::contentsOf;
using Sorvex::testing::libraryNameOf;
using Sorvex::testing::openDescriptors;
using Sorvex::testing::runInChild;
using Sorvex::testing::runUnprivileged;
using Sorvex::testing::TemporaryDirectory;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class TreeWalks : public ::testing::Test {
protected:
    explicit TreeWalks(const fs::path& parent = fs::temp_directory_path())
        : directory(parent), here(libraryNameOf(directory.path())) {}

    std::string in(const std::string& entry) const { return here + "\\" + entry; }
    fs::path host(const std::string& entry) const { return directory.path() / entry; }
    void folders(const std::string& entries) const { fs::create_directories(host(entries)); }
    void link(const std::string& target, const std::string& entry) const {
        fs::create_symlink(target, host(entry));
    }

    std::vector<std::string> entriesOf(const std::string& entry) const {
        std::vector<std::string> names;
        for (const auto& found : fs::directory_iterator(host(entry)))
            names.push_back(found.path().filename().string());
        return names;
    }

    TemporaryDirectory directory;
    std::string here;
};

TEST_F(TreeWalks, TakeALinkForAnEntry) {
    folders("outside");
    folders("tree/sub");
    directory.file("outside/canary");
    link("../outside", "tree/link");
    link("../../outside", "tree/sub/link");
    link("nowhere", "tree/dangling");
    link("loop", "tree/loop");
    BDirectory::remove(in("tree").c_str(), true);
    EXPECT_THAT(entriesOf(""), UnorderedElementsAre("outside"));
    EXPECT_THAT(entriesOf("outside"), UnorderedElementsAre("canary"));
}

TEST_F(TreeWalks, RemoveALinkAtTheirStartAndNothingBehindIt) {
    folders("outside");
    directory.file("outside/canary");
    for (const char* spelling : {"link", "link\\", "link/", "link\\."}) {
        SCOPED_TRACE(spelling);
        link("outside", "link");
        BDirectory::remove(in(spelling).c_str(), true);
        EXPECT_FALSE(fs::is_symlink(host("link")));
        EXPECT_THAT(entriesOf("outside"), UnorderedElementsAre("canary"));
    }
    link("outside/canary", "link");
    EXPECT_FAILURE(
        BDirectory::remove(in("link").c_str(), true),
        "BDirectory::remove(): error removing directory " + in("link") + " Not a directory");
    EXPECT_TRUE(fs::exists(host("outside/canary")));
}

TEST_F(TreeWalks, EmptyTheDirectoryBehindALink) {
    folders("behind/sub");
    directory.file("behind/file");
    link("behind", "link");
    BDirectory::zap(in("link").c_str(), nullptr);
    EXPECT_TRUE(fs::is_symlink(host("link")));
    EXPECT_THAT(entriesOf("behind"), IsEmpty());
}

TEST_F(TreeWalks, CopyLinksByWhatTheyLeadTo) {
    folders("outside");
    directory.file("outside/file", "contents");
    folders("from/sub");
    link("../outside", "from/to directory");
    link("../outside/file", "from/to file");
    link("nowhere", "from/sub/dangling");
    link("from", "start");
    BDirectory::copy(in("start").c_str(), in("to").c_str(), false, true);
    EXPECT_EQ(fs::read_symlink(host("to/to directory")), "../outside");
    EXPECT_EQ(fs::read_symlink(host("to/sub/dangling")), "nowhere");
    EXPECT_FALSE(fs::is_symlink(host("to/to file")));
    EXPECT_EQ(contentsOf(host("to/to file")), "contents");
}

TEST_F(TreeWalks, CopyNothingThroughALinkInTheTarget) {
    folders("outside");
    folders("from/sub/deep");
    folders("to");
    directory.file("from/sub/file", "new");
    for (const char* target : {"../outside", "nowhere"}) {
        SCOPED_TRACE(target);
        link(target, "to/sub");
        EXPECT_FAILURE(
            BDirectory::copy(in("from").c_str(), in("to").c_str(), true, true),
            "BDirectory::create(): error creating directory " + in("to\\sub") + " Not a directory");
        fs::remove(host("to/sub"));
    }
    EXPECT_THAT(entriesOf("outside"), IsEmpty());

    link("outside", "start");
    BDirectory::copy(in("from").c_str(), in("start").c_str(), false, true);
    EXPECT_EQ(contentsOf(host("outside/sub/file")), "new");
}

TEST_F(TreeWalks, CopyIntoAFileInTheWayAsTheirStepsSay) {
    folders("from/sub/deep");
    directory.file("to", "in the way");
    BDirectory::copy(in("none").c_str(), in("to").c_str(), true, true);
    EXPECT_FAILURE(
        BDirectory::copy(in("from").c_str(), in("to").c_str(), true, true),
        "BDirectory::create(): error creating directory " + in("to\\sub") + " Not a directory");
    fs::remove(host("to"));
    folders("to");
    directory.file("to/sub", "in the way");
    fs::remove(host("from/sub/deep"));
    BDirectory::copy(in("from").c_str(), in("to").c_str(), true, true);
    directory.file("from/sub/file");
    EXPECT_FAILURE(BDirectory::copy(in("from").c_str(), in("to").c_str(), true, true),
                   "BFile::copy(): failed " + in("from\\sub\\file") + " to " + in("to\\sub\\file") +
                       " Not a directory");
    EXPECT_EQ(contentsOf(host("to/sub")), "in the way");
}

// Exchanges two names again and again on a thread of its own, but only while something runs.
class Swapper {
public:
    Swapper(const fs::path& first, const fs::path& second)
        : thread([this, first = first.string(), second = second.string()] {
              for (runs.wait(false); !stops; runs.wait(false)) {
                  isSwapping = true;
                  for (int done = 0; runs && done < swapsARound; ++done)
                      if (renameat2(AT_FDCWD, first.c_str(), AT_FDCWD, second.c_str(),
                                    RENAME_EXCHANGE) == 0)
                          ++swaps;
                  runs.wait(true);
                  isSwapping = false;
              }
          }) {}
    ~Swapper() {
        stops = true;
        runs = true;
        runs.notify_one();
        thread.join();
    }

    Swapper(const Swapper&) = delete;
    Swapper& operator=(const Swapper&) = delete;

    // Runs something that may fail in a race, but in no other way than with a failure of its own.
    template <typename Action>
    void during(Action action) {
        set(true);
        try {
            action();
        } catch (const std::runtime_error&) {
            // Whatever was exchanged under its feet.
        }
        set(false);
    }

    // As many as a walk takes time for, so that it isn't kept from getting on.
    static constexpr int swapsARound = 10;

    std::atomic<int> swaps = 0;

private:
    // Goes on the moment the thread has begun, which would be done before a sleeper is awake.
    void set(bool shallSwap) {
        runs = shallSwap;
        runs.notify_one();
        for (int looks = 0; isSwapping != shallSwap; ++looks) {
            if (looks > manyLooks)
                std::this_thread::yield();
        }
    }

    static constexpr int manyLooks = 20'000;

    std::atomic<bool> runs = false;
    std::atomic<bool> stops = false;
    std::atomic<bool> isSwapping = false;
    std::thread thread;
};

// Where renaming costs no writing to a disk, so that many rounds take little time.
fs::path fastDirectory() {
    const char* const memory = "/dev/shm";
    return access(memory, W_OK) == 0 ? fs::path(memory) : fs::temp_directory_path();
}

// A tree whose middle is exchanged for a link to a place outside where everything has the same
// names, so that a walk that follows a name only once too often does harm.
class TreeWalkRaces : public TreeWalks {
protected:
    TreeWalkRaces() : TreeWalks(fastDirectory()) {}

    void SetUp() override {
        buildIn("outside", "canary");
        link(host("outside").string(), "link");
    }

    void buildIn(const std::string& entry, const std::string& contents) const {
        folders(entry + "/deep");
        directory.file(entry + "/file", contents);
        directory.file(entry + "/deep/file", contents);
    }

    // Every other time the link has the place of the directory at first: a swap follows a look at
    // the tree so closely that otherwise the same kind would be seen first each time.
    void buildTree(int round) const {
        fs::remove_all(host("tree"));
        if (!fs::is_symlink(host("link"))) {
            fs::remove_all(host("link"));
            link(host("outside").string(), "link");
        }
        folders("tree");
        buildIn("tree/victim", "tree");
        if (round % 2 != 0)
            renameat2(AT_FDCWD, host("tree/victim").c_str(), AT_FDCWD, host("link").c_str(),
                      RENAME_EXCHANGE);
    }

    void expectOutsideAsItWas() const {
        EXPECT_EQ(contentsOf(host("outside/file")), "canary");
        EXPECT_EQ(contentsOf(host("outside/deep/file")), "canary");
        EXPECT_THAT(entriesOf("outside"), UnorderedElementsAre("file", "deep"));
        EXPECT_THAT(entriesOf("outside/deep"), UnorderedElementsAre("file"));
    }
};

TEST_F(TreeWalkRaces, NeverLeadARemovalOutside) {
    Swapper swapper(host("tree/victim"), host("link"));
    for (int round = 0; round < 10'000; ++round) {
        buildTree(round);
        swapper.during([&] { BDirectory::remove(in("tree").c_str(), true); });
    }
    expectOutsideAsItWas();
    EXPECT_GT(swapper.swaps, 0);
}

TEST_F(TreeWalkRaces, NeverLeadAZapOutside) {
    Swapper swapper(host("tree/victim"), host("link"));
    for (int round = 0; round < 2000; ++round) {
        buildTree(round);
        swapper.during([&] { BDirectory::zap(in("tree").c_str(), "v*"); });
    }
    expectOutsideAsItWas();
    EXPECT_GT(swapper.swaps, 0);
}

TEST_F(TreeWalkRaces, NeverLetACopyReadOutside) {
    Swapper swapper(host("tree/victim"), host("link"));
    for (int round = 0; round < 1000; ++round) {
        buildTree(round);
        fs::remove_all(host("to"));
        swapper.during([&] { BDirectory::copy(in("tree").c_str(), in("to").c_str(), true, true); });
        if (fs::is_symlink(host("to/victim")))
            continue;
        for (const char* copied : {"to/victim/file", "to/victim/deep/file"}) {
            EXPECT_TRUE(!fs::exists(host(copied)) || contentsOf(host(copied)) == "tree") << copied;
        }
    }
    EXPECT_GT(swapper.swaps, 0);
}

TEST_F(TreeWalkRaces, NeverLetACopyWriteOutside) {
    buildIn("from/victim", "new");
    directory.file("from/victim/new", "new");
    Swapper swapper(host("tree/victim"), host("link"));
    for (int round = 0; round < 1000; ++round) {
        buildTree(round);
        swapper.during(
            [&] { BDirectory::copy(in("from").c_str(), in("tree").c_str(), true, true); });
    }
    expectOutsideAsItWas();
    EXPECT_GT(swapper.swaps, 0);
}

TEST_F(TreeWalks, CopeWithEveryName) {
    const std::string awkward[] = {"a\\b", "line\nbreak", "\xFF\xFE", "C:",           "*",
                                   "?",    "dot.",        " blank ",  "...",          "-rf",
                                   "~",    "\\",          "a\\..\\b", "\xEF\x81\x9D", "nul"};
    for (const std::string& name : awkward) {
        fs::create_directories(directory.path() / "from" / name);
        directory.file((fs::path("from") / name / name).string(), name);
    }
    BDirectory::copy(in("from").c_str(), in("to").c_str(), false, true);
    for (const std::string& name : awkward)
        EXPECT_EQ(contentsOf(directory.path() / "to" / name / name), name);
    EXPECT_EQ(entriesOf("to").size(), std::size(awkward));
    BDirectory::zap(in("to").c_str(), nullptr);
    EXPECT_THAT(entriesOf("to"), IsEmpty());
    BDirectory::remove(in("from").c_str(), true);
    EXPECT_FALSE(fs::exists(host("from")));
}

TEST_F(TreeWalks, FailCleanlyOnNamesThatAreNone) {
    const std::string longName(4000, 'n');
    const std::size_t descriptors = openDescriptors();
    for (const std::string& name : {longName, in(longName), std::string()}) {
        SCOPED_TRACE(name.size());
        EXPECT_THROW(BDirectory::create(name.c_str(), true), std::runtime_error);
        EXPECT_THROW(BDirectory::remove(name.c_str(), false), std::runtime_error);
        EXPECT_THROW(BDirectory::remove(name.c_str(), true), std::runtime_error);
        EXPECT_THROW(BDirectory::copy(here.c_str(), name.c_str(), true, true), std::runtime_error);
    }
    EXPECT_FAILURE(BDirectory::zap(longName.c_str(), nullptr),
                   "BPathCursor::BPathCursor(): FindFirstFile() " + longName + "\\*");
    EXPECT_FAILURE(BDirectory::remove("", true),
                   "BDirectory::remove(): error removing directory  No such file or directory");
    EXPECT_FAILURE(BDirectory::create("Z:\\a\\b", true),
                   "BDirectory::create(): error creating directory Z: No such file or directory");
    EXPECT_THAT(entriesOf(""), IsEmpty());
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(TreeWalks, TakeNamesWithSeparatorsAndDotsAtTheirEnd) {
    for (const char* spelling : {"tree\\", "tree//", "tree\\.", "tree/./", "tree\\sub\\.."}) {
        SCOPED_TRACE(spelling);
        folders("tree/sub");
        directory.file("tree/file");
        BDirectory::zap(in(spelling).c_str(), "f*");
        EXPECT_THAT(entriesOf("tree"), UnorderedElementsAre("sub"));
    }
    for (const char* spelling : {"tree\\", "tree//", "tree\\.", "tree/./"}) {
        SCOPED_TRACE(spelling);
        folders("tree/sub");
        BDirectory::remove(in(spelling).c_str(), true);
        EXPECT_FALSE(fs::exists(host("tree")));
    }
}

TEST_F(TreeWalks, RemoveByFullNamesWhatAPatternFindsElsewhere) {
    folders("sub/b");
    folders("b/c");
    directory.file("sub/a");
    directory.file("a");
    BDirectory::zap(here.c_str(), "sub\\?");
    EXPECT_THAT(entriesOf(""), UnorderedElementsAre("sub"));
    EXPECT_THAT(entriesOf("sub"), UnorderedElementsAre("a", "b"));
    EXPECT_FAILURE(
        BDirectory::zap(here.c_str(), "sub\\a"),
        "BFile::remove(): error removing file " + in("a") + " No such file or directory");
}

// Runs as root in a root of its own, so that a fault could empty nothing else.
TEST_F(TreeWalks, RefuseTheRootOfTheHost) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs a root of its own";
    folders("tmp/empty");
    directory.file("file");
    link("/", "link");
    const int status = runInChild([&] {
        ASSERT_EQ(chroot(directory.name().c_str()), 0);
        ASSERT_EQ(chdir("/tmp"), 0);
        ASSERT_EQ(access("/file", F_OK), 0);
        for (const std::string name :
             {"C:\\", "/", "C:", "\\\\", "c:/", "\\", "//", "C:\\.", "/tmp/..", "..",
              "C:\\tmp\\empty\\..\\..", "\\tmp\\..\\.\\"}) {
            SCOPED_TRACE(name);
            const std::string text = "BDirectory::remove(): error removing directory " + name +
                                     " Device or resource busy";
            EXPECT_FAILURE(BDirectory::remove(name.c_str(), true), text);
            EXPECT_FAILURE(BDirectory::zap(name.c_str(), nullptr), text);
            EXPECT_FAILURE(BDirectory::zap(name.c_str(), "*.none"), text);
            EXPECT_FAILURE(BDirectory::zap(name.c_str(), "file"), text);
            EXPECT_FAILURE(BDirectory::zap(name.c_str(), "tmp\\*"), text);
        }
        EXPECT_FAILURE(
            BDirectory::zap("\\link", "*"),
            "BDirectory::remove(): error removing directory \\link Device or resource busy");
        EXPECT_EQ(access("/file", F_OK), 0);
        EXPECT_EQ(access("/tmp/empty", F_OK), 0);
    });
    EXPECT_EQ(status, 0);
}

// A tree whose full names outgrow their limit far down.
class TreesBeyondTheLimit : public TreeWalks {
protected:
    void buildChain(const std::string& top, int levels) const {
        folders(top);
        int current = open(host(top).c_str(), O_RDONLY | O_DIRECTORY);
        for (int level = 0; level < levels; ++level) {
            const std::string part(50, 'd');
            ASSERT_EQ(mkdirat(current, part.c_str(), 0777), 0);
            const int next = openat(current, part.c_str(), O_RDONLY | O_DIRECTORY);
            close(current);
            current = next;
        }
        close(current);
    }
};

TEST_F(TreesBeyondTheLimit, EndAWalkWithNothingLeftOpen) {
    buildChain("tree", 10);
    const std::size_t descriptors = openDescriptors();
    for (int round = 0; round < 1000; ++round) {
        EXPECT_THROW(BDirectory::remove(in("tree").c_str(), true), std::runtime_error);
        EXPECT_THROW(BDirectory::zap(in("tree").c_str(), nullptr), std::runtime_error);
        EXPECT_THROW(BDirectory::copy(in("tree").c_str(), in("to").c_str(), true, true),
                     std::runtime_error);
        EXPECT_THROW(BDirectory::copy(in("tree").c_str(), in("to\\x\\").c_str(), false, true),
                     std::runtime_error);
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    try {
        BDirectory::remove(in("tree").c_str(), true);
        FAIL();
    } catch (const std::runtime_error& failure) {
        EXPECT_THAT(failure.what(), ::testing::StartsWith(
                                        "BPath::fullName(): can not get full name " + in("tree")));
    }
}

TEST_F(TreeWalks, ReachTheDeepestTreeThatCanBeNamed) {
    std::string deepest = "t";
    while (in(deepest + "\\t").size() < 259)
        deepest += "/t";
    folders(deepest);
    BDirectory::copy(in("t").c_str(), in("t2").c_str(), false, true);
    BDirectory::remove(in("t").c_str(), true);
    EXPECT_TRUE(fs::exists(host("t2" + deepest.substr(1))));
    EXPECT_FALSE(fs::exists(host("t")));
}

TEST_F(TreeWalks, EndCleanlyWhenDescriptorsRunOut) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's own checks need a descriptor";
#endif
    folders("tree/a/b/c/d");
    const int status = runInChild([&] {
        int next[4];
        for (int& number : next)
            number = dup(STDOUT_FILENO);
        for (const int number : next)
            close(number);
        const std::size_t descriptors = openDescriptors();
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = static_cast<rlim_t>(next[3]);
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
        EXPECT_FAILURE(BDirectory::remove(in("tree").c_str(), true),
                       "BPathCursor::BPathCursor(): FindFirstFile() " + in("tree\\a\\b\\c\\*"));
        EXPECT_THROW(BDirectory::copy(in("tree").c_str(), in("to").c_str(), true, true),
                     std::runtime_error);
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
        EXPECT_EQ(openDescriptors(), descriptors);
    });
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(fs::exists(host("tree/a/b/c/d")));
}

TEST_F(TreeWalks, StopWhereTheUserHasNoRights) {
    fs::permissions(directory.path(), fs::perms::all);
    const int status = runUnprivileged([&] {
        folders("tree/closed");
        folders("tree/unreadable");
        folders("tree/closed/full");
        directory.file("tree/closed/file");
        chmod(host("tree/closed").c_str(), 0555);
        chmod(host("tree/unreadable").c_str(), 0333);
        EXPECT_FAILURE(BDirectory::remove(in("tree\\closed").c_str(), false),
                       "BDirectory::remove(): error removing directory " + in("tree\\closed") +
                           " Directory not empty");
        EXPECT_FAILURE(BDirectory::zap(in("tree\\closed").c_str(), "file"),
                       "BFile::remove(): error removing file " + in("tree\\closed\\file") +
                           " Permission denied");
        EXPECT_FAILURE(BDirectory::zap(in("tree\\closed").c_str(), "fu*"),
                       "BDirectory::remove(): error removing directory " +
                           in("tree\\closed\\full") + " Permission denied");
        EXPECT_FAILURE(BDirectory::create(in("tree\\closed\\new").c_str(), false),
                       "BDirectory::create(): error creating directory " + in("tree\\closed\\new") +
                           " Permission denied");
        EXPECT_FAILURE(BFileCursor(in("tree\\unreadable"), "*"),
                       "BPathCursor::BPathCursor(): FindFirstFile() " + in("tree\\unreadable\\*"));
        EXPECT_FALSE(BFileCursor(in("tree\\unreadable"), "file"));
        directory.file("tree/unreadable/file");
        EXPECT_TRUE(BFileCursor(in("tree\\unreadable"), "file"));
        BDirectory::zap(in("tree\\unreadable").c_str(), "file");
        chmod(host("tree/unreadable").c_str(), 0555);
        fs::create_directory(host("from"));
        fs::create_directory(host("from/closed"));
        directory.file("from/closed/new");
        EXPECT_FAILURE(BDirectory::copy(in("from").c_str(), in("tree").c_str(), true, true),
                       "BFile::copy(): failed " + in("from\\closed\\new") + " to " +
                           in("tree\\closed\\new") + " Permission denied");
        chmod(host("tree/closed").c_str(), 0755);
        BDirectory::remove(in("tree").c_str(), true);
        EXPECT_FALSE(fs::exists(host("tree")));
    });
    EXPECT_EQ(status, 0);
}

TEST_F(TreeWalks, ListTheLowPartOfASize) {
    directory.file("file");
    fs::resize_file(host("file"), (std::uintmax_t{1} << 32));
    EXPECT_EQ(BFileCursor(here, "file").size(), 0U);
    fs::resize_file(host("file"), (std::uintmax_t{1} << 32) + 9);
    EXPECT_EQ(BFileCursor(here, "f*").size(), 9U);
}

}  // namespace
