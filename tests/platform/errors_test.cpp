#include "platform/posix/errors.h"

#include <cerrno>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "strings/failure.h"
#include "support/failure_assertions.h"

namespace {

using namespace Sorvex;

std::string textFor(platform::DWORD error) {
    char* text = nullptr;
    const platform::DWORD length = platform::FormatMessageA(
        0x1300, nullptr, error, 0x400, reinterpret_cast<char*>(&text), 0, nullptr);
    const std::string copy = text == nullptr ? "" : text;
    EXPECT_EQ(copy.size(), length);
    platform::LocalFree(text);
    return copy;
}

TEST(LastError, BelongsToItsThread) {
    platform::SetLastError(ERROR_ACCESS_DENIED);
    std::thread([] {
        EXPECT_EQ(platform::GetLastError(), ERROR_SUCCESS);
        platform::SetLastError(ERROR_DISK_FULL);
    }).join();
    EXPECT_EQ(platform::GetLastError(), ERROR_ACCESS_DENIED);
}

TEST(LastError, MapsErrno) {
    const struct {
        int number;
        platform::DWORD error;
    } cases[] = {{ENOENT, 2},   {ENOTDIR, 3},  {EACCES, 5},         {EPERM, 5},       {EBADF, 6},
                 {ENOSPC, 112}, {EEXIST, 183}, {ENAMETOOLONG, 206}, {ENOTEMPTY, 145}, {EDOM, 31}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.number);
        errno = c.number;
        platform::setLastErrorFromErrno();
        EXPECT_EQ(platform::GetLastError(), c.error);
        EXPECT_EQ(errno, c.number);
    }
}

TEST(FormatMessage, GivesTheSystemsTextsFromEndToEndOfTheTable) {
    EXPECT_EQ(textFor(0), "The operation completed successfully.\r\n");
    EXPECT_EQ(textFor(2), "The system cannot find the file specified.\r\n");
    EXPECT_EQ(textFor(193), "%1 is not a valid Win32 application.\r\n");
    EXPECT_EQ(textFor(2221), "The user name could not be found.\r\n");
}

TEST(FormatMessage, FailsForAnUnknownNumber) {
    EXPECT_EQ(textFor(7), "");
    EXPECT_EQ(platform::GetLastError(), ERROR_MR_MID_NOT_FOUND);
    EXPECT_EQ(textFor(0xFFFFFFFF), "");
}

TEST(Failure, TakesTheSystemsTextForTheLastErrorAndTheLiteralAloneWithoutOne) {
    platform::SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_FAILURE(failure::raiseWithSystemText("C::start(): StartService() "),
                   "C::start(): StartService() Access is denied.\r\n");
    platform::SetLastError(0x2FFFFFFF);
    EXPECT_FAILURE(failure::raiseWithSystemText("C::start(): StartService() "),
                   "C::start(): StartService() ");
}

}  // namespace
