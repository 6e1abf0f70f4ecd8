#include "platform/posix/find.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/errors.h"
#include "support/process_facts.h"
#include "support/temporary_directory.h"

namespace {

using namespace Sorvex;
using Sorvex::testing::openDescriptors;
using Sorvex::testing::TemporaryDirectory;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

// A search that is closed in the end.
class Search {
public:
    explicit Search(const std::string& text)
        : handle(platform::FindFirstFileA(text.c_str(), &data)) {}
    ~Search() { platform::FindClose(handle); }

    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    bool isOpen() const { return handle != INVALID_HANDLE_VALUE; }
    bool next() { return platform::FindNextFileA(handle, &data) != 0; }
    const platform::WIN32_FIND_DATAA& whole() {
        platform::completeFindData(handle, &data);
        return data;
    }

    platform::WIN32_FIND_DATAA data{};
    platform::HANDLE handle;
};

std::vector<std::string> namesOf(const std::string& text) {
    std::vector<std::string> names;
    Search search(text);
    if (!search.isOpen())
        return names;
    do
        names.emplace_back(search.data.cFileName);
    while (search.next());
    return names;
}

// What is not `.` or `..`.
std::vector<std::string> entriesOf(const std::string& text) {
    std::vector<std::string> names = namesOf(text);
    std::erase_if(names, [](const std::string& name) { return name == "." || name == ".."; });
    return names;
}

platform::DWORD failureOf(const std::string& text) {
    platform::WIN32_FIND_DATAA data;
    platform::SetLastError(ERROR_SUCCESS);
    const platform::HANDLE found = platform::FindFirstFileA(text.c_str(), &data);
    if (found == INVALID_HANDLE_VALUE)
        return platform::GetLastError();
    platform::FindClose(found);
    return ERROR_SUCCESS;
}

TEST(FindFiles, DeliversTheDotsFirstAndEveryEntryOnce) {
    const TemporaryDirectory directory;
    std::vector<std::string> expected = {".", ".."};
    for (int number = 0; number < 3000; ++number) {
        expected.push_back("entry " + std::to_string(number));
        directory.file(expected.back());
    }
    std::vector<std::string> names = namesOf(directory.name() + "\\*");
    ASSERT_EQ(names.size(), expected.size());
    EXPECT_EQ(names[0], ".");
    EXPECT_EQ(names[1], "..");
    std::sort(names.begin(), names.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(names, expected);
}

TEST(FindFiles, StaysRightWhileItsEntriesAreRemoved) {
    const TemporaryDirectory directory;
    for (int number = 0; number < 3000; ++number)
        directory.file(std::to_string(number));
    Search search(directory.name() + "/?*");
    int removed = 0;
    do {
        if (search.data.cFileName[0] != '.')
            removed += std::filesystem::remove(directory.name(search.data.cFileName)) ? 1 : 0;
    } while (search.next());
    EXPECT_EQ(platform::GetLastError(), ERROR_NO_MORE_FILES);
    EXPECT_EQ(removed, 3000);
}

TEST(FindFiles, ComesToAnEndThatLasts) {
    const TemporaryDirectory directory;
    directory.file("a.txt", "12345");
    directory.file("b.bin");
    Search search(directory.name() + "\\*.txt");
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(search.next());
        EXPECT_EQ(platform::GetLastError(), ERROR_NO_MORE_FILES);
        EXPECT_STREQ(search.data.cFileName, "a.txt");
        EXPECT_EQ(search.whole().nFileSizeLow, 5U);
        directory.file("c.txt");
    }
}

TEST(FindFiles, TellsTheKindOfEachEntry) {
    const TemporaryDirectory directory;
    directory.file("plain");
    directory.file(".hidden");
    chmod(directory.file("readonly").c_str(), 0444);
    chmod(directory.file("groups").c_str(), 0420);
    mkdir(directory.name("folder").c_str(), 0777);
    mkdir(directory.name(".locked").c_str(), 0555);
    mkfifo(directory.name("pipe").c_str(), 0666);
    symlink("folder", directory.name("to folder").c_str());
    symlink("nowhere", directory.name(".to nowhere").c_str());
    const struct {
        const char* name;
        platform::DWORD attributes;
    } cases[] = {
        {"plain", 0x80},  {".hidden", 0x2},     {"readonly", 0x1},
        {"groups", 0x80}, {"folder", 0x10},     {".locked", 0x13},
        {"pipe", 0x80},   {"to folder", 0x400}, {".to nowhere", 0x402},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Search lookedUp(directory.name() + "\\" + c.name);
        EXPECT_EQ(lookedUp.data.dwFileAttributes, c.attributes);
        EXPECT_STREQ(lookedUp.data.cFileName, c.name);
        // Above the names that come first, so that nothing is known ahead.
        Search listed(directory.name() + "\\" + c.name + "*");
        EXPECT_EQ(listed.whole().dwFileAttributes, c.attributes);
    }
    EXPECT_EQ(Search(directory.name() + "\\*").whole().dwFileAttributes, 0x10U);
}

TEST(FindFiles, TellsSizesAndTimes) {
    const TemporaryDirectory directory;
    const std::string name = directory.file("file", "123");
    truncate64(name.c_str(), (5LL << 32) + 7);
    symlink("file", directory.name("link").c_str());
    const timespec times[] = {{1'000'000'000, 0}, {951'868'799, 123'456'789}};
    utimensat(AT_FDCWD, name.c_str(), times, 0);

    Search file(directory.name() + "\\f*");
    EXPECT_EQ(file.whole().nFileSizeLow, 7U);
    EXPECT_EQ(file.data.nFileSizeHigh, 5U);
    EXPECT_EQ(platform::fileTimeTicks(file.data.ftLastAccessTime), 126'444'736'000'000'000U);
    EXPECT_EQ(platform::fileTimeTicks(file.data.ftLastWriteTime), 125'963'423'991'234'567U);
    EXPECT_EQ(Search(directory.name() + "\\link").data.nFileSizeLow, 0U);
    EXPECT_EQ(Search(directory.name() + "\\.").data.nFileSizeLow, 0U);
}

TEST(FindFiles, KeepsTheFactsOfAnEntryThatGoes) {
    const TemporaryDirectory directory;
    for (int number = 0; number < 100; ++number)
        directory.file("file" + std::to_string(number), "12345");
    Search search(directory.name() + "\\file*");
    do {
        std::filesystem::remove(directory.name(search.data.cFileName));
        EXPECT_EQ(search.whole().nFileSizeLow, 5U);
        EXPECT_NE(platform::fileTimeTicks(search.data.ftLastWriteTime), 0U);
    } while (search.next());
}

TEST(FindFiles, SurvivesTheRemovalOfItsDirectory) {
    const TemporaryDirectory directory;
    mkdir(directory.name("gone").c_str(), 0777);
    Search search(directory.name("gone") + "\\*");
    rmdir(directory.name("gone").c_str());
    EXPECT_TRUE(search.next());
    EXPECT_STREQ(search.data.cFileName, "..");
    EXPECT_EQ(search.whole().nFileSizeLow, 0U);
    EXPECT_FALSE(search.next());
    EXPECT_EQ(platform::GetLastError(), ERROR_NO_MORE_FILES);
}

TEST(FindFiles, ShowsEveryNameSoThatItCanBeNamed) {
    const TemporaryDirectory directory;
    const std::string longest(255, '\\');
    for (const std::string& name : {std::string("a\\b"), std::string("line\nbreak"),
                                    std::string("\xFF\xFE"), std::string("st*r?"), longest})
        directory.file(name, "x");
    std::string shownLongest;
    for (int i = 0; i < 255; ++i)
        shownLongest += "\xEF\x81\x9C";
    const std::vector<std::string> names = entriesOf(directory.name() + "\\*");
    EXPECT_THAT(names, UnorderedElementsAre("a\xEF\x81\x9C"
                                            "b",
                                            "line\nbreak", "\xFF\xFE", "st*r?", shownLongest));
    for (const std::string& name : names)
        EXPECT_EQ(entriesOf(directory.name() + "\\" + name).size(), 1U) << name;
    EXPECT_THAT(entriesOf(directory.name() + "\\a\xEF\x81\x9C?"), ElementsAre("a\xEF\x81\x9C"
                                                                              "b"));
}

TEST(FindFiles, LeavesTheDotsOutAtTheRoot) {
    for (const char* text : {"C:\\*", "C:\\\\*", "/*", "\\*", "\\\\*", "//*", "c:/.\\*",
                             "/tmp/../*", "C:\\..\\*", "C:\\.", "C:\\.."})
        for (const std::string& name : namesOf(text))
            EXPECT_TRUE(name != "." && name != "..") << text;
    EXPECT_THAT(namesOf("\\\\tmp"), ElementsAre("tmp"));
    EXPECT_THAT(namesOf("C:\\tmp\\."), ElementsAre("."));
    EXPECT_THAT(namesOf("/tmp/.?"), ElementsAre(".", ".."));
    EXPECT_EQ(failureOf("C:\\."), ERROR_FILE_NOT_FOUND);
}

TEST(FindFiles, SaysWhyThereIsNothingToList) {
    const TemporaryDirectory directory;
    const std::string here = directory.name();
    directory.file("file");
    symlink("loop", directory.name("loop").c_str());
    const std::size_t descriptors = openDescriptors();
    const struct {
        std::string text;
        platform::DWORD error;
    } cases[] = {
        {here + "\\*.none", ERROR_FILE_NOT_FOUND},
        {here + "\\none", ERROR_FILE_NOT_FOUND},
        {here + "\\FILE", ERROR_FILE_NOT_FOUND},
        {here + "\\", ERROR_FILE_NOT_FOUND},
        {here + "\\none\\*", ERROR_PATH_NOT_FOUND},
        {here + "\\none\\none", ERROR_PATH_NOT_FOUND},
        {here + "\\none\\", ERROR_PATH_NOT_FOUND},
        {here + "\\file\\*", ERROR_PATH_NOT_FOUND},
        {here + "\\file\\none", ERROR_PATH_NOT_FOUND},
        {"Z:\\*", ERROR_PATH_NOT_FOUND},
        {"Z:\\none", ERROR_PATH_NOT_FOUND},
        {"\\\\server\\share\\*", ERROR_PATH_NOT_FOUND},
        {"\\\\server\\share", ERROR_PATH_NOT_FOUND},
        {"", ERROR_PATH_NOT_FOUND},
        {here + "\\loop\\*", ERROR_CANT_RESOLVE_FILENAME},
        {here + "\\" + std::string(4000, 'a'), ERROR_FILENAME_EXCED_RANGE},
        {here + "\\" + std::string(300, 'a') + "\\*", ERROR_FILENAME_EXCED_RANGE},
        {here + "\\" + std::string(5000, 'a') + "*", ERROR_FILENAME_EXCED_RANGE},
        {here + "\\" + std::string(5000, 'a') + "\\..\\*", ERROR_FILENAME_EXCED_RANGE},
    };
    for (int round = 0; round < 100; ++round)
        for (const auto& c : cases)
            EXPECT_EQ(failureOf(c.text), c.error) << c.text;
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(FindFiles, RefusesWhatIsNoSearch) {
    platform::WIN32_FIND_DATAA data;
    for (platform::HANDLE handle : {platform::HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
        platform::SetLastError(ERROR_SUCCESS);
        EXPECT_FALSE(platform::FindNextFileA(handle, &data));
        EXPECT_EQ(platform::GetLastError(), ERROR_INVALID_HANDLE);
        platform::SetLastError(ERROR_SUCCESS);
        EXPECT_FALSE(platform::FindClose(handle));
        EXPECT_EQ(platform::GetLastError(), ERROR_INVALID_HANDLE);
    }
}

}  // namespace
