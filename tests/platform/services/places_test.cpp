// The places that other tests take the place of.
#include <cstdlib>

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

#include "platform/posix/services/places.h"
#include "support/child_process.h"

namespace Sorvex::platform::services {

TEST(ServicePlaces, AreFixedAndNotToldByTheEnvironment) {
    const passwd* account = getpwuid(geteuid());
    if (account == nullptr)
        GTEST_SKIP() << "the user has no account";
    const bool isRoot = geteuid() == 0;
    const std::string home = account->pw_dir;
    const int result = testing::runInChild([&] {
        setenv("HOME", "/somewhere/else", 1);
        const Places places = placesOfUser();
        EXPECT_EQ(places.database.base, isRoot ? "/var/lib" : home);
        EXPECT_EQ(places.runtime.base, isRoot ? "/run" : home);
        EXPECT_EQ(places.logs.base, isRoot ? "/var/log" : home);
        // A home directory may be shared by several machines, so what tells them apart comes last.
        EXPECT_EQ(places.runtime.steps.size(), isRoot ? 2U : 3U);
    });
    EXPECT_EQ(result, 0);
}

}  // namespace Sorvex::platform::services
