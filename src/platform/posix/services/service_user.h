// The user that the services of the calling process belong to and run as.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace Sorvex::platform::services {

struct ServiceUser {
    uid_t id = 0;
    std::vector<gid_t> groups;  // the primary one comes first
    std::string name;
    std::string home;
    std::string shell;
};

/// What the account database tells of the effective user; ERROR_PATH_NOT_FOUND when it doesn't know
/// one. In a set-user-id program that is the owner of the program's file, not who runs it.
ServiceUser serviceUser();

/// Whether a service that is to run under this account can run as a process of the service user: no
/// account, LocalSystem, and the user's own name with or without ".\" ahead.
bool isOwnAccount(std::string_view account);

}  // namespace Sorvex::platform::services
