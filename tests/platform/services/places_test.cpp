// The places that other tests take the place of.
#include <cstdlib>

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

#include "platform/posix/services/places.h"
#include "support/child_process.h"

namespace Sorvex::platform::services {

TEST(ServicePlaces, AreFixedAndNotToldByTheEnvironment) {
    const bool isRoot = geteuid() == 0;
    const passwd* account = getpwuid(geteuid());
    if (account == nullptr)
        GTEST_SKIP() << "the user has no account";
    const int result = testing::runInChild([&] {
        using Steps = std::vector<std::string>;
        setenv("HOME", "/somewhere/else", 1);
        const Places places = placesOfUser();
        EXPECT_EQ(places.database.base, isRoot ? "/var/lib" : account->pw_dir);
        EXPECT_EQ(places.database.steps, (Steps{isRoot ? "sorvex" : ".sorvex", "services"}));
        EXPECT_EQ(places.runtime.base, isRoot ? "/run" : account->pw_dir);
        // A home directory may be shared by several machines, so what tells them apart comes last.
        EXPECT_EQ(places.runtime.steps.size(), isRoot ? 2U : 3U);
        EXPECT_EQ(places.logs.steps.back(), isRoot ? "sorvex" : "log");
        EXPECT_EQ(places.runtime.steps[1], isRoot ? "services" : "run");
    });
    EXPECT_EQ(result, 0);
}

}  // namespace Sorvex::platform::services
