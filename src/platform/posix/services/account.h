// The account of the calling process's user.
#ifndef SORVEX_PLATFORM_POSIX_SERVICES_ACCOUNT_H
#define SORVEX_PLATFORM_POSIX_SERVICES_ACCOUNT_H

#include <string>
#include <string_view>

namespace Sorvex::platform::services {

struct Account {
    std::string name;
    std::string home;
    std::string shell;
};

/// What the account database tells of the user; ERROR_PATH_NOT_FOUND when it doesn't know one.
Account ownAccount();

/// Whether a service that is to run under this account can run as a process of the calling user:
/// no account, LocalSystem, and the user's own name with or without ".\" ahead.
bool isOwnAccount(std::string_view account);

}  // namespace Sorvex::platform::services

#endif
