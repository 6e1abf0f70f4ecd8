#include "platform/posix/base/errors.h"

#include <cerrno>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "strings/failure.h"
#include "support/failure_assertions.h"

namespace {

using namespace Sorvex;

TEST(LastError, BelongsToItsThread) {
    platform::SetLastError(ERROR_ACCESS_DENIED);
    std::thread([] {
        EXPECT_EQ(platform::GetLastError(), ERROR_SUCCESS);
        platform::SetLastError(ERROR_DISK_FULL);
    }).join();
    EXPECT_EQ(platform::GetLastError(), ERROR_ACCESS_DENIED);
}

TEST(LastError, MapsErrno) {
    const std::pair<int, platform::DWORD> cases[] = {
        {ENOENT, 2},   {ENOTDIR, 3},  {EACCES, 5},         {EPERM, 5},       {EBADF, 6},
        {ENOSPC, 112}, {EEXIST, 183}, {ENAMETOOLONG, 206}, {ENOTEMPTY, 145}, {EDOM, 31}};
    for (const auto& [number, error] : cases) {
        errno = number;
        platform::failWithErrno();
        EXPECT_EQ(platform::GetLastError(), error) << number;
    }
}

TEST(Failure, EndsInTheSystemsTextForTheLastErrorWhereThereIsOne) {
    const std::pair<platform::DWORD, std::string> cases[] = {
        {0, "The operation completed successfully.\r\n"},
        {5, "Access is denied.\r\n"},
        {193, "%1 is not a valid Win32 application.\r\n"},
        {2221, "The user name could not be found.\r\n"},
        {0xFFFFFFFF, ""}};
    for (const auto& [error, text] : cases) {
        platform::SetLastError(error);
        EXPECT_FAILURE(failure::raiseWithSystemText("C::start(): StartService() "),
                       "C::start(): StartService() " + text);
    }
}

}  // namespace
