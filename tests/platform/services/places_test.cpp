// The places and the limit that other tests take the place of.
#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

#include "platform/posix/services/limits.h"
#include "platform/posix/services/places.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {
namespace {

using Steps = std::vector<std::string>;

TEST(ServicePlaces, AreFixedAndNotToldByTheEnvironment) {
    if (getpwuid(geteuid()) == nullptr)
        GTEST_SKIP() << "the user has no account";
    const char* home = std::getenv("HOME");
    const std::string before = home == nullptr ? "" : home;
    setenv("HOME", "/somewhere/else", 1);
    const Places places = placesOfUser();
    if (home == nullptr)
        unsetenv("HOME");
    else
        setenv("HOME", before.c_str(), 1);
    if (geteuid() == 0) {
        EXPECT_EQ(places.database.base, "/var/lib");
        EXPECT_EQ(places.database.steps, (Steps{"sorvex", "services"}));
        EXPECT_EQ(places.runtime.base, "/run");
        EXPECT_EQ(places.runtime.steps, (Steps{"sorvex", "services"}));
        return;
    }
    EXPECT_EQ(places.database.base, getpwuid(geteuid())->pw_dir);
    EXPECT_EQ(places.database.steps, (Steps{".sorvex", "services"}));
    EXPECT_EQ(places.runtime.base, places.database.base);
    ASSERT_EQ(places.runtime.steps.size(), 3U);
    EXPECT_EQ(places.runtime.steps[0], ".sorvex");
    EXPECT_EQ(places.runtime.steps[1], "run");
}

TEST(ServicePlaces, AreNotSearchedForWhereTheyCanNotBe) {
    DWORD error = 0;
    try {
        ensurePlace({"/nonexistent", {"sorvex"}});
    } catch (const Refusal& refusal) {
        error = refusal.error;
    }
    EXPECT_EQ(error, ERROR_PATH_NOT_FOUND);
}

TEST(ServiceLimits, AServiceHasHalfAMinute) {
    EXPECT_EQ(responseLimit(), std::chrono::seconds(30));
}

}  // namespace
}  // namespace Sorvex::platform::services
