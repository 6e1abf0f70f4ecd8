#include <sorvex/bdirectory.h>

#include <filesystem>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/directory_test.h"
#include "support/failure_assertions.h"

namespace {

namespace fs = std::filesystem;
using namespace Sorvex;
using Sorvex::testing::contentsOf;
using ::testing::UnorderedElementsAre;
using Directories = Sorvex::testing::DirectoryTest;

TEST_F(Directories, AreCreatedWithTheirParentsWhenAsked) {
    build({"file"});
    const std::string deep = in("a\\b\\c");
    const std::string text = "BDirectory::create(): error creating directory";
    EXPECT_FAILURE(BDirectory::create(deep.c_str(), false),
                   text + " " + deep + " No such file or directory");
    EXPECT_FAILURE(BDirectory::create((deep + "\\").c_str(), true),
                   text + "; directories must not end with slash" + deep + "\\");
    EXPECT_FAILURE(BDirectory::create("Q:\\a", true), text + " Q: No such file or directory");
    EXPECT_THAT(treeOf(""), UnorderedElementsAre("file"));
    BDirectory(in("a/b\\c").c_str()).create(true);
    BDirectory::create((deep + "\\").c_str(), false);
    BDirectory::create(in("file").c_str(), true);
    EXPECT_THAT(treeOf(""), UnorderedElementsAre("file", "a", "a/b", "a/b/c"));
    const BDirectory made(deep.c_str());
    EXPECT_TRUE(made.exists() && made.isRoot() && BDirectory::isRoot("\\\\server\\share\\x"));
}

TEST_F(Directories, AreCreatedByTwoAtOnceWithoutAFailure) {
    for (int round = 0; round < 100; ++round) {
        const std::string deep = in(std::to_string(round) + "\\b\\c");
        const auto create = [&] { EXPECT_NO_THROW(BDirectory::create(deep.c_str(), true)); };
        std::thread other(create);
        create();
        other.join();
        ASSERT_TRUE(BDirectory::exists(deep.c_str()));
    }
}

TEST_F(Directories, AreRemovedWithAllTheyHoldOnlyWhenAsked) {
    build({"a/b/c/d/.hidden", "a/b/file", "a/e/", "next to it"});
    const std::string text = "BDirectory::remove(): error removing directory " + in("a");
    EXPECT_FAILURE(BDirectory::remove(in("a").c_str(), false), text + " Directory not empty");
    BDirectory(in("a\\e").c_str()).remove(false);
    EXPECT_THAT(treeOf("a"), UnorderedElementsAre("b", "b/c", "b/c/d", "b/c/d/.hidden", "b/file"));
    BDirectory::remove(in("a").c_str(), true);
    EXPECT_THAT(treeOf(""), UnorderedElementsAre("next to it"));
    EXPECT_FAILURE(BDirectory::remove(in("a").c_str(), true), text + " No such file or directory");
}

TEST_F(Directories, AreEmptiedByPattern) {
    build({"x.tmp/deep/a.txt", "kept/b.tmp", "c.tmp", "d.txt"});
    BDirectory(here.c_str()).zap("*.tmp");
    EXPECT_THAT(treeOf(""), UnorderedElementsAre("kept", "kept/b.tmp", "d.txt"));
    BDirectory::zap("", nullptr);
    BDirectory::zap(here.c_str(), nullptr);
    EXPECT_THAT(treeOf(""), UnorderedElementsAre());
}

TEST_F(Directories, AreCopiedWithAllTheyHoldWhenAsked) {
    build({"from/sub/empty/", "from/a", "from/sub/b"});
    BDirectory(in("from").c_str()).copy(in("x\\to").c_str(), false, false);
    EXPECT_THAT(treeOf("x/to"), UnorderedElementsAre("a"));
    BDirectory::copy(in("from").c_str(), in("to").c_str(), false, true);
    EXPECT_THAT(treeOf("to"), UnorderedElementsAre("a", "sub", "sub/b", "sub/empty"));
    EXPECT_EQ(contentsOf(host("to/sub/b")), "from/sub/b");
    BDirectory::copy(in("none").c_str(), in("new").c_str(), false, true);
    EXPECT_TRUE(fs::is_directory(host("new")));
    build({"new/sub/b"});
    EXPECT_THROW(BDirectory::copy(in("from\\sub").c_str(), in("new\\sub").c_str(), false, true),
                 std::runtime_error);
    EXPECT_EQ(contentsOf(host("new/sub/b")), "new/sub/b");
    BDirectory::copy(in("from").c_str(), in("new").c_str(), true, true);
    EXPECT_EQ(contentsOf(host("new/sub/b")), "from/sub/b");
}

TEST_F(Directories, AreCopiedIntoThemselvesWithoutEnd) {
    build({"from/leaf/", "from/sub/a"});
    BDirectory::copy(in("from").c_str(), in("from\\sub\\deep\\to").c_str(), true, true);
    EXPECT_THAT(treeOf("from/sub/deep/to"),
                UnorderedElementsAre("leaf", "sub", "sub/deep", "sub/a"));
}

}  // namespace
