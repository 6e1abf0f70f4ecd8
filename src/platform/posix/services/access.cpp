#include "platform/posix/services/access.h"

#include <sorvex/service_record.h>

#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

struct GenericRights {
    DWORD read;
    DWORD write;
    DWORD execute;
    DWORD all;
};

constexpr GenericRights managerRights = {
    READ_CONTROL | SC_MANAGER_ENUMERATE_SERVICE | SC_MANAGER_QUERY_LOCK_STATUS,
    READ_CONTROL | SC_MANAGER_CREATE_SERVICE | SC_MANAGER_MODIFY_BOOT_CONFIG,
    READ_CONTROL | SC_MANAGER_CONNECT | SC_MANAGER_LOCK, SC_MANAGER_ALL_ACCESS};

constexpr GenericRights serviceRights = {READ_CONTROL | SERVICE_QUERY_CONFIG |
                                             SERVICE_QUERY_STATUS | SERVICE_INTERROGATE |
                                             SERVICE_ENUMERATE_DEPENDENTS,
                                         READ_CONTROL | SERVICE_CHANGE_CONFIG,
                                         READ_CONTROL | SERVICE_START | SERVICE_STOP |
                                             SERVICE_PAUSE_CONTINUE | SERVICE_USER_DEFINED_CONTROL,
                                         SERVICE_ALL_ACCESS};

DWORD granted(DWORD asked, const GenericRights& rights) {
    const struct {
        DWORD generic;
        DWORD specific;
    } spellings[] = {{GENERIC_READ, rights.read},
                     {GENERIC_WRITE, rights.write},
                     {GENERIC_EXECUTE, rights.execute},
                     {GENERIC_ALL, rights.all},
                     {MAXIMUM_ALLOWED, rights.all}};
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
