// What the classes make of answers that hosts seldom give, from a platform of the test's own.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/hostinfo.h>

#include "platform/platform.h"
#include "support/failure_assertions.h"

namespace {

using Sorvex::platform::BYTE;
using Sorvex::platform::DWORD;
using Sorvex::platform::WCHAR;

// What one query answers, and whether it hands over a list.
struct Answer {
    DWORD result = 0;
    std::vector<const WCHAR*> names;
    bool hasList = true;
};

struct Host {
    std::vector<Answer> answers;
    DWORD freeResult = 0;
    std::string calls = "";
    std::size_t queries = 0;
};

Host host;

DWORD answer(const char* call, const WCHAR* user, BYTE** list, DWORD preferredLength,
             DWORD* entries) {
    EXPECT_EQ(std::u16string(user), u"ada");
    host.calls += call + std::to_string(preferredLength) + ' ';
    const Answer& given = host.answers.at(host.queries++);
    *entries = static_cast<DWORD>(given.names.size());
    if (!given.hasList)
        return given.result;
    *list = static_cast<BYTE*>(std::malloc((*entries + 1) * sizeof(WCHAR*)));
    std::copy(given.names.begin(), given.names.end(), reinterpret_cast<const WCHAR**>(*list));
    return given.result;
}

}  // namespace

namespace Sorvex::platform {

DWORD GetFileVersionInfoSizeA(const char*, DWORD*) {
    return 8;
}

BOOL GetFileVersionInfoA(const char*, DWORD, DWORD, void*) {
    SetLastError(122);
    return FALSE;
}

NET_API_STATUS NetUserGetLocalGroups(const WCHAR*, const WCHAR* user, DWORD, DWORD flags,
                                     BYTE** list, DWORD preferredLength, DWORD* entriesRead,
                                     DWORD*) {
    EXPECT_EQ(flags, 1U);
    return answer("local ", user, list, preferredLength, entriesRead);
}

NET_API_STATUS NetUserGetGroups(const WCHAR*, const WCHAR* user, DWORD, BYTE** list,
                                DWORD preferredLength, DWORD* entriesRead, DWORD*) {
    return answer("global ", user, list, preferredLength, entriesRead);
}

NET_API_STATUS NetApiBufferFree(void* list) {
    host.calls += "free ";
    std::free(list);
    return host.freeResult;
}

}  // namespace Sorvex::platform

namespace {

TEST(VersionInfo, HoldsNothingOfAResourceThatCannotBeRead) {
    Sorvex::VersionInfo info("tool.exe");
    EXPECT_FAILURE(info.getInfo(), "GetFileVersionInfo(): ErrorCode 122 tool.exe");
    EXPECT_TRUE(info.hasInfo());
    EXPECT_EQ(info.majorVersion(), 0);
    EXPECT_EQ(info.value("\\x"), "");
}

TEST(UserProperties, SeekAGroupInTheWholeLocalListThenInTheGlobalOne) {
    const std::string inLocal = "local 128 free ";
    const std::string inBoth = inLocal + "global 128 free ";
    const auto noList = [](const std::string& code) {
        return "NetUserGetLocalGroups: ErrorCode " + code + " unable to retrieve group list";
    };
    const std::string noRelease =
        "NetApiBufferFree: ErrorCode 8 unable to release buffer allocated by "
        "NetUserGetLocalGroups call";
    const struct {
        std::vector<Answer> answers;
        std::string calls;
        bool expected;
        std::string failure = "";
        DWORD freeResult = 0;
    } cases[] = {
        {{{0, {u"staff", u"wheel"}}}, inLocal, true},
        {{{0, {u"Wheel", u"whee", u"wheels"}}, {0, {u"users", u"wheel"}}}, inBoth, true},
        {{{0, {u"staff"}}, {0, {}}}, inBoth, false},
        {{{234, {u"wheel"}}, {2123, {}, false}, {234, {}}, {0, {}}, {2123, {}, false}, {0, {}}},
         "local 128 free local 256 local 512 free local 1024 free global 128 global 256 free ",
         false},
        {{{5, {}}}, inLocal, false, noList("5")},
        {{{0, {}}, {1722, {}, false}}, inLocal + "global 128 ", false, noList("1722")},
        // A release that fails counts unless the answer is known.
        {{{0, {u"wheel"}}}, inLocal, true, "", 8},
        {{{0, {u"staff"}}}, inLocal, false, noRelease, 8},
        {{{234, {}}}, inLocal, false, noRelease, 8},
    };
    Sorvex::WindowsUserProperties user("ada");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.calls + c.failure);
        host = {c.answers, c.freeResult};
        if (c.failure.empty())
            EXPECT_EQ(user.isMemberOfGroup("wheel"), c.expected);
        else
            EXPECT_FAILURE(user.isMemberOfGroup("wheel"), c.failure);
        EXPECT_EQ(host.calls, c.calls);
    }
}

}  // namespace
