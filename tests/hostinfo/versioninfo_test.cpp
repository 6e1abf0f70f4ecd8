#include <string>

#include <gtest/gtest.h>
#include <sorvex/hostinfo.h>

#include "support/failure_assertions.h"
#include "support/temporary_directory.h"
#include "support/version_image.h"

namespace {

using Sorvex::VersionInfo;
using namespace Sorvex::testing;

std::string withNul(const std::string& text) {
    return text + '\0';
}

// An image with the fixed part of the others and one string.
std::string image() {
    return imageOf(versionRoot({stringTable(u"040904b0", {text(u"CompanyName", u"Makers")}),
                                translation(word(0x409) + word(0x4B0))}))
        .bytes();
}

const std::string company = "\\StringFileInfo\\040904b0\\CompanyName";

TEST(VersionInfo, AnswersOnlyAfterGetInfo) {
    const TemporaryDirectory directory;
    VersionInfo info(directory.file("image.dll", image()).c_str());
    EXPECT_FALSE(info.hasInfo());
    EXPECT_EQ(info.fileVersion(), "0.00.0000");
    EXPECT_EQ(info.value(company.c_str()), "");
    EXPECT_EQ(&info.getInfo(), &info);
    EXPECT_TRUE(info.hasInfo());
    EXPECT_FALSE(info.isOpen());
    EXPECT_EQ(info.fileVersion(), "1.02.0034");
    EXPECT_EQ(info.productVersion(), "6.07.0890");
    EXPECT_EQ(info.value(company.c_str()), withNul("Makers"));
    VersionEntry root = versionRoot({});
    root.value.replace(8, 8, doubleWord(0xFFFF03E8) + doubleWord(0x30390001));
    directory.file("image.dll", imageOf(root).bytes());
    EXPECT_EQ(info.getInfo().fileVersion(), "65535.1000.12345");
}

TEST(VersionInfo, TakesEveryNumberFromItsField) {
    const TemporaryDirectory directory;
    VersionInfo info(directory.file("image.dll", image()).c_str());
    info.getInfo();
    const unsigned numbers[] = {
        info.majorVersion(), info.minorVersion(),        info.build(),
        info.subBuild(),     info.productMajorVersion(), info.productMinorVersion(),
        info.productBuild(), info.productSubBuild(),     info.fileOS(),
        info.fileType(),     info.fileSubType(),         info.fileFlags(),
        info.fileFlagsMask()};
    const unsigned expected[] = {1, 2, 34, 5, 6, 7, 890, 12345, 0x40004, 1, 7, 2, 0x3F};
    EXPECT_EQ(std::vector<unsigned>(std::begin(numbers), std::end(numbers)),
              std::vector<unsigned>(std::begin(expected), std::end(expected)));
}

TEST(VersionInfo, TakesAFileWithoutAResourceForNoFailure) {
    const TemporaryDirectory directory;
    for (const std::string& name :
         {directory.name("missing.dll"), directory.file("plain.txt", "no image")}) {
        SCOPED_TRACE(name);
        VersionInfo info(name.c_str());
        info.getInfo();
        EXPECT_FALSE(info.hasInfo());
        EXPECT_EQ(info.majorVersion(), 0);
        EXPECT_EQ(info.value("\\nothing"), "");
    }
}

TEST(VersionInfo, ThrowsForAValueThatIsNotThereAndGoesOn) {
    const TemporaryDirectory directory;
    const std::string name = directory.file("image.dll", image());
    VersionInfo info(name.c_str());
    info.getInfo();
    EXPECT_FAILURE(
        info.value("\\StringFileInfo\\040704b0\\CompanyName"),
        "VerQueryValue(): ErrorCode 1813 " + name + "\\StringFileInfo\\040704b0\\CompanyName");
    EXPECT_EQ(info.value(company.c_str()), withNul("Makers"));
}

#ifdef SORVEX_TEST_IMAGE_64
TEST(VersionInfo, ReadsWhatAResourceCompilerMakes) {
    for (const char* name : {SORVEX_TEST_IMAGE_64, SORVEX_TEST_IMAGE_32}) {
        SCOPED_TRACE(name);
        VersionInfo info(name);
        EXPECT_EQ(info.getInfo().fileVersion(), "1.02.0034");
        EXPECT_EQ(info.productSubBuild(), 12345);
        EXPECT_EQ(info.value("\\VarFileInfo\\Translation"),
                  std::string("\x09\x04\xB0\x04\0\0\xB0\x04", 8));
        EXPECT_EQ(info.value(company.c_str()), withNul("A small company"));
        EXPECT_EQ(info.value("\\StringFileInfo\\040904b0\\Comments"), withNul(""));
        EXPECT_EQ(info.value("\\StringFileInfo\\000004B0\\companyname"),
                  withNul("A neutral company"));
    }
}
#endif

}  // namespace
