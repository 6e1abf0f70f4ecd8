#include <sorvex/bdirectory.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/failure_assertions.h"
#include "support/full_name.h"
#include "support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;
using namespace Sorvex;
using Sorvex::testing::contentsOf;
using Sorvex::testing::libraryNameOf;
using Sorvex::testing::TemporaryDirectory;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class Directories : public ::testing::Test {
protected:
    Directories() : here(libraryNameOf(directory.path())) {}

    std::string in(const std::string& entry) const { return here + "\\" + entry; }
    fs::path host(const std::string& entry) const { return directory.path() / entry; }

    void folders(const std::string& entries) const { fs::create_directories(host(entries)); }

    // All that is below an entry, with slashes between the names.
    std::vector<std::string> treeOf(const std::string& entry) const {
        std::vector<std::string> names;
        for (const auto& found : fs::recursive_directory_iterator(host(entry)))
            names.push_back(found.path().lexically_relative(host(entry)).generic_string());
        return names;
    }

    TemporaryDirectory directory;
    std::string here;
};

TEST_F(Directories, AreCreatedOneByOne) {
    BDirectory::create(in("a").c_str(), false);
    EXPECT_TRUE(fs::is_directory(host("a")));
    const std::string missing = in("b\\c");
    EXPECT_FAILURE(
        BDirectory::create(missing.c_str(), false),
        "BDirectory::create(): error creating directory " + missing + " No such file or directory");
    EXPECT_FALSE(fs::exists(host("b")));
}

TEST_F(Directories, AreCreatedWithTheirParents) {
    folders("a");
    BDirectory(in("a\\b\\c").c_str()).create(true);
    EXPECT_TRUE(fs::is_directory(host("a/b/c")));
    BDirectory::create(in("x/y/z").c_str(), true);
    EXPECT_TRUE(fs::is_directory(host("x/y/z")));
}

TEST_F(Directories, LeaveWhatExistsAsItIs) {
    directory.file("file", "contents");
    for (const bool recursive : {false, true})
        BDirectory::create(in("file").c_str(), recursive);
    EXPECT_EQ(contentsOf(host("file")), "contents");
    EXPECT_TRUE(BDirectory::exists(in("file").c_str()));
    EXPECT_FALSE(BDirectory(in("none").c_str()).exists());
}

TEST_F(Directories, MustNotEndInASeparatorWhenTheirParentIsMissing) {
    const std::string missing = in("a\\b\\");
    EXPECT_FAILURE(BDirectory::create(missing.c_str(), true),
                   "BDirectory::create(): error creating directory; directories must not end with "
                   "slash" +
                       missing);
    folders("a");
    BDirectory::create(missing.c_str(), true);
    EXPECT_TRUE(fs::is_directory(host("a/b")));
}

TEST_F(Directories, NameTheLevelThatCanNotBeCreated) {
    directory.file("file");
    EXPECT_THROW(BDirectory::create(in("file\\a\\b").c_str(), true), std::runtime_error);
    const std::string longPart(250, 'x');
    const std::string tooLong = in("a\\" + longPart);
    EXPECT_FAILURE(BDirectory::create((tooLong + "\\b").c_str(), true),
                   "BPath::fullName(): can not get full name " + tooLong +
                       "\\b Numerical result out of range");
    EXPECT_THAT(treeOf(""), UnorderedElementsAre("file"));
}

TEST_F(Directories, AreRemovedWhenEmpty) {
    folders("a/b");
    const std::string full = in("a");
    EXPECT_FAILURE(
        BDirectory::remove(full.c_str(), false),
        "BDirectory::remove(): error removing directory " + full + " Directory not empty");
    BDirectory(in("a\\b").c_str()).remove(false).create(false).remove(true);
    EXPECT_THAT(treeOf("a"), IsEmpty());
    for (const bool recursive : {false, true})
        EXPECT_FAILURE(BDirectory::remove(in("none").c_str(), recursive),
                       "BDirectory::remove(): error removing directory " + in("none") +
                           " No such file or directory");
}

TEST_F(Directories, AreRemovedWithAllTheyHold) {
    folders("a/b/c/d");
    folders("a/e");
    for (int number = 0; number < 500; ++number)
        directory.file("a/b/file" + std::to_string(number));
    directory.file("a/b/c/d/.hidden");
    directory.file("next to it");
    BDirectory::remove(in("a").c_str(), true);
    EXPECT_THAT(treeOf(""), UnorderedElementsAre("next to it"));
}

TEST_F(Directories, AreEmptiedByPattern) {
    folders("x.tmp/deep");
    folders("kept");
    directory.file("x.tmp/deep/a.txt");
    directory.file("kept/b.tmp");
    directory.file("c.tmp");
    directory.file("d.txt");
    BDirectory(here.c_str()).zap("*.tmp");
    EXPECT_THAT(treeOf(""), UnorderedElementsAre("kept", "kept/b.tmp", "d.txt"));
    BDirectory::zap(here.c_str(), "d.txt");
    EXPECT_THAT(treeOf(""), UnorderedElementsAre("kept", "kept/b.tmp"));
    BDirectory::zap(here.c_str(), "kept");
    EXPECT_THAT(treeOf(""), IsEmpty());
}

TEST_F(Directories, AreEmptiedWithoutAPattern) {
    folders("a/b");
    directory.file("a/c");
    BDirectory::zap(here.c_str(), nullptr);
    EXPECT_THAT(treeOf(""), IsEmpty());
    BDirectory::zap(in("none").c_str(), nullptr);
    BDirectory::zap("", nullptr);
}

TEST_F(Directories, AreCopiedOneLevelDeep) {
    folders("from/sub");
    directory.file("from/a", "1");
    directory.file("from/b", "2");
    directory.file("from/sub/c", "3");
    BDirectory(in("from").c_str()).copy(in("x\\to").c_str(), false, false);
    EXPECT_THAT(treeOf("x/to"), UnorderedElementsAre("a", "b"));
    EXPECT_EQ(contentsOf(host("x/to/b")), "2");
}

TEST_F(Directories, AreCopiedWithAllTheyHold) {
    folders("from/sub/empty");
    directory.file("from/a", "1");
    directory.file("from/sub/b", "22");
    BDirectory::copy(in("from").c_str(), in("to").c_str(), false, true);
    EXPECT_THAT(treeOf("to"), UnorderedElementsAre("a", "sub", "sub/b", "sub/empty"));
    EXPECT_EQ(contentsOf(host("to/sub/b")), "22");
}

TEST_F(Directories, AreCopiedOverOthersOnlyWhenAsked) {
    folders("from/sub");
    folders("to/sub");
    directory.file("from/sub/file", "new");
    directory.file("to/sub/file", "old");
    directory.file("to/sub/other", "other");
    EXPECT_FAILURE(BDirectory::copy(in("from").c_str(), in("to").c_str(), false, true),
                   "BFile::copy(): failed " + in("from\\sub\\file") + " to " + in("to\\sub\\file") +
                       " File exists");
    EXPECT_EQ(contentsOf(host("to/sub/file")), "old");
    BDirectory::copy(in("from").c_str(), in("to").c_str(), true, true);
    EXPECT_EQ(contentsOf(host("to/sub/file")), "new");
    EXPECT_EQ(contentsOf(host("to/sub/other")), "other");
}

TEST_F(Directories, ThatDoNotExistAreCopiedAsEmptyOnes) {
    BDirectory::copy(in("none").c_str(), in("to").c_str(), false, true);
    EXPECT_TRUE(fs::is_directory(host("to")));
}

TEST_F(Directories, AreCopiedIntoThemselvesWithoutEnd) {
    for (const char* target : {"from\\to", "from\\sub\\deep\\to"}) {
        SCOPED_TRACE(target);
        fs::remove_all(host("from"));
        folders("from/sub/leaf");
        directory.file("from/file", "1");
        directory.file("from/sub/file", "2");
        BDirectory::copy(in("from").c_str(), in(target).c_str(), true, true);
        std::string copied = target;
        std::replace(copied.begin(), copied.end(), '\\', '/');
        EXPECT_EQ(contentsOf(host(copied + "/sub/file")), "2");
        EXPECT_TRUE(fs::exists(host(copied + "/sub/leaf")));
        EXPECT_FALSE(fs::exists(host(copied + "/to")));
        EXPECT_FALSE(fs::exists(host(copied + "/sub/deep/to")));
    }
}

TEST_F(Directories, AreRootsWhereverADriveIs) {
    EXPECT_TRUE(BDirectory::isRoot("C:\\"));
    EXPECT_TRUE(BDirectory::isRoot("C:\\dir\\sub"));
    EXPECT_TRUE(BDirectory::isRoot("\\\\server\\share\\x"));
    EXPECT_TRUE(BDirectory("relative").isRoot());
}

}  // namespace
