// The logon over an account database and a hash function of the test's own.
#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>

#include <pwd.h>
#include <shadow.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/platform.h"
#include "platform/posix/hostinfo/crypt_library.h"

namespace {

using namespace Sorvex;
using platform::DWORD;

// The only account, "ada".
struct Account {
    std::string hash = "H:secret";
    long lastChange = 10000, mostDays = -1, expires = -1;
    std::string userField = "x";
    int shadowError = 0;
};

Account account;
int userError = 0;
int hashes = 0;
platform::CryptLibrary library;

char* put(char* buffer, const std::string& text) {
    buffer[text.copy(buffer, text.size())] = '\0';
    return buffer;
}

// Refuses what doesn't begin with "H:", as the real one refuses what is no hash.
char* countedHash(const char* password, const char* setting, void* data) {
    ++hashes;
    const bool isKnown = std::strncmp(setting, "H:", 2) == 0;
    return put(static_cast<char*>(data), isKnown ? "H:" + std::string(password) : "*0");
}

char* freshSetting(const char*, unsigned long, const char*, int, char* setting, int) {
    return put(setting, "H:");
}

// How either lookup ends; a record takes more room than is offered at first.
template <typename Record>
int answer(const char* name, std::size_t room, int error, Record* record, Record** result) {
    const bool isThere = error == 0 && std::strcmp(name, "ada") == 0;
    const bool fits = room >= 5000;
    *result = isThere && fits ? record : nullptr;
    return isThere && !fits ? ERANGE : error;
}

}  // namespace

extern "C" int getpwnam_r(const char* name, struct passwd* resultbuf, char* buffer, size_t buflen,
                          struct passwd** result) {
    *resultbuf = {};
    resultbuf->pw_passwd = put(buffer, account.userField);
    return answer(name, buflen, userError, resultbuf, result);
}

extern "C" int getspnam_r(const char* name, struct spwd* result_buf, char* buffer, size_t buflen,
                          struct spwd** result) {
    *result_buf = {};
    result_buf->sp_pwdp = put(buffer, account.hash);
    result_buf->sp_lstchg = account.lastChange;
    result_buf->sp_max = account.mostDays;
    result_buf->sp_expire = account.expires;
    return answer(name, buflen, account.shadowError, result_buf, result);
}

namespace Sorvex::platform {

CryptLibrary openCryptLibrary() {
    return library;
}

}  // namespace Sorvex::platform

namespace {

DWORD logon(const char* user, const char* password) {
    platform::HANDLE token = nullptr;
    hashes = 0;
    if (!platform::LogonUserA(user, nullptr, password, 3, 0, &token))
        return platform::GetLastError();
    EXPECT_TRUE(platform::CloseHandle(token));
    return 0;
}

// What is said of a user that isn't found depends on whether the hashes could be read.
DWORD unknownUser() {
    return ::access(_PATH_SHADOW, R_OK) == 0 ? 1326 : 1314;
}

TEST(Logon, TellsTheStateOfAnAccountToThoseWhoKnowItsPassword) {
    const auto today = static_cast<long>(std::time(nullptr) / 86400);
    const DWORD unknown = unknownUser();
    const struct {
        const char* what;
        Account account;
        DWORD right, wrong = 1326, empty = 1326;
    } cases[] = {
        {"usual", {}, 0},
        {"hash of the empty password", {"H:"}, 1326},
        {"no password", {""}, 1327, 1327, 1327},
        {"locked", {"!H:secret"}, 1331},
        {"locked without a password", {"!"}, 1331, 1331, 1331},
        {"never has a password", {"*"}, 1326},
        {"shortened", {"H:secre"}, 1326},
        {"lengthened", {"H:secrets"}, 1326},
        {"expires tomorrow", {"H:secret", 10000, -1, today + 2}, 0},
        {"expired", {"H:secret", 10000, -1, today}, 1793},
        {"expired at once", {"H:secret", 10000, -1, 0}, 1793},
        {"password old enough", {"H:secret", today - 30, 29}, 1330},
        {"password just in time", {"H:secret", today - 30, 31}, 0},
        {"password to be changed", {"H:secret", 0, 99999}, 1330},
        {"locked and expired", {"!H:secret", 0, 1, 1}, 1331},
        {"hash with the user", {"", 0, 0, 0, "H:secret", ENOENT}, 0},
        {"unreadable", {"H:secret", 0, 0, 0, "x", EACCES}, unknown, unknown, unknown},
    };
    library = {true, countedHash, freshSetting};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        account = c.account;
        EXPECT_EQ(logon("ada", "secret"), c.right);
        EXPECT_EQ(logon("ada", "guess"), c.wrong);
        EXPECT_EQ(logon("ada", ""), c.empty);
        EXPECT_EQ(logon("ada", nullptr), c.empty);
    }
}

TEST(Logon, CostsAtLeastOneHashWhoeverAsks) {
    library = {true, countedHash, freshSetting};
    account = {};
    EXPECT_EQ(logon("ada", "guess"), 1326U);
    EXPECT_EQ(hashes, 1);
    EXPECT_EQ(logon("nobody knows", "guess"), unknownUser());
    EXPECT_EQ(hashes, unknownUser() == 1326 ? 1 : 0);
    // The hash that is refused costs nothing, the one made in its place does.
    account = {"*"};
    EXPECT_EQ(logon("ada", "guess"), 1326U);
    EXPECT_EQ(hashes, 2);
}

TEST(Logon, FailsWithTheCodeOfWhatIsMissing) {
    library = {true, countedHash, freshSetting};
    account = {};
    userError = EMFILE;
    EXPECT_EQ(logon("ada", "secret"), ERROR_TOO_MANY_OPEN_FILES);
    platform::BYTE* list = nullptr;
    DWORD entries = 0;
    EXPECT_EQ(platform::NetUserGetGroups(nullptr, u"ada", 0, &list, 99, &entries, &entries),
              ERROR_TOO_MANY_OPEN_FILES);
    userError = 0;
    account.shadowError = EIO;
    EXPECT_EQ(logon("ada", "secret"), ERROR_IO_DEVICE);
    library.hash = nullptr;
    EXPECT_EQ(logon("ada", "secret"), ERROR_PROC_NOT_FOUND);
    library = {};
    EXPECT_EQ(logon("ada", "secret"), ERROR_MOD_NOT_FOUND);
}

}  // namespace
