// The accounts of the host, in a view of the test's own: the process lays its files over those of
// the host in a private mount namespace, so that nothing is changed that another process could see,
// and nothing is left behind.
#include "platform/posix/hostinfo/accounts.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include <dlfcn.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <sorvex/hostinfo.h>

#include "platform/platform.h"
#include "support/failure_assertions.h"
#include "support/temporary_directory.h"

namespace {

using namespace Sorvex;
using namespace Sorvex::testing;

// Of the password "open sesame".
constexpr const char* sha512Hash =
    "$6$sorvexsalt$IDxGMkYelBTHjkmmUADlr7wy/uJE1j9/kxZ/v2c/"
    "sBCH7AsoiOTbiMlwrn8c17iN4Jer4jkd.zcKoFnVKgEpu.";
constexpr const char* md5Hash = "$1$saltsalt$Yo6tRKYGO/jWyb1etwHDS/";
constexpr const char* oldHash = "ab/G8gtZdMwak";

std::string passwordFile() {
    std::string lines;
    for (const char* user : {"ada", "md5", "old", "cut", "locked", "many"})
        lines += std::string(user) + ":x:5001:6000::/:/bin/sh\n";
    return lines +
           "root:x:0:0:root:/root:/bin/sh\n"
           "bob:x:5002:6002::/:/bin/sh\n"
           "alone:x:5004:6999::/:/bin/sh\n"
           "gr\xC3\xBC\xC3\x9F:x:5005:6003::/:/bin/sh\n";
}

std::string shadowFile() {
    const std::string hash = sha512Hash;
    const std::string dates = ":19000:0:99999:7:::\n";
    return "ada:" + hash + dates + "md5:" + md5Hash + dates + "old:" + oldHash + dates +
           "cut:" + hash.substr(0, hash.size() - 1) + dates + "locked:!" + hash + dates;
}

std::string groupFile() {
    std::string lines =
        "users:x:6000:\n"
        "staff:x:6001:ada,ghost\n"
        "both:x:6002:ada,bob\n"
        "alpha:x:6010:bob\n"
        "beta:x:6010:alone\n"
        "k\xC3\xB6nige:x:6003:bob,gr\xC3\xBC\xC3\x9F\n"
        "latin\xFC:x:6004:bob\n" +
        std::string(63, 'l') + ":x:6005:md5\n" + std::string(64, 'l') + ":x:6006:old\n";
    for (int index = 0; index < 400; ++index)
        lines +=
            "group" + std::to_string(index) + ":x:" + std::to_string(10000 + index) + ":many\n";
    lines += "crowd:x:7000:";
    for (int index = 0; index < 5000; ++index)
        lines += "someone" + std::to_string(index) + ",";
    return lines + "ada\n";
}

bool writeTo(const std::string& file, const std::string& text) {
    std::ofstream stream(file);
    return static_cast<bool>(stream << text << std::flush);
}

// Root may change the view of the process; others only in a namespace of users of their own.
bool leaveSharedView() {
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    const bool isAlone = user == "0" ? ::unshare(CLONE_NEWNS) == 0
                                     : ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 &&
                                           writeTo("/proc/self/setgroups", "deny") &&
                                           writeTo("/proc/self/uid_map", "0 " + user + " 1") &&
                                           writeTo("/proc/self/gid_map", "0 " + group + " 1");
    return isAlone && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

class Accounts : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        const TemporaryDirectory directory;
        isPrivate = leaveSharedView();
        const std::pair<std::string, std::string> files[] = {
            {"passwd", passwordFile()},
            {"shadow", shadowFile()},
            {"group", groupFile()},
            {"nsswitch.conf", "passwd: files\nshadow: files\ngroup: files\n"}};
        for (const auto& [name, contents] : files) {
            const std::string source = directory.file(name, contents);
            if (name == "shadow")
                std::filesystem::permissions(source, std::filesystem::perms::owner_read);
            isPrivate = isPrivate && ::mount(source.c_str(), ("/etc/" + name).c_str(), nullptr,
                                             MS_BIND, nullptr) == 0;
        }
    }

    void SetUp() override {
        if (!isPrivate)
            GTEST_SKIP() << "this process may not have a view of the file system of its own";
    }

    static bool hasCryptLibrary() { return ::dlopen("libcrypt.so.1", RTLD_LAZY) != nullptr; }

    static inline bool isPrivate = false;
};

// 0, or the code of the failure.
platform::DWORD logon(const char* user, const char* password) {
    platform::HANDLE token = nullptr;
    if (!platform::LogonUserA(user, nullptr, password, 3, 0, &token))
        return platform::GetLastError();
    platform::CloseHandle(token);
    return 0;
}

TEST_F(Accounts, PasswordsAreCheckedAgainstTheHashesOfTheHost) {
    const platform::DWORD missing = hasCryptLibrary() ? 0 : ERROR_MOD_NOT_FOUND;
    const struct {
        const char* user;
        std::string password;
        platform::DWORD error;
    } cases[] = {
        {"ada", "open sesame", 0},
        {"ada", "open sesam", 1326},
        {"ada", "open sesame ", 1326},
        {"ada", sha512Hash, 1326},
        {"ada", std::string(100000, 'x'), 1326},
        {"md5", "open sesame", 0},
        {"old", "open sesame", 0},
        {"cut", "open sesame", 1326},
        {"locked", "open sesame", 1331},
        {"", "guess", 1326},
        {"bob", "guess", 1326},
        {"ada:x", "open sesame", 1326},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.user) + " " + c.password.substr(0, 20));
        EXPECT_EQ(logon(c.user, c.password.c_str()), missing != 0 ? missing : c.error);
    }
    if (missing != 0)
        return;
    EXPECT_TRUE(WindowsUserProperties("ada").isValidPassword("open sesame"));
    EXPECT_FALSE(WindowsUserProperties("unknown").isValidPassword("open sesame"));
    EXPECT_FAILURE(WindowsUserProperties("locked").isValidPassword("open sesame"),
                   "LogonUser(): ErrorCode 1331 unable to verify password");
}

TEST_F(Accounts, PasswordsNeedACallerWhoMayReadTheHashes) {
    constexpr uid_t otherUser = 65534;
    if (!hasCryptLibrary() || ::seteuid(otherUser) != 0)
        GTEST_SKIP() << "no other user to be, or no crypt library";
    for (const char* user : {"ada", "unknown"})
        EXPECT_FAILURE(WindowsUserProperties(user).isValidPassword("open sesame"),
                       "Error privilege not held. Make sure to enable 'act as part of the "
                       "operating system' user right is enabled for you");
    ASSERT_EQ(::seteuid(0), 0);
}

TEST_F(Accounts, GroupsAreThoseThatListTheUserAndHisPrimaryGroup) {
    const struct {
        const char* user;
        std::string group;
        bool expected;
    } cases[] = {
        {"ada", "staff", true},
        {"ada", "crowd", true},
        {"ada", "users", true},
        {"ada", "Staff", false},
        {"bob", "both", true},
        {"bob", "latin\xFC", true},
        {"gr\xC3\xBC\xC3\x9F", "k\xC3\xB6nige", true},
        {"alone", "users", false},
        {"alone", "alpha", false},
        {"alone", "beta", true},
        {"many", "group399", true},
        {"many", "users", true},
        {"md5", std::string(63, 'l'), true},
    };
    for (const auto& c : cases)
        EXPECT_EQ(WindowsUserProperties(c.user).isMemberOfGroup(c.group.c_str()), c.expected)
            << c.user << ' ' << c.group;
    for (const char* user : {"", "ghost"})
        EXPECT_FAILURE(WindowsUserProperties(user).isMemberOfGroup("staff"),
                       "NetUserGetLocalGroups: ErrorCode 2221 unable to retrieve group list");
    EXPECT_FAILURE(
        WindowsUserProperties("old").isMemberOfGroup("users"),
        "WideCharToMultiByte(): ErrorCode 122 unable to convert group name from Unicode");
    EXPECT_FAILURE(WindowsUserProperties(std::string(64, 'u').c_str()).isMemberOfGroup("users"),
                   "MultiByteToWideChar(): ErrorCode 122 unable to convert user name to Unicode");
}

TEST_F(Accounts, ListsHonourThePreferredLength) {
    // A pointer and the name with its NUL for each of the groups staff, both and crowd.
    constexpr platform::DWORD two = 2 * sizeof(void*) + 2 * (6 + 5);
    constexpr platform::DWORD all = two + sizeof(void*) + 2 * 6;
    const struct {
        platform::DWORD length, result, entries;
    } cases[] = {{0, 234, 0}, {two - 1, 234, 1}, {two, 234, 2}, {all - 1, 234, 2}, {all, 0, 3}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        platform::BYTE* list = nullptr;
        platform::DWORD entries = 9;
        platform::DWORD total = 9;
        EXPECT_EQ(platform::NetUserGetLocalGroups(nullptr, u"ada", 0, 1, &list, c.length, &entries,
                                                  &total),
                  c.result);
        EXPECT_EQ(entries, c.entries);
        EXPECT_EQ(total, 3U);
        platform::NetApiBufferFree(list);
    }
}

}  // namespace
