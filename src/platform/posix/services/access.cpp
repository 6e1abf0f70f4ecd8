#include "platform/posix/services/access.h"

#include <sorvex/service_record.h>

#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

constexpr DWORD readControl = 0x20000;
constexpr DWORD maximumAllowed = 0x2000000;
constexpr DWORD genericAll = 0x10000000;
constexpr DWORD genericExecute = 0x20000000;
constexpr DWORD genericWrite = 0x40000000;
constexpr DWORD genericRead = 0x80000000;

struct GenericRights {
    DWORD read;
    DWORD write;
    DWORD execute;
    DWORD all;
};

constexpr GenericRights managerRights = {
    readControl | SC_MANAGER_ENUMERATE_SERVICE | SC_MANAGER_QUERY_LOCK_STATUS,
    readControl | SC_MANAGER_CREATE_SERVICE | SC_MANAGER_MODIFY_BOOT_CONFIG,
    readControl | SC_MANAGER_CONNECT | SC_MANAGER_LOCK, SC_MANAGER_ALL_ACCESS};

constexpr GenericRights serviceRights = {readControl | SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS |
                                             SERVICE_INTERROGATE | SERVICE_ENUMERATE_DEPENDENTS,
                                         readControl | SERVICE_CHANGE_CONFIG,
                                         readControl | SERVICE_START | SERVICE_STOP |
                                             SERVICE_PAUSE_CONTINUE | SERVICE_USER_DEFINED_CONTROL,
                                         SERVICE_ALL_ACCESS};

DWORD granted(DWORD asked, const GenericRights& rights) {
    const struct {
        DWORD generic;
        DWORD specific;
    } spellings[] = {{genericRead, rights.read},
                     {genericWrite, rights.write},
                     {genericExecute, rights.execute},
                     {genericAll, rights.all},
                     {maximumAllowed, rights.all}};
    for (const auto& spelling : spellings)
        if ((asked & spelling.generic) != 0)
            asked = (asked & ~spelling.generic) | spelling.specific;
    if ((asked & ~rights.all) != 0)
        refuse(ERROR_ACCESS_DENIED);
    return asked;
}

}  // namespace

DWORD grantedOnManager(DWORD asked) {
    return granted(asked, managerRights) | SC_MANAGER_CONNECT;
}

DWORD grantedOnService(DWORD asked) {
    return granted(asked, serviceRights);
}

void demand(DWORD granted, DWORD needed) {
    if ((granted & needed) != needed)
        refuse(ERROR_ACCESS_DENIED);
}

}  // namespace Sorvex::platform::services
