// The version of a file as a platform tells it that fails where the test wants it to.
#include <cstring>
#include <string>

#include <gtest/gtest.h>
#include <sorvex/hostinfo.h>

#include "platform/platform.h"
#include "support/failure_assertions.h"

namespace {

struct Platform {
    Sorvex::platform::DWORD size = 8;
    Sorvex::platform::DWORD readError = 0;
    Sorvex::platform::DWORD rootError = 0;
    int queries = 0;
};

Platform host;

}  // namespace

namespace Sorvex::platform {

DWORD GetFileVersionInfoSizeA(const char* name, DWORD*) {
    EXPECT_STREQ(name, "tool.exe");
    SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
    return host.size;
}

BOOL GetFileVersionInfoA(const char* name, DWORD handle, DWORD size, void* block) {
    EXPECT_STREQ(name, "tool.exe");
    EXPECT_EQ(handle, 0U);
    EXPECT_EQ(size, host.size);
    std::memcpy(block, "contents", 8);
    SetLastError(host.readError);
    return host.readError == 0;
}

BOOL VerQueryValueA(const void* block, const char* subBlock, void** value, UINT* length) {
    ++host.queries;
    if (std::string(subBlock) == "\\") {
        static VS_FIXEDFILEINFO fixed{};
        fixed.dwFileVersionMS = 0x00090000;
        *value = &fixed;
        *length = 1;
        SetLastError(host.rootError);
        return host.rootError == 0;
    }
    *value = const_cast<char*>(static_cast<const char*>(block)) + 1;
    *length = 4;
    return TRUE;
}

}  // namespace Sorvex::platform

namespace {

using Sorvex::VersionInfo;

TEST(VersionInfoFailure, LeavesNothingButTheSizeWhenTheBlockCannotBeRead) {
    host = {};
    host.readError = 122;
    VersionInfo info("tool.exe");
    EXPECT_FAILURE(info.getInfo(), "GetFileVersionInfo(): ErrorCode 122 tool.exe");
    EXPECT_TRUE(info.hasInfo());
    EXPECT_EQ(info.majorVersion(), 0);
    EXPECT_EQ(info.value("\\x"), "");
    EXPECT_EQ(host.queries, 0);
}

TEST(VersionInfoFailure, LeavesTheValuesWhenThereIsNoFixedPart) {
    host = {};
    host.rootError = 1813;
    VersionInfo info("tool.exe");
    EXPECT_FAILURE(info.getInfo(), "VerQueryValue(): ErrorCode 1813 tool.exe");
    EXPECT_TRUE(info.hasInfo());
    EXPECT_EQ(info.majorVersion(), 0);
    EXPECT_EQ(info.value("\\x"), "onte");
}

TEST(VersionInfoFailure, LeavesNothingOfAnEarlierAnswer) {
    host = {};
    VersionInfo info("tool.exe");
    EXPECT_EQ(info.getInfo().majorVersion(), 9);
    host.readError = 5;
    EXPECT_FAILURE(info.getInfo(), "GetFileVersionInfo(): ErrorCode 5 tool.exe");
    EXPECT_EQ(info.majorVersion(), 0);
    EXPECT_EQ(info.value("\\x"), "");
    host.size = 0;
    EXPECT_FALSE(info.getInfo().hasInfo());
}

}  // namespace
