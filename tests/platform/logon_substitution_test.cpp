// The logon over an account database and a hash function of the test's own.
#include <cerrno>
#include <cstring>
#include <ctime>
#include <map>
#include <string>

#include <pwd.h>
#include <shadow.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/platform.h"
#include "platform/posix/crypt_library.h"
#include "support/process_facts.h"

namespace {

using Sorvex::platform::DWORD;

struct Record {
    std::string hash;  // of the password "secret": "H:secret"
    long lastChange = 10000;
    long mostDays = -1;
    long expires = -1;
    std::string userField = "x";
    int shadowError = 0;
};

struct Host {
    std::map<std::string, Record> accounts;
    int userError = 0;
    int hashes = 0;
    Sorvex::platform::CryptLibrary library;
};

Host& host() {
    static Host instance;
    return instance;
}

const Record* find(const char* name) {
    const auto found = host().accounts.find(name);
    return found == host().accounts.end() ? nullptr : &found->second;
}

// More than is offered at first.
constexpr std::size_t largeRecord = 5000;

char* put(char* buffer, const std::string& text) {
    buffer[text.copy(buffer, text.size())] = '\0';
    return buffer;
}

// Refuses what doesn't begin with "H:", as the real one refuses what is no hash.
char* countedHash(const char* password, const char* setting, void* data) {
    ++host().hashes;
    const bool isKnown = std::strncmp(setting, "H:", 2) == 0;
    return put(static_cast<char*>(data), isKnown ? "H:" + std::string(password) : "*0");
}

char* freshSetting(const char*, unsigned long, const char*, int, char* setting, int) {
    return put(setting, "H:");
}

}  // namespace

extern "C" int getpwnam_r(const char* name, struct passwd* resultbuf, char* buffer, size_t buflen,
                          struct passwd** result) {
    *result = nullptr;
    const Record* account = find(name);
    if (host().userError != 0 || account == nullptr)
        return host().userError;
    if (buflen < largeRecord)
        return ERANGE;
    *resultbuf = {};
    resultbuf->pw_passwd = put(buffer, account->userField);
    *result = resultbuf;
    return 0;
}

extern "C" int getspnam_r(const char* name, struct spwd* result_buf, char* buffer, size_t buflen,
                          struct spwd** result) {
    *result = nullptr;
    const Record* account = find(name);
    if (account == nullptr || account->shadowError != 0)
        return account == nullptr ? 0 : account->shadowError;
    if (buflen < largeRecord)
        return ERANGE;
    *result_buf = {};
    result_buf->sp_pwdp = put(buffer, account->hash);
    result_buf->sp_lstchg = account->lastChange;
    result_buf->sp_max = account->mostDays;
    result_buf->sp_expire = account->expires;
    *result = result_buf;
    return 0;
}

namespace Sorvex::platform {

CryptLibrary openCryptLibrary() {
    return host().library;
}

}  // namespace Sorvex::platform

namespace {

using namespace Sorvex;

DWORD logon(const char* user, const char* password) {
    platform::HANDLE token = nullptr;
    host().hashes = 0;
    if (!platform::LogonUserA(user, nullptr, password, 3, 0, &token))
        return platform::GetLastError();
    EXPECT_TRUE(platform::CloseHandle(token));
    return 0;
}

// What is said of a user that isn't found depends on whether the hashes could be read.
DWORD unknownUser() {
    return ::access(_PATH_SHADOW, R_OK) == 0 ? 1326 : 1314;
}

class Logon : public ::testing::Test {
protected:
    void SetUp() override {
        host() = {};
        host().library = {true, countedHash, freshSetting};
    }
};

TEST_F(Logon, TellsTheStateOfAnAccountToThoseWhoKnowItsPassword) {
    const auto today = static_cast<long>(std::time(nullptr) / 86400);
    const struct {
        const char* what;
        Record account;
        DWORD right, wrong, empty;
    } cases[] = {
        {"usual", {"H:secret"}, 0, 1326, 1326},
        {"hash of the empty password", {"H:"}, 1326, 1326, 1326},
        {"no password", {""}, 1327, 1327, 1327},
        {"locked", {"!H:secret"}, 1331, 1326, 1326},
        {"locked without a password", {"!"}, 1331, 1331, 1331},
        {"never has a password", {"*"}, 1326, 1326, 1326},
        {"shortened", {"H:secre"}, 1326, 1326, 1326},
        {"lengthened", {"H:secrets"}, 1326, 1326, 1326},
        {"expires tomorrow", {"H:secret", 10000, -1, today + 2}, 0, 1326, 1326},
        {"expired", {"H:secret", 10000, -1, today}, 1793, 1326, 1326},
        {"expired at once", {"H:secret", 10000, -1, 0}, 1793, 1326, 1326},
        {"password old enough", {"H:secret", today - 30, 29}, 1330, 1326, 1326},
        {"password just in time", {"H:secret", today - 30, 31}, 0, 1326, 1326},
        {"password to be changed", {"H:secret", 0, 99999}, 1330, 1326, 1326},
        {"locked and expired", {"!H:secret", 0, 1, 1}, 1331, 1326, 1326},
        {"hash with the user", {"", 0, 0, 0, "H:secret", ENOENT}, 0, 1326, 1326},
        {"hash with the user alone", {"", 0, 0, 0, "H:secret", EACCES}, 0, 1326, 1326},
        {"unreadable",
         {"H:secret", 0, 0, 0, "x", EACCES},
         unknownUser(),
         unknownUser(),
         unknownUser()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        host().accounts = {{"ada", c.account}};
        EXPECT_EQ(logon("ada", "secret"), c.right);
        EXPECT_EQ(logon("ada", "guess"), c.wrong);
        EXPECT_EQ(logon("ada", ""), c.empty);
        EXPECT_EQ(logon("ada", nullptr), c.empty);
    }
}

TEST_F(Logon, CostsAtLeastOneHashWhoeverAsks) {
    host().accounts = {{"ada", {"H:secret"}}, {"daemon", {"*"}}};
    EXPECT_EQ(logon("ada", "guess"), 1326U);
    EXPECT_EQ(host().hashes, 1);
    // The hash that is refused costs nothing, the one made in its place does.
    EXPECT_EQ(logon("daemon", "guess"), 1326U);
    EXPECT_EQ(host().hashes, 2);
    EXPECT_EQ(logon("nobody knows", "guess"), unknownUser());
    EXPECT_EQ(host().hashes, unknownUser() == 1326 ? 1 : 0);
}

TEST_F(Logon, FailsWithTheCodeOfWhatIsMissing) {
    host().accounts = {{"ada", {"H:secret"}}};
    host().userError = EMFILE;
    EXPECT_EQ(logon("ada", "secret"), ERROR_TOO_MANY_OPEN_FILES);
    host().userError = 0;
    host().accounts["ada"].shadowError = EIO;
    EXPECT_EQ(logon("ada", "secret"), ERROR_IO_DEVICE);
    host().library.hash = nullptr;
    EXPECT_EQ(logon("ada", "secret"), ERROR_PROC_NOT_FOUND);
    host().library = {};
    EXPECT_EQ(logon("ada", "secret"), ERROR_MOD_NOT_FOUND);
}

}  // namespace
