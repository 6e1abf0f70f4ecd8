#include <sorvex/bpath.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "support/failure_assertions.h"
#include "support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;
using Sorvex::BPath;
using Sorvex::TimeStamp;
using Sorvex::testing::contentsOf;

class BPathTest : public ::testing::Test {
protected:
    Sorvex::testing::TemporaryDirectory directory;
};

std::string errorText(int number) {
    return std::strerror(number);
}

TEST_F(BPathTest, TakesNamesApartByTheTextAlone) {
    const std::string longName(3000, 'n');
    const struct {
        std::string name, file, withoutExtension, extension;
    } cases[] = {
        {"C:\\dir\\a.tar.gz", "a.tar.gz", "a.tar", ".gz"},
        {"C:\\dir\\readme", "readme", "readme", ""},
        {"C:\\dir.d\\readme", "readme", "readme", ""},
        {"C:\\dir\\", "", "", ""},
        {"C:", "", "", ""},
        {"C:a.b", "a.b", "a", ".b"},
        {".profile", ".profile", "", ".profile"},
        {"a/b.txt", "b.txt", "b", ".txt"},
        {"a\\b/c\\d.", "d.", "d", "."},
        {"..", "..", ".", "."},
        {"", "", "", ""},
        {"/\xFF\n.\x80", "\xFF\n.\x80", "\xFF\n", ".\x80"},
        {"C:\\" + longName + "\\" + longName + "." + longName, longName + "." + longName, longName,
         "." + longName},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const BPath path(c.name);
        EXPECT_EQ(path.fileName(), c.file);
        EXPECT_EQ(path.fileNameWithoutExtension(), c.withoutExtension);
        EXPECT_EQ(path.extension(), c.extension);
    }
}

TEST_F(BPathTest, GivesTheParentWithItsSeparator) {
    EXPECT_EQ(BPath::parent("C:\\dir\\a.txt"), "C:\\dir\\");
    EXPECT_EQ(BPath::parent("C:\\dir\\"), "C:\\dir\\");
    EXPECT_EQ(BPath::parent("C:\\"), "C:\\");
    EXPECT_EQ(BPath::parent("Q:"), "Q:\\");
    EXPECT_EQ(BPath::parent("\\\\server\\share\\x"), "\\\\server\\share\\");
    EXPECT_EQ(BPath("a.txt").parent(), BPath(".").fullName() + "\\");
    // A directory part of more than 255 characters comes whole.
    const std::string deep = "C:\\" + std::string(254, 'd') + "\\";
    EXPECT_EQ(BPath::parent((deep + "x").c_str()), deep);
}

TEST_F(BPathTest, RefusesAFullNameOfMoreThan259Characters) {
    const std::string name = "C:\\" + std::string(256, 'a');
    EXPECT_EQ(BPath(name).fullName(), name);
    const std::string longer = name + "a";
    const std::string failure =
        "BPath::fullName(): can not get full name " + longer + " " + errorText(ERANGE);
    EXPECT_FAILURE(BPath(longer).fullName(), failure);
    EXPECT_FAILURE(BPath(longer).parent(), failure);
}

TEST_F(BPathTest, KnowsWhatExists) {
    const std::string file = directory.file("file");
    const struct {
        std::string name;
        bool exists;
    } cases[] = {{file, true},
                 {directory.name(), true},
                 {directory.name() + "\\", true},
                 {directory.name("missing"), false},
                 {file + "/x", false},
                 {"", false},
                 {"Q:\\", false},
                 {std::string(4000, 'a'), false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(BPath(c.name).exists(), c.exists);
    }
}

TEST_F(BPathTest, KeepsWhatItLearnedUntilAskedToReadAnew) {
    BPath path(directory.name("file"));
    const std::string failure = "BPath::getInformation(): file not found " +
                                directory.name("file") + " " + errorText(ENOENT);
    EXPECT_FAILURE(path.attributes(), failure);
    EXPECT_FAILURE(path.hasAttribute(BPath::readPermision), failure);

    directory.file("file", "x");
    const BPath::Attr before = path.attributes();
    EXPECT_TRUE(path.hasAttribute(BPath::normalFile));
    EXPECT_TRUE(path.hasAttribute(BPath::writePermision));
    EXPECT_FALSE(path.hasAttribute(BPath::directory));
    EXPECT_TRUE(path.hasAttribute(BPath::directory | BPath::normalFile));
    EXPECT_TRUE(path.hasAttribute(BPath::allAttr));
    EXPECT_FALSE(path.hasAttribute(BPath::noAttr));

    path.setAttributes(before & ~BPath::writePermision);
    EXPECT_EQ(path.attributes(), before);
    const BPath copy(path);
    EXPECT_FALSE(copy.hasAttribute(BPath::writePermision));
    path.getInformation();
    EXPECT_FALSE(path.hasAttribute(BPath::writePermision));
    path.setAttributes(before);

    fs::remove(directory.name("file"));
    EXPECT_FALSE(path.hasAttribute(BPath::writePermision));
    EXPECT_FAILURE(path.getInformation(), failure);
    EXPECT_FAILURE(path.lastWriteTime(), failure);
}

TEST_F(BPathTest, TellsDirectories) {
    EXPECT_TRUE(BPath(directory.name()).hasAttribute(BPath::directory));
    EXPECT_FALSE(BPath(directory.name()).hasAttribute(BPath::normalFile));
}

TEST_F(BPathTest, GivesTimesInUtc) {
    const std::string file = directory.file("file");
    const struct {
        std::int64_t seconds;
        const char* text;
    } cases[] = {{1000000000, "2001-09-09 01:46:40"}, {2211768306, "2040-02-02 04:05:06"}};
    for (const auto& c : cases) {
        if (c.seconds > std::numeric_limits<std::time_t>::max())
            continue;
        const std::chrono::sys_seconds time{std::chrono::seconds(c.seconds)};
        fs::last_write_time(file, std::chrono::file_clock::from_sys(time));
        EXPECT_EQ(BPath(file).lastWriteTime().asString("%Y-%m-%d %H:%M:%S"), c.text);
    }
    const BPath path(directory.file("new"));
    EXPECT_LT(TimeStamp::system().asTime_t() - path.creationTime().asTime_t(), 100);
}

TEST_F(BPathTest, SetsOnlyPermissions) {
    const std::string missing = directory.name("missing");
    EXPECT_FAILURE(
        BPath(missing).setAttributes(BPath::allAttr),
        "BPath::setAttributes(): error changing permisions " + missing + " " + errorText(ENOENT));
    BPath path(directory.name());
    const BPath::Attr before = path.attributes();
    path.setAttributes(before).getInformation();
    EXPECT_EQ(path.attributes(), before);
}

TEST_F(BPathTest, MovesUnderTheNewNameAsItWasPassed) {
    const std::string from = directory.file("from", "contents");
    const std::string to = directory.name() + "\\to";
    BPath path(from);
    path.getInformation();
    path.move(to.c_str(), false);
    EXPECT_EQ(path.name(), to);
    EXPECT_EQ(contentsOf(directory.name("to")), "contents");
    EXPECT_FALSE(fs::exists(from));
}

TEST_F(BPathTest, ReplacesOnlyFilesAndOnlyWhenTold) {
    const std::string from = directory.file("from", "new");
    const std::string to = directory.file("to", "old");
    BPath path(from);
    errno = EINTR;
    EXPECT_FAILURE(path.move(to.c_str(), false),
                   "BPath::move(): error file exists " + to + " " + errorText(EINTR));
    EXPECT_EQ(path.name(), from);
    EXPECT_EQ(contentsOf(from), "new");
    EXPECT_EQ(contentsOf(to), "old");
    path.move(to.c_str(), true);
    EXPECT_EQ(contentsOf(to), "new");

    const std::string taken = directory.name("taken");
    fs::create_directory(taken);
    EXPECT_THROW(path.move(taken.c_str(), true), std::runtime_error);
    EXPECT_EQ(contentsOf(to), "new");

    const std::string missing = directory.name("missing");
    const std::string other = directory.name("other");
    EXPECT_FAILURE(
        BPath::move(missing.c_str(), other.c_str(), false),
        "BPath::move(): error renaming " + missing + " to " + other + " " + errorText(ENOENT));
}

TEST_F(BPathTest, RemovesNothingWhenMovedOntoItself) {
    const std::string file = directory.file("file", "contents");
    const std::string spellings[] = {file, directory.name(".") + "\\file",
                                     directory.name() + "//.\\file"};
    for (const std::string& spelling : spellings) {
        SCOPED_TRACE(spelling);
        BPath path(file);
        path.move(spelling.c_str(), true);
        EXPECT_EQ(contentsOf(file), "contents");
        EXPECT_THROW(path.move(file.c_str(), false), std::runtime_error);
    }
    // Another link to the same file is another entry, which makes room.
    const std::string link = directory.name("link");
    fs::create_hard_link(file, link);
    BPath::move(file.c_str(), link.c_str(), true);
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(contentsOf(link), "contents");
}

TEST(BPathAttr, CombinesBitsWithin32) {
    BPath::Attr attributes(0x1FFFFFFFFUL & ~0UL);
    EXPECT_EQ(attributes, 0xFFFFFFFFUL);
    attributes &= BPath::readPermision | BPath::writePermision;
    EXPECT_EQ(attributes, 0x0180UL);
    attributes ^= BPath::writePermision;
    EXPECT_EQ(attributes, 0x0100UL);
    EXPECT_EQ(~BPath::noAttr, 0xFFFFFFFFUL);
}

}  // namespace
