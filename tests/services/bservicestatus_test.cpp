#include <cstdint>
#include <cstring>
#include <tuple>

#include <gtest/gtest.h>
#include <sorvex/services.h>

namespace {

using Sorvex::BServiceStatus;

TEST(BServiceStatus, KeepsSevenNumbersInTheirPlacesOfTheRecord) {
    const auto numbersOf = [](const BServiceStatus& status) {
        return std::make_tuple(status.type(), status.state(), status.controlsAccepted(),
                               status.exitCode(), status.specificExitCode(), status.checkPoint(),
                               status.waitHint());
    };
    BServiceStatus status;
    EXPECT_EQ(numbersOf(status), std::make_tuple(0U, 0U, 0U, 0U, 0U, 0U, 0U));
    status.setType(1).setState(2).acceptControls(3).setExitCode(4);
    status.setSpecificExitCode(5).setCheckPoint(6).setWaitHint(0xFFFFFFFF);
    const std::uint32_t expected[] = {1, 2, 3, 4, 5, 6, 0xFFFFFFFF};
    _SERVICE_STATUS* const record = status;
    EXPECT_EQ(std::memcmp(record, expected, sizeof expected), 0);
    EXPECT_EQ(numbersOf(BServiceStatus(*record)),
              std::make_tuple(1U, 2U, 3U, 4U, 5U, 6U, 0xFFFFFFFFU));
}

TEST(BServiceStatus, CountsCheckPointsAround32Bits) {
    BServiceStatus status;
    EXPECT_EQ(status.setCheckPoint(0xFFFFFFFE).incCheckPoint().incCheckPoint().checkPoint(), 0U);
}

}  // namespace
