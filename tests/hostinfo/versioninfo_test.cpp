#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/hostinfo.h>

#include "support/failure_assertions.h"
#include "support/temporary_directory.h"
#include "support/version_image.h"

namespace {

using Sorvex::VersionInfo;
using namespace Sorvex::testing;

const std::string company = "\\StringFileInfo\\040904b0\\CompanyName";

TEST(VersionInfo, AnswersForTheFileAsItIsAtEachGetInfo) {
    VersionEntry root = versionRoot({stringTable(u"040904b0", {text(u"CompanyName", u"Makers")})});
    const TemporaryDirectory directory;
    const std::string name = directory.name("image.dll");
    VersionInfo info(name.c_str());
    const auto expectNothing = [&info] {
        EXPECT_FALSE(info.hasInfo());
        EXPECT_EQ(info.fileVersion(), "0.00.0000");
        EXPECT_EQ(info.value(company.c_str()), "");
    };
    info.getInfo();
    expectNothing();

    directory.file("image.dll", imageOf(root).bytes());
    expectNothing();
    EXPECT_EQ(&info.getInfo(), &info);
    EXPECT_TRUE(info.hasInfo());
    EXPECT_FALSE(info.isOpen());
    EXPECT_EQ(info.fileVersion(), "1.02.0034");
    EXPECT_EQ(info.productVersion(), "6.07.0890");
    const std::vector<std::uint32_t> numbers = {
        info.majorVersion(), info.minorVersion(),        info.build(),
        info.subBuild(),     info.productMajorVersion(), info.productMinorVersion(),
        info.productBuild(), info.productSubBuild(),     info.fileOS(),
        info.fileType(),     info.fileSubType(),         info.fileFlags(),
        info.fileFlagsMask()};
    EXPECT_EQ(numbers,
              (std::vector<std::uint32_t>{1, 2, 34, 5, 6, 7, 890, 12345, 0x40004, 1, 7, 2, 0x3F}));
    EXPECT_FAILURE(info.value("\\StringFileInfo\\x"),
                   "VerQueryValue(): ErrorCode 1813 " + name + "\\StringFileInfo\\x");
    EXPECT_EQ(info.value(company.c_str()), std::string("Makers\0", 7));

    root.value.replace(8, 8, doubleWord(0xFFFF03E8) + doubleWord(0x30390001));
    directory.file("image.dll", imageOf(root).bytes());
    EXPECT_EQ(info.getInfo().fileVersion(), "65535.1000.12345");
    directory.file("image.dll", "no image");
    info.getInfo();
    expectNothing();
}

#ifdef SORVEX_TEST_IMAGE_64
TEST(VersionInfo, ReadsWhatAResourceCompilerMakes) {
    for (const char* name : {SORVEX_TEST_IMAGE_64, SORVEX_TEST_IMAGE_32}) {
        SCOPED_TRACE(name);
        VersionInfo info(name);
        EXPECT_EQ(info.getInfo().fileVersion(), "1.02.0034");
        EXPECT_EQ(info.value("\\VarFileInfo\\Translation"),
                  std::string("\x09\x04\xB0\x04\0\0\xB0\x04", 8));
        EXPECT_EQ(info.value(company.c_str()), std::string("A small company\0", 16));
        EXPECT_EQ(info.value("\\StringFileInfo\\040904b0\\Comments"), std::string(1, '\0'));
        EXPECT_EQ(info.value("\\StringFileInfo\\000004B0\\companyname"),
                  std::string("A neutral company\0", 18));
    }
}
#endif

}  // namespace
