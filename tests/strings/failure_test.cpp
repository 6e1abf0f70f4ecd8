#include "strings/failure.h"

#include <cerrno>

#include <gtest/gtest.h>

#include "platform/platform.h"
#include "support/failure_assertions.h"

namespace {

using namespace Sorvex;

TEST(Failure, ComposesEachFormWithTheErrorOfTheFailedCall) {
    EXPECT_FAILURE(failure::raise("E::reset() : failed to reset."),
                   "E::reset() : failed to reset.");
    EXPECT_LOGIC_FAILURE(failure::raiseLogicFor("F::mode() : bad ", "a"), "F::mode() : bad a");
    EXPECT_FAILURE(failure::raiseFor("S::call() ", "clock"), "S::call() clock");
    EXPECT_FAILURE(failure::raiseForMode("F::create(): can not fopen ", "a.txt", "wb"),
                   "F::create(): can not fopen a.txt mode:wb.");
    EXPECT_FAILURE(failure::raiseWithCode("Call()", 0xFFFFFFFF, ""), "Call(): ErrorCode -1 ");
    errno = ENOENT;
    EXPECT_FAILURE(failure::raiseWithErrno("F::remove(): error removing file ", "a.txt"),
                   "F::remove(): error removing file a.txt No such file or directory");
    errno = EEXIST;
    EXPECT_FAILURE(failure::raiseForPair("P::move(): error renaming ", "a", "b"),
                   "P::move(): error renaming a to b File exists");
    platform::SetLastError(ERROR_LOGON_FAILURE);
    EXPECT_FAILURE(failure::raiseWithLastError("LogonUser()", "unable to verify password"),
                   "LogonUser(): ErrorCode 1326 unable to verify password");
}

}  // namespace
