#include <sorvex/bpath.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/directory_test.h"
#include "support/failure_assertions.h"

namespace {

namespace fs = std::filesystem;
using namespace Sorvex;
using Sorvex::testing::contentsOf;
using BPathTest = Sorvex::testing::DirectoryTest;

TEST_F(BPathTest, TakesNamesApartByTheTextAlone) {
    const std::string longName(3000, 'n');
    const std::string cases[][3] = {
        {"C:\\dir\\a.tar.gz", "a.tar", ".gz"},
        {"C:\\dir.d\\readme", "readme", ""},
        {"C:", "", ""},
        {"C:a.b", "a", ".b"},
        {"a\\b/.profile", "", ".profile"},
        {"", "", ""},
        {"/\xFF\n.\x80", "\xFF\n", ".\x80"},
        {longName + "\\" + longName + "." + longName, longName, "." + longName}};
    for (const auto& [name, stem, extension] : cases) {
        SCOPED_TRACE(name);
        const BPath path(name);
        EXPECT_EQ(path.fileName(), stem + extension);
        EXPECT_EQ(path.fileNameWithoutExtension(), stem);
        EXPECT_EQ(path.extension(), extension);
    }
}

TEST_F(BPathTest, GivesTheParentWithItsSeparator) {
    EXPECT_EQ(BPath::parent("C:\\dir\\a.txt"), "C:\\dir\\");
    EXPECT_EQ(BPath::parent("C:\\dir\\"), "C:\\dir\\");
    EXPECT_EQ(BPath("a.txt").parent() + "a.txt", BPath("a.txt").fullName());
}

TEST_F(BPathTest, RefusesAFullNameOfMoreThan259Characters) {
    const std::string name = "C:\\" + std::string(256, 'a');
    EXPECT_FAILURE(BPath(name + "a").parent(), "BPath::fullName(): can not get full name " + name +
                                                   "a Numerical result out of range");
}

TEST_F(BPathTest, KeepsWhatItLearnedUntilAskedToReadAnew) {
    BPath path(directory.name("file"));
    const std::string end = path.name() + " No such file or directory";
    EXPECT_FAILURE(path.attributes(), "BPath::getInformation(): file not found " + end);

    directory.file("file");
    const BPath::Attr before = path.attributes();
    EXPECT_TRUE(path.hasAttribute(BPath::directory | BPath::normalFile));
    EXPECT_FALSE(path.hasAttribute(BPath::directory));

    path.setAttributes(before ^ BPath::writePermision);
    EXPECT_EQ(path.attributes(), before);
    EXPECT_EQ(BPath(path).attributes() & BPath::writePermision, BPath::Attr(0));
    path.getInformation();
    EXPECT_FALSE(path.hasAttribute(BPath::writePermision));
    path.setAttributes(before);

    fs::remove(path.name());
    EXPECT_FALSE(path.hasAttribute(BPath::writePermision));
    EXPECT_FAILURE(path.getInformation(), "BPath::getInformation(): file not found " + end);
    EXPECT_FAILURE(path.attributes(), "BPath::getInformation(): file not found " + end);
    EXPECT_FAILURE(path.setAttributes(before),
                   "BPath::setAttributes(): error changing permisions " + end);
}

TEST_F(BPathTest, GivesTimesInUtcEvenBeyond32Bits) {
    const BPath path(directory.file("file"));
    if constexpr (sizeof(std::time_t) > 4) {
        const std::chrono::sys_seconds time{std::chrono::seconds(2211768306)};
        fs::last_write_time(path.name(), std::chrono::file_clock::from_sys(time));
        EXPECT_EQ(path.lastWriteTime().asString("%Y-%m-%d %H:%M:%S"), "2040-02-02 04:05:06");
    }
    for (const TimeStamp& time : {path.creationTime(), path.lastAccessTime()})
        EXPECT_LT(TimeStamp::system().asTime_t() - time.asTime_t(), 100);
}

TEST_F(BPathTest, MovesOverFilesOnlyAndOnlyWhenTold) {
    const std::string from = directory.file("from", "new");
    const std::string to = directory.file("to", "old");
    const std::string spelling = directory.name() + "//.\\to";
    BPath path(from);
    errno = EBADF;  // finding that a file exists is no error, so the text is that of an earlier one
    EXPECT_FAILURE(path.move(to.c_str(), false),
                   "BPath::move(): error file exists " + to + " Bad file descriptor");
    EXPECT_EQ(path.name(), from);
    EXPECT_EQ(contentsOf(to), "old");
    path.move(to.c_str(), true);
    EXPECT_FAILURE(
        BPath::move(from.c_str(), in("x").c_str(), false),
        "BPath::move(): error renaming " + from + " to " + in("x") + " No such file or directory");
    // Onto itself, where nothing has to make room.
    path.move(spelling.c_str(), true);
    EXPECT_EQ(path.name(), spelling);
    EXPECT_EQ(contentsOf(to), "new");
    // Another link to the same file is another entry, which does.
    fs::create_hard_link(to, from);
    path.move(from.c_str(), true);
    EXPECT_FALSE(fs::exists(to));

    fs::create_directory(to);
    EXPECT_THAT([&] { path.move(to.c_str(), true); },
                ::testing::ThrowsMessage<std::runtime_error>(
                    ::testing::StartsWith("BPath::move(): error removing file " + to + " ")));
    EXPECT_EQ(contentsOf(path.name()), "new");
}

}  // namespace
