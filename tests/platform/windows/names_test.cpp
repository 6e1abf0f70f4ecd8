#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include <sorvex/bdirectory.h>
#include <sorvex/cursors.h>

#include "support/temporary_directory.h"

namespace {

using namespace Sorvex;
using namespace Sorvex::testing;
namespace fs = std::filesystem;

// Greek alpha and A with a bar, whose nearest letters in the Western code page are those of other
// entries.
constexpr const wchar_t* unsayable[] = {L"\x03B1.txt", L"\x0100", L"\x4E2D.txt", L"\xD83D\xDE00"};

TEST(NamesBeyondTheCodePage, StandForNoOtherEntry) {
    for (const wchar_t* const name : unsayable) {
        const TemporaryDirectory scene;
        const fs::path source = fs::path(scene.name()) / "source";
        fs::create_directories(source / "A");
        std::ofstream(source / "a.txt") << "sayable";
        if (fs::path(name).has_extension()) {
            std::ofstream(source / name) << "lost";
        } else {
            fs::create_directory(source / name);
            std::ofstream(source / name / "inside.txt") << "lost";
        }

        std::multiset<std::string> names;
        BPathCursor entries(source.string(), "*");
        for (entries.first(); entries; entries.next())
            names.insert(entries.name());
        EXPECT_EQ(names.count("a.txt"), 1U);
        EXPECT_EQ(names.count("A"), 1U);
        EXPECT_EQ(names.size(), 5U);  // with the two of dots

        const std::string target = scene.name() + "\\target";
        EXPECT_THROW(BDirectory::copy(source.string().c_str(), target.c_str(), true, true),
                     std::runtime_error);
        EXPECT_THROW(BDirectory::remove(source.string().c_str(), true), std::runtime_error);
        EXPECT_TRUE(fs::exists(source / name));
    }
}

}  // namespace
