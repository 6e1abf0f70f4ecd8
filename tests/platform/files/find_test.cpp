#include "platform/posix/files/find.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sorvex/cursors.h>
#include <sys/stat.h>

#include "platform/posix/base/errors.h"
#include "support/directory_test.h"
#include "support/process_facts.h"

namespace {

namespace fs = std::filesystem;
using namespace Sorvex;

// A search that is closed in the end.
class Search {
public:
    explicit Search(const std::string& text)
        : handle(platform::FindFirstFileA(text.c_str(), &data)) {}
    ~Search() { platform::FindClose(handle); }

    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    bool next() { return platform::FindNextFileA(handle, &data) != 0; }

    platform::WIN32_FIND_DATAA data{};
    platform::HANDLE handle;
};

std::vector<std::string> namesOf(const std::string& text) {
    std::vector<std::string> names;
    Search search(text);
    for (bool isAt = search.handle != INVALID_HANDLE_VALUE; isAt; isAt = search.next())
        names.emplace_back(search.data.cFileName);
    return names;
}

using FindFiles = Sorvex::testing::DirectoryTest;

TEST_F(FindFiles, DeliversTheDotsFirstAndEveryEntryOnceThoughItIsRemovedThen) {
    for (int number = 0; number < 3000; ++number)
        build({"listed/" + std::to_string(number)});
    Search search(in("listed\\*"));
    EXPECT_STREQ(search.data.cFileName, ".");
    EXPECT_TRUE(search.next());
    EXPECT_STREQ(search.data.cFileName, "..");
    int removed = 0;
    for (; search.next(); ++removed) {
        EXPECT_TRUE(fs::remove(host("listed") / search.data.cFileName));
        ASSERT_GT(search.data.nFileSizeLow, 7U);
    }
    EXPECT_EQ(removed, 3000);
    // The end lasts, and so it does in a directory that is gone.
    build({"listed/late"});
    EXPECT_FALSE(search.next());
    EXPECT_EQ(platform::GetLastError(), ERROR_NO_MORE_FILES);
    Search gone(in("listed\\*"));
    fs::remove_all(host("listed"));
    EXPECT_TRUE(gone.next());
    EXPECT_FALSE(gone.next());
    EXPECT_EQ(platform::GetLastError(), ERROR_NO_MORE_FILES);
}

TEST_F(FindFiles, TellsWhatEachEntryIs) {
    build({"plain", ".hidden", "readonly", "groups", "folder/", ".locked/"});
    fs::resize_file(host("plain"), (5ULL << 32) + 7);
    chmod(host("readonly").c_str(), 0444);
    chmod(host("groups").c_str(), 0420);
    chmod(host(".locked").c_str(), 0555);
    mkfifo(host("pipe").c_str(), 0666);
    fs::create_symlink("folder", host("to folder"));
    fs::create_symlink("nowhere", host(".to nowhere"));
    const std::pair<std::string, platform::DWORD> cases[] = {
        {"plain", 0x80},  {".hidden", 0x2},     {"readonly", 0x1},
        {"groups", 0x80}, {"folder", 0x10},     {".locked", 0x13},
        {"pipe", 0x80},   {"to folder", 0x400}, {".to nowhere", 0x402},
    };
    for (const auto& [name, attributes] : cases) {
        EXPECT_EQ(Search(in(name)).data.dwFileAttributes, attributes) << name;
        EXPECT_EQ(Search(in(name + "*")).data.dwFileAttributes, attributes) << name;
    }
    EXPECT_EQ(Search(in("*")).data.dwFileAttributes, 0x10U);
    EXPECT_EQ(Search(in("to folder")).data.nFileSizeLow, 0U);
    EXPECT_EQ(BFileCursor(here, "plain").size(), 7U);

    const timespec times[] = {{0, UTIME_OMIT}, {951'868'799, 123'456'789}};
    utimensat(AT_FDCWD, host("plain").c_str(), times, 0);
    Search plain(in("plain*"));
    EXPECT_EQ(plain.data.nFileSizeHigh, 5U);
    constexpr std::uint64_t ticks = 125'963'423'991'234'567;
    EXPECT_EQ(platform::fileTimeTicks(plain.data.ftLastWriteTime), ticks);
    // Without a time of birth the earlier change stands for it.
    EXPECT_EQ(platform::fileTimeTicks(plain.data.ftCreationTime) == ticks, SORVEX_OLDER_HOST);
}

TEST_F(FindFiles, ShowsEveryNameSoThatItCanBeNamed) {
    build({"\\z", "line\nbreak", "\xFF\xFE", "st*r?", std::string(255, '\\')});
    const std::vector<std::string> names = namesOf(in("*"));
    EXPECT_THAT(names,
                ::testing::UnorderedElementsAre(".", "..", "\xEF\x81\x9Cz", "line\nbreak",
                                                "\xFF\xFE", "st*r?", ::testing::SizeIs(765)));
    for (const std::string& name : names)
        EXPECT_EQ(namesOf(in(name)).size(), 1U) << name;
}

TEST_F(FindFiles, LeavesTheDotsOutAtTheRoot) {
    for (const char* text :
         {"C:\\*", "C:\\\\*", "/*", "\\*", "\\\\*", "c:/.\\*", "/tmp/../*", "C:\\..\\*"})
        EXPECT_NE(namesOf(text).at(0), ".") << text;
    EXPECT_THAT(namesOf("\\\\tmp"), ::testing::ElementsAre("tmp"));
    EXPECT_THAT(namesOf("C:\\tmp\\."), ::testing::ElementsAre("."));
}

TEST_F(FindFiles, SaysWhyThereIsNothingToList) {
    build({"file"});
    fs::create_symlink("loop", host("loop"));
    const std::string beyond(5000, 'a');
    const std::pair<platform::DWORD, std::vector<std::string>> cases[] = {
        {ERROR_FILE_NOT_FOUND, {in("*.none"), in("none"), in("FILE"), in(""), "C:\\.", "C:\\.."}},
        {ERROR_PATH_NOT_FOUND,
         {in("none\\*"), in("none\\none"), in("none\\"), in("file\\*"), in("file\\none"), "Z:\\*",
          "Z:\\none", "\\\\server\\share\\*", "\\\\server\\share", ""}},
        {ERROR_CANT_RESOLVE_FILENAME, {in("loop\\*")}},
        {ERROR_FILENAME_EXCED_RANGE,
         {in(std::string(4000, 'a')), in(std::string(300, 'a') + "\\*"), in(beyond + "*"),
          in(beyond + "\\..\\*")}},
    };
    const std::size_t descriptors = Sorvex::testing::openDescriptors();
    for (const auto& [error, texts] : cases)
        for (const std::string& text : texts) {
            Search search(text);
            EXPECT_EQ(platform::GetLastError(), error) << text;
            EXPECT_FALSE(search.next());
            EXPECT_EQ(platform::GetLastError(), ERROR_INVALID_HANDLE);
        }
    EXPECT_EQ(Sorvex::testing::openDescriptors(), descriptors);
}

}  // namespace
