// The accounts of the host, in a view of the test's own: the process lays its files over those of
// the host in a private mount namespace, so that nothing is changed that another process could see,
// and nothing is left behind.
#include "platform/posix/accounts.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

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

constexpr int manyGroups = 400;
constexpr int manyMembers = 5000;

std::string passwordFile() {
    std::string lines = "root:x:0:0:root:/root:/bin/sh\n";
    for (const char* user : {"ada", "md5", "old", "cut", "star", "locked", "blank", "expired"})
        lines += std::string(user) + ":x:5001:6000::/:/bin/sh\n";
    lines += "bob:x:5002:6002::/:/bin/sh\n";
    lines += "many:x:5003:6000::/:/bin/sh\n";
    lines += "alone:x:5004:6999::/:/bin/sh\n";
    return lines + "gr\xC3\xBC\xC3\x9F:x:5005:6003::/:/bin/sh\n";
}

std::string shadowFile() {
    const std::string hash = sha512Hash;
    const std::string dates = ":19000:0:99999:7:::\n";
    return "root:*" + dates + "ada:" + hash + dates + "md5:" + md5Hash + dates + "old:" + oldHash +
           dates + "cut:" + hash.substr(0, hash.size() - 1) + dates + "star:*" + dates +
           "locked:!" + hash + dates + "blank:" + dates + "expired:" + hash +
           ":19000:0:99999:7::1:\n";
}

std::string groupFile() {
    std::string lines =
        "root:x:0:\n"
        "users:x:6000:\n"
        "staff:x:6001:ada,ghost\n"
        "both:x:6002:ada,bob\n"
        "k\xC3\xB6nige:x:6003:bob,gr\xC3\xBC\xC3\x9F\n"
        "latin\xFC:x:6004:bob\n";
    lines += std::string(63, 'l') + ":x:6005:md5\n" + std::string(64, 'l') + ":x:6006:old\n";
    for (int index = 0; index < manyGroups; ++index)
        lines +=
            "group" + std::to_string(index) + ":x:" + std::to_string(10000 + index) + ":many\n";
    lines += "crowd:x:7000:";
    for (int index = 0; index < manyMembers; ++index)
        lines += "someone" + std::to_string(index) + ",";
    return lines + "ada\n";
}

bool writeTo(const char* file, const std::string& text) {
    std::ofstream stream(file);
    return static_cast<bool>(stream << text << std::flush);
}

// Root may change the view of the process; others only in a namespace of users of their own.
bool leaveSharedView() {
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    if (user == "0" ? ::unshare(CLONE_NEWNS) != 0 : ::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return false;
    if (user != "0" && !(writeTo("/proc/self/setgroups", "deny") &&
                         writeTo("/proc/self/uid_map", "0 " + user + " 1") &&
                         writeTo("/proc/self/gid_map", "0 " + group + " 1")))
        return false;
    return ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

class Accounts : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        directory.emplace();
        const std::string files[][2] = {
            {"passwd", passwordFile()},
            {"shadow", shadowFile()},
            {"group", groupFile()},
            {"nsswitch.conf", "passwd: files\nshadow: files\ngroup: files\n"}};
        std::vector<std::string> sources;
        for (const auto& file : files)
            sources.push_back(directory->file(file[0], file[1]));
        std::filesystem::permissions(sources[1], std::filesystem::perms::owner_read);
        std::filesystem::permissions(directory->path(), std::filesystem::perms::all);
        isPrivate = leaveSharedView();
        for (std::size_t index = 0; isPrivate && index < sources.size(); ++index)
            isPrivate = ::mount(sources[index].c_str(), ("/etc/" + files[index][0]).c_str(),
                                nullptr, MS_BIND, nullptr) == 0;
    }

    static void TearDownTestSuite() { directory.reset(); }

    void SetUp() override {
        if (!isPrivate)
            GTEST_SKIP() << "this process may not have a view of the file system of its own";
    }

    static bool hasCryptLibrary() { return ::dlopen("libcrypt.so.1", RTLD_LAZY) != nullptr; }

    static std::optional<TemporaryDirectory> directory;
    static bool isPrivate;
};

std::optional<TemporaryDirectory> Accounts::directory;
bool Accounts::isPrivate = false;

// 0, or the code of the failure.
platform::DWORD logon(const char* user, const char* password) {
    platform::HANDLE token = nullptr;
    if (!platform::LogonUserA(user, nullptr, password, 3, 0, &token))
        return platform::GetLastError();
    platform::CloseHandle(token);
    return 0;
}

TEST_F(Accounts, PasswordsAreCheckedAgainstTheHashesOfTheHost) {
    if (!hasCryptLibrary()) {
        EXPECT_EQ(logon("ada", "open sesame"), ERROR_MOD_NOT_FOUND);
        EXPECT_EQ(logon("unknown", "open sesame"), ERROR_MOD_NOT_FOUND);
        return;
    }
    const struct {
        const char* user;
        const char* password;
        platform::DWORD error;
    } cases[] = {
        {"ada", "open sesame", 0},
        {"ada", "open sesam", 1326},
        {"ada", "open sesame ", 1326},
        {"ada", "", 1326},
        {"ada", sha512Hash, 1326},
        {"md5", "open sesame", 0},
        {"md5", "Open sesame", 1326},
        {"old", "open sesame", 0},
        {"cut", "open sesame", 1326},
        {"star", "*", 1326},
        {"locked", "open sesame", 1331},
        {"locked", "guess", 1326},
        {"blank", "", 1327},
        {"expired", "open sesame", 1793},
        {"unknown", "guess", 1326},
        {"", "guess", 1326},
        {"bob", "guess", 1326},
        {"ada:x", "open sesame", 1326},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.user) + " " + c.password);
        EXPECT_EQ(logon(c.user, c.password), c.error);
    }
    EXPECT_EQ(logon("ada", std::string(100000, 'x').c_str()), 1326U);
    EXPECT_TRUE(WindowsUserProperties("ada").isValidPassword("open sesame"));
    EXPECT_FALSE(WindowsUserProperties("unknown").isValidPassword("open sesame"));
}

TEST_F(Accounts, PasswordsNeedACallerWhoMayReadTheHashes) {
    constexpr uid_t otherUser = 65534;
    if (!hasCryptLibrary() || ::seteuid(otherUser) != 0)
        GTEST_SKIP() << "no other user to be, or no crypt library";
    const platform::DWORD known = logon("ada", "open sesame");
    const platform::DWORD unknown = logon("unknown", "open sesame");
    ASSERT_EQ(::seteuid(0), 0);
    EXPECT_EQ(known, ERROR_PRIVILEGE_NOT_HELD);
    EXPECT_EQ(unknown, ERROR_PRIVILEGE_NOT_HELD);
}

struct Listing {
    platform::DWORD result = 0;
    std::vector<std::string> names;
    platform::DWORD total = 0;

    bool operator==(const Listing&) const = default;
};

using ListBlock = std::unique_ptr<platform::BYTE, platform::NET_API_STATUS (*)(void*)>;

Listing listingOf(platform::DWORD result, platform::BYTE* list, platform::DWORD entries,
                  platform::DWORD total) {
    const ListBlock block(list, platform::NetApiBufferFree);
    Listing listing{result, {}, total};
    for (platform::DWORD index = 0; index < entries; ++index) {
        char name[256];
        EXPECT_NE(platform::WideCharToMultiByte(CP_ACP, 0,
                                                reinterpret_cast<platform::WCHAR**>(list)[index],
                                                -1, name, 256, nullptr, nullptr),
                  0);
        listing.names.emplace_back(name);
    }
    return listing;
}

Listing localGroups(const std::u16string& user, platform::DWORD preferredLength = 0xFFFFFFFF) {
    platform::BYTE* list = nullptr;
    platform::DWORD entries = 0;
    platform::DWORD total = 0;
    const auto result = platform::NetUserGetLocalGroups(nullptr, user.c_str(), 0, 1, &list,
                                                        preferredLength, &entries, &total);
    return listingOf(result, list, entries, total);
}

Listing globalGroups(const std::u16string& user, platform::DWORD preferredLength = 0xFFFFFFFF) {
    platform::BYTE* list = nullptr;
    platform::DWORD entries = 0;
    platform::DWORD total = 0;
    const auto result = platform::NetUserGetGroups(nullptr, user.c_str(), 0, &list, preferredLength,
                                                   &entries, &total);
    return listingOf(result, list, entries, total);
}

TEST_F(Accounts, LocalGroupsListTheUserAndTheGlobalOneIsHisPrimaryGroup) {
    const struct {
        std::u16string user;
        Listing local, global;
    } cases[] = {
        {u"ada", {0, {"staff", "both", "crowd"}, 3}, {0, {"users"}, 1}},
        {u"bob", {0, {"both", "k\xC3\xB6nige", "latin\xFC"}, 3}, {0, {"both"}, 1}},
        {u"grüß", {0, {"k\xC3\xB6nige"}, 1}, {0, {"k\xC3\xB6nige"}, 1}},
        {u"root", {0, {}, 0}, {0, {"root"}, 1}},
        {u"alone", {0, {}, 0}, {0, {}, 0}},
        {u"ghost", {2221, {}, 0}, {2221, {}, 0}},
        {u"", {2221, {}, 0}, {2221, {}, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.user));
        EXPECT_EQ(localGroups(c.user), c.local);
        EXPECT_EQ(globalGroups(c.user), c.global);
    }
}

TEST_F(Accounts, ListsHonourThePreferredLength) {
    // A pointer and the name with its NUL for each entry.
    constexpr platform::DWORD staff = sizeof(void*) + 2 * 6;
    constexpr platform::DWORD both = sizeof(void*) + 2 * 5;
    constexpr platform::DWORD crowd = sizeof(void*) + 2 * 6;
    const struct {
        platform::DWORD length;
        Listing expected;
    } cases[] = {
        {0, {234, {}, 3}},
        {staff - 1, {234, {}, 3}},
        {staff, {234, {"staff"}, 3}},
        {staff + both, {234, {"staff", "both"}, 3}},
        {staff + both + crowd - 1, {234, {"staff", "both"}, 3}},
        {staff + both + crowd, {0, {"staff", "both", "crowd"}, 3}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        EXPECT_EQ(localGroups(u"ada", c.length), c.expected);
    }
    EXPECT_EQ(globalGroups(u"ada", 8), (Listing{234, {}, 1}));
}

TEST_F(Accounts, MembershipIsFoundAmongHundredsOfGroupsAndFailsForNamesThatAreTooLong) {
    WindowsUserProperties many("many");
    EXPECT_EQ(localGroups(u"many").names.size(), static_cast<std::size_t>(manyGroups));
    EXPECT_TRUE(many.isMemberOfGroup("group399"));
    EXPECT_TRUE(many.isMemberOfGroup("users"));
    EXPECT_FALSE(many.isMemberOfGroup("Group1"));
    EXPECT_FAILURE(WindowsUserProperties("ghost").isMemberOfGroup("staff"),
                   "NetUserGetLocalGroups: ErrorCode 2221 unable to retrieve group list");
    EXPECT_TRUE(WindowsUserProperties("md5").isMemberOfGroup(std::string(63, 'l').c_str()));
    EXPECT_FAILURE(WindowsUserProperties("old").isMemberOfGroup("users"),
                   "WideCharToMultiByte(): ErrorCode 122 unable to convert group name from "
                   "Unicode");
}

}  // namespace
