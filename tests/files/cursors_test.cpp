#include <sorvex/cursors.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <memory>
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
using Sorvex::testing::libraryNameOf;
using Sorvex::testing::TemporaryDirectory;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

std::vector<std::string> namesOf(BPathCursor& cursor) {
    std::vector<std::string> names;
    for (; cursor; ++cursor)
        names.push_back(cursor.name());
    return names;
}

template <typename Cursor>
std::vector<std::string> listed(const std::string& directory, const std::string& pattern) {
    Cursor cursor(directory, pattern);
    if (!cursor)
        cursor.first();
    return namesOf(cursor);
}

// Two files, two directories and what each cursor makes of them.
class Cursors : public ::testing::Test {
protected:
    void SetUp() override {
        directory.file("a.txt", "12345");
        directory.file("b.bin");
        fs::create_directory(directory.path() / "c.txt");
        fs::create_directory(directory.path() / "d");
        here = libraryNameOf(directory.path());
    }

    TemporaryDirectory directory;
    std::string here;
};

TEST_F(Cursors, DeliverWhatTheyAreFor) {
    EXPECT_THAT(listed<BPathCursor>(here, "*"),
                UnorderedElementsAre(".", "..", "a.txt", "b.bin", "c.txt", "d"));
    EXPECT_THAT(listed<BDirectoryCursor>(here, "*"), UnorderedElementsAre("c.txt", "d"));
    EXPECT_THAT(listed<BFileCursor>(here, "*"), UnorderedElementsAre("a.txt", "b.bin"));
    EXPECT_THAT(listed<BPathCursor>(here, "*.txt"), UnorderedElementsAre("a.txt", "c.txt"));
    EXPECT_THAT(listed<BDirectoryCursor>(here, "*.txt"), ElementsAre("c.txt"));
    EXPECT_THAT(listed<BFileCursor>(here, "*.txt"), ElementsAre("a.txt"));
    EXPECT_THAT(listed<BFileCursor>(here, "a.txt"), ElementsAre("a.txt"));
    EXPECT_THAT(listed<BFileCursor>(here, "d"), IsEmpty());
}

TEST_F(Cursors, ListNothingWithoutFailing) {
    fs::create_directory(directory.path() / "empty");
    const std::string empty = here + "\\empty";
    const struct {
        std::string directory;
        const char* pattern;
    } cases[] = {
        {here + "\\missing", "*"}, {here, "*.none"},     {here, "none"},
        {here + "\\a.txt", "*"},   {std::string(), "*"}, {here, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.directory + " " + c.pattern);
        BPathCursor cursor(c.directory, c.pattern);
        EXPECT_FALSE(cursor.first());
        EXPECT_FALSE(cursor.isValid());
        EXPECT_FALSE(BDirectoryCursor(c.directory, c.pattern));
        EXPECT_FALSE(BFileCursor(c.directory, c.pattern));
    }
    EXPECT_THAT(listed<BPathCursor>(empty, "*"), ElementsAre(".", ".."));
    EXPECT_FALSE(BDirectoryCursor(empty, "*"));
    EXPECT_FALSE(BDirectoryCursor(empty.c_str(), ".*"));
    EXPECT_FALSE(BFileCursor(empty, "*"));
}

TEST_F(Cursors, RewindAndStayAtTheirEnd) {
    BPathCursor cursor(here.c_str(), "*.txt");
    EXPECT_TRUE(cursor.first());
    const std::string firstName = cursor.name();
    EXPECT_TRUE(cursor.first());
    EXPECT_EQ(cursor.name(), firstName);
    EXPECT_TRUE(cursor.next());
    const std::string lastName = cursor.name();
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(cursor.next());
        EXPECT_FALSE(cursor);
    }
    EXPECT_EQ(cursor.name(), lastName);
    EXPECT_EQ(cursor.fullName(), here + "\\" + lastName);
    EXPECT_TRUE(cursor.first());
    EXPECT_EQ(cursor.name(), firstName);
}

TEST_F(Cursors, StepInPlaceInBothForms) {
    BFileCursor cursor(here, "*");
    EXPECT_EQ(&++cursor, &cursor);
    EXPECT_TRUE(cursor.isValid());
    EXPECT_EQ(&cursor++, &cursor);
    EXPECT_FALSE(cursor.isValid());
}

TEST_F(Cursors, StepByTheOverrideOfADerivedClass) {
    class Counting : public BPathCursor {
    public:
        using BPathCursor::BPathCursor;
        bool next() override {
            ++steps;
            return BPathCursor::next();
        }
        int steps = 0;
    };
    Counting cursor(here, "*.txt");
    cursor.first();
    ++cursor;
    cursor++;
    EXPECT_EQ(cursor.steps, 2);
    EXPECT_FALSE(cursor);
}

TEST_F(Cursors, FailToStepWithoutASearch) {
    BPathCursor fresh("C:\\dir", "*.x");
    EXPECT_FAILURE(fresh.next(), "BPathCursor::findNext(): FindNextFile() C:\\dir*.x");
    const std::string text = "BPathCursor::findNext(): FindNextFile() " + here + "*.none";
    BFileCursor empty(here, "*.none");
    EXPECT_FAILURE(empty.next(), text);
    EXPECT_FAILURE(++empty, text);
    EXPECT_FALSE(empty.first());
}

TEST_F(Cursors, TellAboutTheirEntry) {
    BFileCursor file(here, "a.*");
    EXPECT_EQ(file.name(), "a.txt");
    EXPECT_EQ(file.fullName(), here + "\\a.txt");
    EXPECT_EQ(static_cast<std::string>(file), here + "\\a.txt");
    EXPECT_EQ(file.extension(), ".txt");
    EXPECT_EQ(file.size(), 5U);
    EXPECT_FALSE(file.isDirectory());
    EXPECT_FALSE(file.hasAttribute(0x10));
    EXPECT_EQ(file.directoryName(), here);
    EXPECT_EQ(file.pattern(), "a.*");

    BDirectoryCursor folder(here, "d");
    EXPECT_TRUE(folder.isDirectory());
    EXPECT_TRUE(folder.hasAttribute(0x10 | 0x1));
    EXPECT_FALSE(folder.hasAttribute(0));
    EXPECT_EQ(folder.attributes(), 0x10U);
    EXPECT_EQ(folder.size(), 0U);
    EXPECT_EQ(folder.extension(), "");
}

TEST_F(Cursors, TellLocalTimes) {
    std::tm calendar{};
    calendar.tm_year = 101;
    calendar.tm_mday = 15;
    calendar.tm_hour = 12;
    calendar.tm_min = 34;
    calendar.tm_sec = 56;
    calendar.tm_isdst = -1;
    const auto instant = std::chrono::system_clock::from_time_t(std::mktime(&calendar)) +
                         std::chrono::milliseconds(789);
    fs::last_write_time(directory.path() / "a.txt", std::chrono::file_clock::from_sys(instant));
    const TimeStamp before = TimeStamp::now().secondsAgo(3600);
    BFileCursor file(here, "a.txt");
    EXPECT_TRUE(file.lastWriteTime() == TimeStamp(2001, 1, 15, 12, 34, 56, 789));
    EXPECT_TRUE(file.lastAccessTime() > before);
}

TEST_F(Cursors, TakeTheirPatternFromAPath) {
    BFileCursor cursor((here + "\\d\\..\\*.TXT").c_str());
    EXPECT_EQ(cursor.directoryName(), here + "\\");
    EXPECT_EQ(cursor.pattern(), "*.TXT");
    EXPECT_EQ(cursor.fullName(), here + "\\a.txt");
}

TEST_F(Cursors, KnowNothingWithoutAnEntry) {
    BPathCursor never(here, "*");
    BPathCursor emptied(here, "a.txt");
    emptied.first();
    fs::remove(directory.path() / "a.txt");
    emptied.first();
    for (const BPathCursor* cursor : {&never, &emptied}) {
        EXPECT_EQ(cursor->name(), "");
        EXPECT_EQ(cursor->fullName(), "");
        EXPECT_EQ(cursor->extension(), "");
        EXPECT_EQ(cursor->attributes(), 0U);
        EXPECT_FALSE(cursor->hasAttribute(0xFFFFFFFF));
        EXPECT_FALSE(cursor->isDirectory());
        EXPECT_EQ(cursor->size(), 0U);
        EXPECT_EQ(cursor->lastWriteTime().julianDate(), 0U);
    }
}

TEST_F(Cursors, KeepTheFactsOfAnEntryThatIsRemoved) {
    BFileCursor cursor(here, "a.txt");
    fs::remove(directory.path() / "a.txt");
    EXPECT_EQ(cursor.size(), 5U);
    EXPECT_FALSE(cursor.next());
    EXPECT_EQ(cursor.size(), 5U);
}

TEST_F(Cursors, FailOnNamesBeyondTheLimit) {
    const std::string longName(4000, 'n');
    BPathCursor cursor(here, longName);
    EXPECT_FAILURE(cursor.first(),
                   "BPathCursor::BPathCursor(): FindFirstFile() " + here + "\\" + longName);
    EXPECT_FALSE(cursor);
    EXPECT_EQ(cursor.name(), "");
    EXPECT_THROW(BFileCursor(here, longName), std::runtime_error);
    EXPECT_THROW(BDirectoryCursor(longName.c_str(), "*"), std::runtime_error);
}

}  // namespace
