#include <cstring>
#include <memory>
#include <string>

#include <sorvex/service_record.h>

#include "platform/posix/services/access.h"
#include "platform/posix/services/dependencies.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/handle_objects.h"
#include "platform/posix/services/host.h"
#include "platform/posix/services/private_files.h"
#include "platform/posix/services/refusal.h"
#include "platform/posix/services/services.h"

namespace Sorvex::platform {

namespace services {

namespace {

constexpr std::size_t longestText = 32767;

std::string textOrNothing(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

bool isThisMachine(const char* name) {
    std::string machine = textOrNothing(name);
    if (machine.substr(0, 2) == "\\\\")
        machine.erase(0, 2);
    return machine.empty() || foldCase(machine) == foldCase(hostName());
}

std::string checkedName(const char* name) {
    std::string checked = textOrNothing(name);
    if (!isServiceName(checked))
        refuse(ERROR_INVALID_NAME);
    return checked;
}

void checkNumbers(const Configuration& configuration) {
    const DWORD kind = configuration.type & ~SERVICE_INTERACTIVE_PROCESS;
    const bool isProgram = kind == SERVICE_WIN32_OWN_PROCESS || kind == SERVICE_WIN32_SHARE_PROCESS;
    if (!isProgram || configuration.startType < SERVICE_AUTO_START ||
        configuration.startType > SERVICE_DISABLED ||
        configuration.errorControl > SERVICE_ERROR_CRITICAL)
        refuse(ERROR_INVALID_PARAMETER);
}

void check(const Configuration& configuration) {
    checkNumbers(configuration);
    if (configuration.commandLine.empty() || configuration.commandLine.size() > longestText ||
        configuration.group.size() > longestText || configuration.account.size() > longestText)
        refuse(ERROR_INVALID_PARAMETER);
    if (configuration.displayName.size() > longestName)
        refuse(ERROR_INVALID_NAME);
    for (const std::string& dependency : configuration.dependencies) {
        const bool isGroup = dependency.front() == groupMark;
        if (isGroup ? dependency.size() == 1 : !isServiceName(dependency))
            refuse(ERROR_INVALID_PARAMETER);
    }
    // What can't be read back is not written.
    if (toText(configuration).size() > largestPrivateFile)
        refuse(ERROR_INVALID_PARAMETER);
}

// Neither a name nor a display name may be one of another service.
void checkUnique(const Database& database, const Configuration& configuration) {
    const std::string key = fileKey(configuration.name);
    const auto isTaken = [&](const std::string& text) {
        const std::string namesake = fileKey(text);
        const std::string shown = database.keyShownAs(text);
        return (namesake != key && database.find(namesake)) || (!shown.empty() && shown != key);
    };
    if (isTaken(configuration.name) || isTaken(configuration.displayName))
        refuse(ERROR_DUPLICATE_SERVICE_NAME);
}

// A service that only waits to be removed doesn't keep its display name from another.
void freeNames(const Store& store, const Configuration& configuration) {
    for (const std::string& text : {configuration.name, configuration.displayName})
        if (const std::string shown = store.database().keyShownAs(text); !shown.empty())
            store.removeIfFree(shown);
}

// Finds a service by its name. One whose configuration is damaged can be opened as well, to be
// stopped and deleted; whatever needs the configuration fails then.
KeptService find(const Store& store, const std::string& name) {
    const std::string key = fileKey(name);
    KeptService service = store.keep(key);
    const auto configuration = store.database().configurationOf(key);
    if (configuration && foldCase(configuration->name) != foldCase(name))
        refuse(ERROR_SERVICE_DOES_NOT_EXIST);
    return service;
}

KeptService create(const Store& store, const Configuration& configuration) {
    check(configuration);
    const std::string key = fileKey(configuration.name);
    const Database& database = store.database();
    const ScopedFileLock exclusive = database.lock(LOCK_EX);
    // The process of a marked service may have died without anybody noticing.
    if (!store.removeIfFree(key))
        refuse(database.find(key).isMarked() ? ERROR_SERVICE_MARKED_FOR_DELETE
                                             : ERROR_SERVICE_EXISTS);
    freeNames(store, configuration);
    checkUnique(database, configuration);
    if (isCircular(database, configuration))
        refuse(ERROR_CIRCULAR_DEPENDENCY);
    return Store::keepLocked(key, database.add(configuration));
}

void change(DWORD& value, DWORD newValue) {
    if (newValue != SERVICE_NO_CHANGE)
        value = newValue;
}

void change(std::string& value, const char* newValue) {
    if (newValue != nullptr)
        value = newValue;
}

BOOL giveName(const std::string& name, char* buffer, DWORD* size) {
    if (size == nullptr)
        refuse(ERROR_INVALID_PARAMETER);
    // The length comes back without the NUL, for which the buffer has to have room all the same.
    const bool fits = buffer != nullptr && name.size() < *size;
    *size = static_cast<DWORD>(name.size());
    if (!fits)
        refuse(ERROR_INSUFFICIENT_BUFFER);
    std::memcpy(buffer, name.c_str(), name.size() + 1);
    return TRUE;
}

}  // namespace

}  // namespace services

SC_HANDLE OpenSCManagerA(const char* machineName, const char* databaseName, DWORD access) {
    return services::answering(SC_HANDLE{nullptr}, [&] {
        if (!services::isThisMachine(machineName))
            services::refuse(RPC_S_SERVER_UNAVAILABLE);
        if (databaseName != nullptr && services::foldCase(databaseName) != "servicesactive")
            services::refuse(ERROR_DATABASE_DOES_NOT_EXIST);
        const DWORD granted = services::grantedOnManager(access);
        HandleObject* handle =
            new services::ManagerHandle(std::make_shared<services::Store>(), granted);
        return SC_HANDLE{handle};
    });
}

BOOL CloseServiceHandle(SC_HANDLE handle) {
    auto* object = static_cast<HandleObject*>(handle);
    if (dynamic_cast<services::ManagerHandle*>(object) == nullptr &&
        dynamic_cast<services::ServiceHandle*>(object) == nullptr)
        return failWith(ERROR_INVALID_HANDLE);
    return CloseHandle(handle);
}

BOOL GetServiceDisplayNameA(SC_HANDLE manager, const char* serviceName, char* buffer, DWORD* size) {
    return services::answering(FALSE, [&] {
        const auto& handle = services::managerBehind(manager, SC_MANAGER_CONNECT);
        const TerminationShield shield;
        const auto service = services::find(*handle.store, services::checkedName(serviceName));
        return services::giveName(service.entry.configuration().displayName, buffer, size);
    });
}

BOOL GetServiceKeyNameA(SC_HANDLE manager, const char* displayName, char* buffer, DWORD* size) {
    return services::answering(FALSE, [&] {
        const auto& handle = services::managerBehind(manager, SC_MANAGER_CONNECT);
        const std::string shown = services::textOrNothing(displayName);
        if (shown.empty())
            services::refuse(ERROR_INVALID_NAME);
        const std::string key = handle.store->database().keyShownAs(shown);
        if (key.empty())
            services::refuse(ERROR_SERVICE_DOES_NOT_EXIST);
        const TerminationShield shield;
        const auto service = handle.store->keep(key);
        return services::giveName(service.entry.configuration().name, buffer, size);
    });
}

SC_HANDLE OpenServiceA(SC_HANDLE manager, const char* serviceName, DWORD access) {
    return services::answering(SC_HANDLE{nullptr}, [&] {
        const auto& handle = services::managerBehind(manager, SC_MANAGER_CONNECT);
        const std::string name = services::checkedName(serviceName);
        const DWORD granted = services::grantedOnService(access);
        // Until there is a handle nobody else would give back the lock that keeps the service.
        const TerminationShield shield;
        HandleObject* opened =
            new services::ServiceHandle(handle.store, services::find(*handle.store, name), granted);
        return SC_HANDLE{opened};
    });
}

SC_HANDLE CreateServiceA(SC_HANDLE manager, const char* serviceName, const char* displayName,
                         DWORD access, DWORD serviceType, DWORD startType, DWORD errorControl,
                         const char* binaryPathName, const char* loadOrderGroup, DWORD* tag,
                         const char* dependencies, const char* serviceStartName,
                         const char* /*password*/) {
    return services::answering(SC_HANDLE{nullptr}, [&] {
        const auto& handle = services::managerBehind(manager, SC_MANAGER_CREATE_SERVICE);
        services::Configuration configuration;
        configuration.name = services::checkedName(serviceName);
        configuration.displayName = services::textOrNothing(displayName);
        if (configuration.displayName.empty())
            configuration.displayName = configuration.name;
        configuration.type = serviceType;
        configuration.startType = startType;
        configuration.errorControl = errorControl;
        configuration.commandLine = services::textOrNothing(binaryPathName);
        configuration.group = services::textOrNothing(loadOrderGroup);
        configuration.dependencies = services::splitDependencies(dependencies);
        configuration.account =
            serviceStartName == nullptr ? std::string("LocalSystem") : serviceStartName;
        // Tags order drivers, of which there are none.
        if (tag != nullptr)
            services::refuse(ERROR_INVALID_PARAMETER);
        const DWORD granted = services::grantedOnService(access);
        const TerminationShield shield;
        HandleObject* created = new services::ServiceHandle(
            handle.store, services::create(*handle.store, configuration), granted);
        return SC_HANDLE{created};
    });
}

BOOL DeleteService(SC_HANDLE service) {
    return services::answering(FALSE, [&] {
        const auto& handle = services::serviceBehind(service, services::deleteAccess);
        const auto exclusive = handle.store->database().lock(LOCK_EX);
        if (handle.service.entry.isMarked())
            services::refuse(ERROR_SERVICE_MARKED_FOR_DELETE);
        handle.service.entry.mark();
        return TRUE;
    });
}

BOOL ChangeServiceConfigA(SC_HANDLE service, DWORD serviceType, DWORD startType, DWORD errorControl,
                          const char* binaryPathName, const char* loadOrderGroup, DWORD* tag,
                          const char* dependencies, const char* serviceStartName,
                          const char* /*password*/, const char* displayName) {
    return services::answering(FALSE, [&] {
        const auto& handle = services::serviceBehind(service, SERVICE_CHANGE_CONFIG);
        const auto& database = handle.store->database();
        const auto exclusive = database.lock(LOCK_EX);
        const services::ServiceDirectory& entry = handle.service.entry;
        if (entry.isMarked())
            services::refuse(ERROR_SERVICE_MARKED_FOR_DELETE);
        if (tag != nullptr)
            services::refuse(ERROR_INVALID_PARAMETER);

        const services::Configuration before = entry.configuration();
        services::Configuration after = before;
        services::change(after.type, serviceType);
        services::change(after.startType, startType);
        services::change(after.errorControl, errorControl);
        services::change(after.commandLine, binaryPathName);
        services::change(after.group, loadOrderGroup);
        services::change(after.account, serviceStartName);
        services::change(after.displayName, displayName);
        if (after.displayName.empty())
            after.displayName = after.name;
        if (dependencies != nullptr)
            after.dependencies = services::splitDependencies(dependencies);
        services::check(after);
        services::freeNames(*handle.store, after);
        services::checkUnique(database, after);
        if (services::isCircular(database, after))
            services::refuse(ERROR_CIRCULAR_DEPENDENCY);
        // No start comes in between, since it reads the configuration under this lock; so a service
        // that isn't active yet will announce itself.
        if (handle.store->observe(handle.service.key).isActive)
            services::announceDependent(*handle.store, after);
        if (after != before)
            database.change(entry, before, after);
        return TRUE;
    });
}

}  // namespace Sorvex::platform
