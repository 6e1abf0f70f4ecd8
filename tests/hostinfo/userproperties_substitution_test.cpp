// The questions about a user, asked of a platform that the test answers for.
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/hostinfo.h>

#include "platform/platform.h"
#include "support/failure_assertions.h"

namespace {

using Sorvex::WindowsUserProperties;
using Sorvex::platform::BYTE;
using Sorvex::platform::DWORD;
using Sorvex::platform::WCHAR;

// What one query answers, and whether it hands over a list.
struct Answer {
    DWORD result = 0;
    std::vector<std::u16string> names;
    bool hasList = true;
};

struct Platform {
    std::deque<Answer> local;
    std::deque<Answer> global;
    DWORD logonError = 0;
    DWORD freeResult = 0;
    std::vector<std::string> calls;
    std::vector<void*> held;
};

Platform& host() {
    static Platform platform;
    return platform;
}

DWORD answer(std::deque<Answer>& answers, const char* call, const WCHAR* user, DWORD level,
             BYTE** list, DWORD preferredLength, DWORD* entries) {
    EXPECT_EQ(std::u16string(user), u"ada");
    EXPECT_EQ(level, 0U);
    host().calls.push_back(call + std::to_string(preferredLength));
    const Answer next = answers.front();
    answers.pop_front();
    *entries = static_cast<DWORD>(next.names.size());
    if (!next.hasList)
        return next.result;
    std::size_t size = 1;
    for (const auto& name : next.names)
        size += sizeof(WCHAR*) + (name.size() + 1) * sizeof(WCHAR);
    *list = static_cast<BYTE*>(std::malloc(size));
    host().held.push_back(*list);
    auto** pointers = reinterpret_cast<WCHAR**>(*list);
    auto* text = reinterpret_cast<WCHAR*>(pointers + next.names.size());
    for (const auto& name : next.names) {
        *pointers++ = text;
        text = std::copy_n(name.c_str(), name.size() + 1, text);
    }
    return next.result;
}

}  // namespace

namespace Sorvex::platform {

BOOL LogonUserA(const char* user, const char* domain, const char* password, DWORD type,
                DWORD provider, HANDLE* token) {
    EXPECT_STREQ(user, "ada");
    EXPECT_EQ(domain, nullptr);
    EXPECT_STREQ(password, "secret");
    EXPECT_EQ(type, 3U);
    EXPECT_EQ(provider, 0U);
    *token = &host();
    if (host().logonError == 0)
        return TRUE;
    SetLastError(host().logonError);
    return FALSE;
}

BOOL CloseHandle(HANDLE handle) {
    EXPECT_EQ(handle, &host());
    host().calls.emplace_back("close");
    return FALSE;
}

NET_API_STATUS NetUserGetLocalGroups(const WCHAR* server, const WCHAR* user, DWORD level,
                                     DWORD flags, BYTE** list, DWORD preferredLength,
                                     DWORD* entriesRead, DWORD*) {
    EXPECT_EQ(server, nullptr);
    EXPECT_EQ(flags, 1U);
    return answer(host().local, "local ", user, level, list, preferredLength, entriesRead);
}

NET_API_STATUS NetUserGetGroups(const WCHAR* server, const WCHAR* user, DWORD level, BYTE** list,
                                DWORD preferredLength, DWORD* entriesRead, DWORD*) {
    EXPECT_EQ(server, nullptr);
    return answer(host().global, "global ", user, level, list, preferredLength, entriesRead);
}

NET_API_STATUS NetApiBufferFree(void* list) {
    auto& held = host().held;
    EXPECT_EQ(std::erase(held, list), 1U);
    host().calls.emplace_back("free");
    std::free(list);
    return host().freeResult;
}

}  // namespace Sorvex::platform

namespace {

class UserQuestions : public ::testing::Test {
protected:
    void SetUp() override { host() = {}; }
    void TearDown() override { EXPECT_TRUE(host().held.empty()); }

    // The calls made, in one line.
    static std::string calls() {
        std::string line;
        for (const auto& call : host().calls)
            line += (line.empty() ? "" : ", ") + call;
        return line;
    }

    WindowsUserProperties user{"ada"};
};

TEST_F(UserQuestions, PasswordIsWhatTheLogonSays) {
    EXPECT_TRUE(user.isValidPassword("secret"));
    EXPECT_EQ(calls(), "close");
    host() = {};
    host().logonError = 1326;
    EXPECT_FALSE(user.isValidPassword("secret"));
    EXPECT_EQ(calls(), "");
    host().logonError = 1314;
    EXPECT_FAILURE(user.isValidPassword("secret"),
                   "Error privilege not held. Make sure to enable 'act as part of the operating "
                   "system' user right is enabled for you");
    host().logonError = 1331;
    EXPECT_FAILURE(user.isValidPassword("secret"),
                   "LogonUser(): ErrorCode 1331 unable to verify password");
}

TEST_F(UserQuestions, GroupIsSoughtInTheLocalListThenInTheGlobalOne) {
    const struct {
        std::vector<std::u16string> local, global;
        bool expected;
        const char* calls;
    } cases[] = {
        {{u"staff", u"wheel"}, {}, true, "local 128, free"},
        {{u"Wheel", u"whee", u"wheels"},
         {u"users", u"wheel"},
         true,
         "local 128, free, global 128, free"},
        {{}, {}, false, "local 128, free, global 128, free"},
        {{u"staff"}, {u"users"}, false, "local 128, free, global 128, free"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.calls);
        host() = {};
        host().local = {{0, c.local}};
        host().global = {{0, c.global}};
        EXPECT_EQ(user.isMemberOfGroup("wheel"), c.expected);
        EXPECT_EQ(calls(), c.calls);
    }
}

TEST_F(UserQuestions, ListIsAskedForWithTwiceTheRoomUntilItIsWhole) {
    host().local = {{234, {u"wheel"}}, {2123, {}, false}, {234, {}}, {0, {u"staff"}}};
    host().global = {{2123, {}, false}, {0, {u"wheel"}}};
    EXPECT_TRUE(user.isMemberOfGroup("wheel"));
    EXPECT_EQ(calls(),
              "local 128, free, local 256, local 512, free, local 1024, free, global 128, "
              "global 256, free");
}

TEST_F(UserQuestions, FailuresOfTheListsThrowAndRelease) {
    const std::string listText = " unable to retrieve group list";
    host().local = {{2221, {}, false}};
    EXPECT_FAILURE(user.isMemberOfGroup("wheel"),
                   "NetUserGetLocalGroups: ErrorCode 2221" + listText);
    host().local = {{5, {}, true}};
    EXPECT_FAILURE(user.isMemberOfGroup("wheel"), "NetUserGetLocalGroups: ErrorCode 5" + listText);
    host().local = {{0, {}}};
    host().global = {{1722, {}, false}};
    EXPECT_FAILURE(user.isMemberOfGroup("wheel"),
                   "NetUserGetLocalGroups: ErrorCode 1722" + listText);
}

TEST_F(UserQuestions, ReleaseThatFailsCountsUnlessTheAnswerIsKnown) {
    const std::string text =
        "NetApiBufferFree: ErrorCode 8 unable to release buffer allocated by "
        "NetUserGetLocalGroups call";
    host().freeResult = 8;
    host().local = {{0, {u"wheel"}}};
    EXPECT_TRUE(user.isMemberOfGroup("wheel"));
    host().local = {{0, {u"staff"}}};
    EXPECT_FAILURE(user.isMemberOfGroup("wheel"), text);
    host().local = {{234, {}}};
    EXPECT_FAILURE(user.isMemberOfGroup("wheel"), text);
}

TEST_F(UserQuestions, NamesThatDoNotFitThrow) {
    const std::u16string fits(63, u'g');
    const std::u16string tooLong(64, u'g');
    const std::string text =
        "WideCharToMultiByte(): ErrorCode 122 unable to convert group name from Unicode";
    host().local = {{0, {fits, u"wheel", tooLong}}};
    EXPECT_TRUE(user.isMemberOfGroup("wheel"));
    host().local = {{0, {tooLong, u"wheel"}}};
    EXPECT_FAILURE(user.isMemberOfGroup("wheel"), text);
    host().local = {{0, {std::u16string(22, u'\u20AC')}}};
    EXPECT_FAILURE(user.isMemberOfGroup("wheel"), text);

    host().calls.clear();
    WindowsUserProperties longUser(std::string(64, 'u').c_str());
    EXPECT_FAILURE(longUser.isMemberOfGroup("wheel"),
                   "MultiByteToWideChar(): ErrorCode 122 unable to convert user name to Unicode");
    EXPECT_EQ(calls(), "");
}

TEST_F(UserQuestions, BaseClassTrustsEveryone) {
    Sorvex::UserProperties anyone("");
    EXPECT_TRUE(anyone.isValidPassword(""));
    EXPECT_TRUE(anyone.isMemberOfGroup("wheel"));
}

}  // namespace
