#include <cstdint>

#include <gtest/gtest.h>
#include <sorvex/services.h>

namespace {

using Sorvex::BServiceStatus;

TEST(BServiceStatus, StartsWithZeros) {
    const BServiceStatus status;
    for (const auto getter :
         {&BServiceStatus::type, &BServiceStatus::state, &BServiceStatus::controlsAccepted,
          &BServiceStatus::exitCode, &BServiceStatus::specificExitCode, &BServiceStatus::checkPoint,
          &BServiceStatus::waitHint})
        EXPECT_EQ((status.*getter)(), 0U);
}

TEST(BServiceStatus, KeepsEachFieldInItsPlaceOfTheRecord) {
    BServiceStatus status;
    BServiceStatus& result = status.setType(1)
                                 .setState(2)
                                 .acceptControls(3)
                                 .setExitCode(4)
                                 .setSpecificExitCode(5)
                                 .setCheckPoint(6)
                                 .setWaitHint(0xFFFFFFFF);
    EXPECT_EQ(&result, &status);
    const _SERVICE_STATUS* record = status;
    EXPECT_EQ(record->dwServiceType, 1U);
    EXPECT_EQ(record->dwCurrentState, 2U);
    EXPECT_EQ(record->dwControlsAccepted, 3U);
    EXPECT_EQ(record->dwWin32ExitCode, 4U);
    EXPECT_EQ(record->dwServiceSpecificExitCode, 5U);
    EXPECT_EQ(record->dwCheckPoint, 6U);
    EXPECT_EQ(record->dwWaitHint, 0xFFFFFFFFU);
}

TEST(BServiceStatus, ShowsWhatIsWrittenThroughItsPointer) {
    const _SERVICE_STATUS source = {11, 12, 13, 14, 15, 16, 17};
    BServiceStatus status;
    *static_cast<_SERVICE_STATUS*>(status) = source;
    const BServiceStatus copies[] = {status, BServiceStatus(source)};
    for (const BServiceStatus& copy : copies) {
        EXPECT_EQ(copy.type(), 11U);
        EXPECT_EQ(copy.state(), 12U);
        EXPECT_EQ(copy.controlsAccepted(), 13U);
        EXPECT_EQ(copy.exitCode(), 14U);
        EXPECT_EQ(copy.specificExitCode(), 15U);
        EXPECT_EQ(copy.checkPoint(), 16U);
        EXPECT_EQ(copy.waitHint(), 17U);
    }
}

TEST(BServiceStatus, CountsCheckPointsAround32Bits) {
    BServiceStatus status;
    EXPECT_EQ(status.setCheckPoint(5).incCheckPoint().incCheckPoint().checkPoint(), 7U);
    EXPECT_EQ(status.setCheckPoint(0xFFFFFFFF).incCheckPoint().checkPoint(), 0U);
}

}  // namespace
