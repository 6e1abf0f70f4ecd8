#include "platform/posix/base/errors.h"

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
