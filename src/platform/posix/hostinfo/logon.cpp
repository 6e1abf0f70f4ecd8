#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <string_view>

#include <fcntl.h>
#include <pwd.h>
#include <shadow.h>

#include "platform/posix/base/descriptor.h"
#include "platform/posix/base/errors.h"
#include "platform/posix/base/handles.h"
#include "platform/posix/hostinfo/accounts.h"
#include "platform/posix/hostinfo/crypt_library.h"
#include "platform/posix/hostinfo/name_service.h"

namespace Sorvex::platform {

namespace {

// A logon holds nothing: the answer is all that was wanted.
class LogonToken final : public HandleObject {};

// Copies of the password stay in the record.
struct WipingRelease {
    void operator()(char* data) const {
        ::explicit_bzero(data, CryptLibrary::dataSize);
        std::free(data);
    }
};

// Takes the same time wherever the texts differ. Only their lengths, which are no secret, tell.
bool areEqual(std::string_view first, std::string_view second) {
    if (first.size() != second.size())
        return false;
    volatile unsigned char difference = 0;
    for (std::size_t index = 0; index < first.size(); ++index)
        difference = difference | static_cast<unsigned char>(first[index] ^ second[index]);
    return difference == 0;
}

// The hash function of the host with a record of its own.
class Crypt {
public:
    explicit Crypt(const CryptLibrary& cryptLibrary)
        : library(cryptLibrary), data(static_cast<char*>(std::calloc(1, CryptLibrary::dataSize))) {}

    DWORD status() const {
        if (!library.isPresent)
            return ERROR_MOD_NOT_FOUND;
        if (library.hash == nullptr)
            return ERROR_PROC_NOT_FOUND;
        return data != nullptr ? ERROR_SUCCESS : ERROR_NOT_ENOUGH_MEMORY;
    }

    // A hash that the function refuses, or that isn't the whole of what it gives, matches nothing;
    // nor does the empty password. All this costs one hash too.
    bool matches(const char* password, const char* stored) {
        const char* made = library.hash(password, stored, data.get());
        if (made == nullptr || *made == '*') {
            takeTime(password);
            return false;
        }
        return areEqual(made, stored) && *password != '\0';
    }

    // Hashes the password as for a new account of this host.
    void takeTime(const char* password) {
        constexpr int settingSize = 192;
        char setting[settingSize] = "$6$0000000000000000$";
        char fresh[settingSize];
        if (library.makeSetting != nullptr &&
            library.makeSetting(nullptr, 0, nullptr, 0, fresh, settingSize) != nullptr)
            std::copy_n(fresh, settingSize, setting);
        library.hash(password, setting, data.get());
    }

private:
    CryptLibrary library;
    std::unique_ptr<char, WipingRelease> data;
};

// 0, or why the hashes of this host can't be read.
DWORD hashesReadable() {
    if (openAt(AT_FDCWD, _PATH_SHADOW, O_RDONLY | O_NONBLOCK | O_NOCTTY))
        return ERROR_SUCCESS;
    if (errno == EACCES || errno == EPERM)
        return ERROR_PRIVILEGE_NOT_HELD;
    return errno == ENOENT ? ERROR_SUCCESS : errorFromErrno(errno);
}

// What the database keeps of one user. Days count from 1970; -1 stands for none.
class Account {
public:
    /// 0, or why the account can't be used to check a password; ERROR_LOGON_FAILURE when the host
    /// doesn't know it or has no hash for it.
    DWORD read(const char* name);

    /// The hash, empty for an account without a password, without the mark of a locked account.
    const char* hash() const { return isLocked() ? stored + std::strspn(stored, "!") : stored; }
    bool isLocked() const { return *stored == '!'; }

    /// 0, or what keeps someone out who knows the password.
    DWORD restriction() const;

private:
    LookupBuffer userBuffer;
    LookupBuffer hashBuffer;
    const char* stored = "";
    struct spwd dates {};
};

DWORD Account::read(const char* name) {
    struct passwd user {};
    const int userError = lookUp(
        user, userBuffer, [name](auto... arguments) { return ::getpwnam_r(name, arguments...); });
    if (userError != 0 && userError != ENOENT)
        return errorFromErrno(userError);
    // Asked for unknown users too, so that they take as long.
    const int hashError = lookUp(
        dates, hashBuffer, [name](auto... arguments) { return ::getspnam_r(name, arguments...); });
    if (hashError != 0 && hashError != ENOENT && hashError != EACCES)
        return errorFromErrno(hashError);
    if (userError == 0 && hashError == 0) {
        stored = dates.sp_pwdp != nullptr ? dates.sp_pwdp : "*";
        return ERROR_SUCCESS;
    }
    dates = {};
    dates.sp_lstchg = dates.sp_max = dates.sp_expire = -1;
    // Some databases keep the hash with the user.
    if (userError == 0 && std::strcmp(user.pw_passwd, "x") != 0) {
        stored = user.pw_passwd;
        return ERROR_SUCCESS;
    }
    const DWORD error = hashesReadable();
    return error != ERROR_SUCCESS ? error : ERROR_LOGON_FAILURE;
}

DWORD Account::restriction() const {
    constexpr std::time_t secondsOfDay = 86400;
    const auto today = static_cast<long>(std::time(nullptr) / secondsOfDay);
    if (isLocked())
        return ERROR_ACCOUNT_DISABLED;
    if (dates.sp_expire >= 0 && today >= dates.sp_expire)
        return ERROR_ACCOUNT_EXPIRED;
    // Day 0 asks for a new password at the next logon.
    const bool isOld = dates.sp_lstchg == 0 || (dates.sp_lstchg > 0 && dates.sp_max >= 0 &&
                                                today - dates.sp_lstchg > dates.sp_max);
    return isOld ? ERROR_PASSWORD_EXPIRED : ERROR_SUCCESS;
}

DWORD checkPassword(const char* user, const char* password) {
    Crypt crypt(openCryptLibrary());
    if (crypt.status() != ERROR_SUCCESS)
        return crypt.status();
    Account account;
    const DWORD error = account.read(user);
    if (error != ERROR_SUCCESS) {
        if (error == ERROR_LOGON_FAILURE)
            crypt.takeTime(password);
        return error;
    }
    if (*account.hash() == '\0')
        return account.isLocked() ? ERROR_ACCOUNT_DISABLED : ERROR_ACCOUNT_RESTRICTION;
    return crypt.matches(password, account.hash()) ? account.restriction() : ERROR_LOGON_FAILURE;
}

}  // namespace

BOOL LogonUserA(const char* user, const char* domain, const char* password, DWORD type,
                DWORD provider, HANDLE* token) {
    const bool isSupported = user != nullptr && domain == nullptr &&
                             type == LOGON32_LOGON_NETWORK &&
                             provider == LOGON32_PROVIDER_DEFAULT && token != nullptr;
    DWORD error = ERROR_INVALID_PARAMETER;
    if (isSupported)
        error = checkPassword(user, password != nullptr ? password : "");
    if (error == ERROR_SUCCESS) {
        *token = static_cast<HandleObject*>(new (std::nothrow) LogonToken);
        if (*token != nullptr)
            return TRUE;
        error = ERROR_NOT_ENOUGH_MEMORY;
    }
    SetLastError(error);
    return FALSE;
}

}  // namespace Sorvex::platform
