#include "platform/posix/services/account.h"

#include <vector>

#include <pwd.h>
#include <unistd.h>

#include "platform/posix/services/file_key.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

Account ownAccount() {
    std::vector<char> texts(1024);
    passwd record{};
    passwd* found = nullptr;
    int error = ERANGE;
    while ((error = getpwuid_r(geteuid(), &record, texts.data(), texts.size(), &found)) == ERANGE)
        texts.resize(texts.size() * 2);
    if (error == EINTR)
        return ownAccount();
    if (found == nullptr)
        refuse(ERROR_PATH_NOT_FOUND);
    return {found->pw_name, found->pw_dir, found->pw_shell};
}

bool isOwnAccount(std::string_view account) {
    constexpr std::string_view thisMachine = ".\\";
    if (account.substr(0, thisMachine.size()) == thisMachine)
        account.remove_prefix(thisMachine.size());
    return account.empty() || foldCase(account) == "localsystem" || account == ownAccount().name;
}

}  // namespace Sorvex::platform::services
