// Searches on a host that counts what it is asked, is interrupted, and tells less than others.
#include <cerrno>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/posix/find.h"
#include "support/temporary_directory.h"

namespace {

struct Host {
    int looks = 0;
    int interruptions = 0;
    bool tellsKinds = true;
    bool tellsBirth = true;
};

Host host;

}  // namespace

// The host's headers have parameter names of their own.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

extern "C" int statx(int directory, const char* name, int flags, unsigned mask,
                     struct statx* facts) {
    ++host.looks;
    const auto result = static_cast<int>(syscall(SYS_statx, directory, name, flags, mask, facts));
    if (!host.tellsBirth)
        facts->stx_mask &= ~STATX_BTIME;
    return result;
}

extern "C" ssize_t getdents64(int directory, void* block, size_t capacity) {
    if (host.interruptions > 0) {
        --host.interruptions;
        errno = EINTR;
        return -1;
    }
    const ssize_t size = syscall(SYS_getdents64, directory, block, capacity);
    for (ssize_t at = 0; at < size && !host.tellsKinds;) {
        auto* const entry = reinterpret_cast<dirent64*>(static_cast<char*>(block) + at);
        entry->d_type = DT_UNKNOWN;
        at += entry->d_reclen;
    }
    return size;
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace {

using namespace Sorvex;
using Sorvex::testing::TemporaryDirectory;

class FindFilesOfTheHost : public ::testing::Test {
protected:
    void SetUp() override {
        host = Host();
        for (int number = 0; number < 500; ++number)
            directory.file("file" + std::to_string(number), "12345");
    }
    void TearDown() override { host = Host(); }

    // Lists the files and returns how many there are.
    template <typename Visit>
    int list(Visit visit) const {
        platform::WIN32_FIND_DATAA data;
        const platform::HANDLE search =
            platform::FindFirstFileA((directory.name() + "\\file*").c_str(), &data);
        int count = 0;
        do {
            ++count;
            visit(search, data);
        } while (platform::FindNextFileA(search, &data));
        platform::FindClose(search);
        return count;
    }

    TemporaryDirectory directory;
};

TEST_F(FindFilesOfTheHost, AsksNothingAboutEntriesForTheirNamesAlone) {
    EXPECT_EQ(list([](platform::HANDLE, platform::WIN32_FIND_DATAA&) {}), 500);
    EXPECT_EQ(host.looks, 4);
}

TEST_F(FindFilesOfTheHost, AsksOnceAboutAnEntryWhoseFactsAreWanted) {
    EXPECT_EQ(list([](platform::HANDLE search, platform::WIN32_FIND_DATAA& data) {
                  platform::completeFindData(search, &data);
                  platform::completeFindData(search, &data);
                  EXPECT_EQ(data.nFileSizeLow, 5U);
              }),
              500);
    EXPECT_EQ(host.looks, 500);
}

TEST_F(FindFilesOfTheHost, AsksForTheKindsThatTheListingDoesNotTell) {
    host.tellsKinds = false;
    mkdir(directory.name("file folder").c_str(), 0777);
    symlink("file folder", directory.name("file link").c_str());
    int directories = 0;
    int links = 0;
    list([&](platform::HANDLE, const platform::WIN32_FIND_DATAA& data) {
        directories += (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? 1 : 0;
        links += (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ? 1 : 0;
    });
    EXPECT_EQ(directories, 1);
    EXPECT_EQ(links, 1);
}

TEST_F(FindFilesOfTheHost, GoesOnAfterAnInterruption) {
    host.interruptions = 3;
    EXPECT_EQ(list([](platform::HANDLE, platform::WIN32_FIND_DATAA&) {}), 500);
}

TEST_F(FindFilesOfTheHost, TakesTheEarlierChangeForAnUnknownBirth) {
    const timespec times[] = {{0, UTIME_OMIT}, {1'000'000'000, 0}};
    utimensat(AT_FDCWD, directory.name("file7").c_str(), times, 0);
    for (const bool tellsBirth : {true, false}) {
        host.tellsBirth = tellsBirth;
        platform::WIN32_FIND_DATAA data;
        platform::FindClose(platform::FindFirstFileA(directory.name("file7").c_str(), &data));
        const auto creation = platform::fileTimeTicks(data.ftCreationTime);
        const auto change = platform::fileTimeTicks(data.ftLastWriteTime);
        EXPECT_EQ(creation == change, !tellsBirth);
    }
}

}  // namespace
