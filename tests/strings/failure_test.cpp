#include "strings/failure.h"

#include <cerrno>
#include <sstream>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

#include "platform/platform.h"
#include "support/failure_assertions.h"

namespace {

using namespace Sorvex;

TEST(Failure, ComposesEachFormCharacterByCharacter) {
    EXPECT_FAILURE(failure::raise("E::reset() : failed to reset."),
                   "E::reset() : failed to reset.");
    EXPECT_LOGIC_FAILURE(failure::raiseLogicFor("F::mode() : bad ", "a"), "F::mode() : bad a");
    EXPECT_FAILURE(failure::raiseFor("S::call() ", "clock"), "S::call() clock");
    EXPECT_FAILURE(failure::raiseForMode("F::create(): can not fopen ", "a.txt", "wb"),
                   "F::create(): can not fopen a.txt mode:wb.");
    EXPECT_FAILURE(failure::raiseWithCode("NetUserGetGroups()", 2221, "ada"),
                   "NetUserGetGroups(): ErrorCode 2221 ada");
    EXPECT_FAILURE(failure::raiseWithCode("Call()", 0xFFFFFFFF, ""), "Call(): ErrorCode -1 ");
}

TEST(Failure, ReadsTheErrorOfTheFailedCall) {
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

TEST(Failure, IsShownAsTwoLines) {
    std::ostringstream stream;
    std::runtime_error failed("what failed");
    std::runtime_error silent("");
    operator<<(operator<<(stream, failed), silent);
    EXPECT_EQ(stream.str(), "Exception !\nwhat failed\nException !\n\n");
}

}  // namespace
