#include <sorvex/cursors.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/directory_test.h"
#include "support/failure_assertions.h"

namespace {

namespace fs = std::filesystem;
using namespace Sorvex;
using namespace std::chrono_literals;
using ::testing::UnorderedElementsAre;

// Two files and two directories.
class Cursors : public Sorvex::testing::DirectoryTest {
protected:
    Cursors() { build({"a.txt", "b.bin", "c.txt/", "d/"}); }

    static std::vector<std::string> namesOf(BPathCursor& cursor) {
        std::vector<std::string> names;
        for (; cursor; cursor++)
            names.push_back(cursor.name());
        return names;
    }
};

TEST_F(Cursors, DeliverWhatTheyAreFor) {
    BPathCursor all(here, "*");
    EXPECT_TRUE(all.first());
    EXPECT_THAT(namesOf(all), UnorderedElementsAre(".", "..", "a.txt", "b.bin", "c.txt", "d"));
    BFileCursor files(here, "*");
    EXPECT_THAT(namesOf(files), UnorderedElementsAre("a.txt", "b.bin"));
    EXPECT_EQ(BFileCursor(here.c_str(), "*.txt").name(), "a.txt");
    EXPECT_EQ(BFileCursor(here, std::string("a.txt")).name(), "a.txt");
    EXPECT_EQ(BDirectoryCursor(here.c_str(), "*.txt").name(), "c.txt");
    EXPECT_EQ(BDirectoryCursor(here, std::string("d")).name(), "d");
    EXPECT_FALSE(BFileCursor(here, "d"));
    EXPECT_FALSE(BDirectoryCursor(here, ".*"));
}

TEST_F(Cursors, StepInPlaceAndStayAtTheirEnd) {
    BDirectoryCursor cursor(here, "*");
    const std::string firstName = cursor.name();
    EXPECT_EQ(&++cursor, &cursor);
    const std::string lastName = cursor.name();
    EXPECT_THAT((std::vector{firstName, lastName}), UnorderedElementsAre("c.txt", "d"));
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(&cursor++, &cursor);
        EXPECT_FALSE(cursor.isValid());
    }
    EXPECT_EQ(cursor.fullName(), in(lastName));
    EXPECT_TRUE(cursor.first());
    EXPECT_EQ(cursor.name(), firstName);
}

TEST_F(Cursors, KeepWhatTheirEntryWasWhenTheyCameToIt) {
    BFileCursor file(here, "*.txt");
    const TimeStamp written = file.lastWriteTime();
    fs::remove(host("a.txt"));
    EXPECT_EQ(file.size(), 5U);
    EXPECT_TRUE(file.lastWriteTime() == written && written.julianDate() != 0);
    // At the end it is the last one that the platform delivered, though it was passed over.
    build({"d/e/"});
    BFileCursor none(in("d"), "*");
    EXPECT_FALSE(none);
    EXPECT_FALSE(none.next());
    EXPECT_EQ(none.name(), "e");
    EXPECT_NE(none.lastWriteTime().julianDate(), 0U);
}

TEST_F(Cursors, ListNothingWithoutFailingAndFailToStepThen) {
    const std::string cases[][2] = {
        {in("missing"), "*"}, {here, "*.none"}, {here, "none"}, {"", "*"}, {here, ""}};
    for (const auto& [place, pattern] : cases) {
        SCOPED_TRACE(place + " " + pattern);
        BPathCursor cursor(place, pattern);
        const std::string failure = "BPathCursor::findNext(): FindNextFile() " + place + pattern;
        EXPECT_FAILURE(cursor.next(), failure);
        EXPECT_FALSE(cursor.first());
        EXPECT_FAILURE(++cursor, failure);
        EXPECT_FALSE(BDirectoryCursor(place, pattern));
        EXPECT_FALSE(BFileCursor(place, pattern));
    }
}

TEST_F(Cursors, TellAboutTheirEntry) {
    const BFileCursor file(in("d\\..\\*.TXT").c_str());
    EXPECT_EQ(file.directoryName(), here + "\\");
    EXPECT_EQ(file.pattern(), "*.TXT");
    EXPECT_EQ(static_cast<std::string>(file), in("a.txt"));
    EXPECT_EQ(file.extension(), ".txt");
    EXPECT_EQ(file.size(), 5U);
    const BDirectoryCursor folder(here, "d");
    EXPECT_TRUE(folder.hasAttribute(0x10 | 0x1));
    EXPECT_EQ(folder.attributes(), 0x10U);
}

TEST_F(Cursors, TellLocalTimes) {
    const std::time_t instant = 979562096;  // 2001-01-15 12:34:56 UTC
    const auto time = std::chrono::system_clock::from_time_t(instant);
    fs::last_write_time(host("a.txt"), std::chrono::file_clock::from_sys(time + 789ms));
    const BFileCursor file(here, "a.txt");
    EXPECT_TRUE(file.lastWriteTime() == TimeStamp(*std::localtime(&instant), 789));
    EXPECT_TRUE(file.lastAccessTime() > TimeStamp::now().secondsAgo(3600));
}

TEST_F(Cursors, KnowNothingWithoutAnEntry) {
    BPathCursor never(here, "*");
    BPathCursor emptied(here, "a.txt");
    emptied.first();
    fs::remove(host("a.txt"));
    emptied.first();
    for (const BPathCursor* cursor : {&never, &emptied}) {
        EXPECT_EQ(cursor->name() + cursor->fullName() + cursor->extension(), "");
        EXPECT_EQ(cursor->attributes() + cursor->size(), 0U);
        EXPECT_FALSE(cursor->hasAttribute(0xFFFFFFFF) || cursor->isDirectory());
        EXPECT_EQ(cursor->lastWriteTime().julianDate(), 0U);
    }
}

}  // namespace
