#include "platform/posix/services/service_user.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include "platform/posix/hostinfo/name_service.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

ServiceUser serviceUser() {
    LookupBuffer texts;
    passwd record{};
    const int error =
        lookUp(record, texts, [](passwd* found, char* buffer, std::size_t size, passwd** result) {
            return getpwuid_r(geteuid(), found, buffer, size, result);
        });
    if (error != 0)
        refuse(ERROR_PATH_NOT_FOUND);

    // It asks for more room once, unless the user joins a group in between.
    int count = 64;
    std::vector<gid_t> groups(static_cast<std::size_t>(count));
    while (getgrouplist(record.pw_name, record.pw_gid, groups.data(), &count) < 0)
        groups.resize(static_cast<std::size_t>(count));
    groups.resize(static_cast<std::size_t>(count));
    return {record.pw_uid, std::move(groups), record.pw_name, record.pw_dir, record.pw_shell};
}

bool isOwnAccount(std::string_view account) {
    constexpr std::string_view thisMachine = ".\\";
    if (account.substr(0, thisMachine.size()) == thisMachine)
        account.remove_prefix(thisMachine.size());
    return account.empty() || foldCase(account) == "localsystem" || account == serviceUser().name;
}

}  // namespace Sorvex::platform::services
