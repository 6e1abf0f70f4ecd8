#include "platform/posix/services/store.h"

#include <algorithm>
#include <exception>
#include <string_view>

#include <fcntl.h>

#include "platform/posix/services/disk_steps.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/private_files.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

// Empty files in the run-time directory of a service, named after those that depend on it.
constexpr std::string_view dependentPrefix = "dependent.";

bool isMark(const std::string& name) {
    return name.compare(0, dependentPrefix.size(), dependentPrefix) == 0;
}

bool namesAsDependency(const Configuration& configuration, const std::string& key) {
    const auto& names = configuration.dependencies;
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
        return name.front() != groupMark && fileKey(name) == key;
    });
}

}  // namespace

Store::Store(const Places& places)
    : services(ensurePlace(places.database)), runtimeDirectory(ensurePlace(places.runtime)) {}

Observation Store::observeOther(const std::string& key) const {
    try {
        return observe(key);
    } catch (const Refusal& refusal) {
        passOnShortage(refusal);
        // Foreign files in the place of its own are a failure for that service alone.
        return {};
    }
}

KeptService Store::keep(const std::string& key) const {
    {
        const ScopedFileLock shared = database().lock(LOCK_SH);
        ServiceDirectory entry = database().find(key);
        if (!entry)
            refuse(ERROR_SERVICE_DOES_NOT_EXIST);
        if (!entry.isMarked())
            return keepLocked(key, std::move(entry));
    }
    const ScopedFileLock exclusive = database().lock(LOCK_EX);
    if (removeIfFree(key))
        refuse(ERROR_SERVICE_DOES_NOT_EXIST);
    return keepLocked(key, database().find(key));
}

KeptService Store::keepLocked(const std::string& key, ServiceDirectory entry) {
    // Nobody is in the way: this lock is taken exclusively only under the exclusive database lock.
    FileLock hold = tryLock(reopenDirectory(entry.get()), LOCK_SH);
    return {key, std::move(entry), std::move(hold)};
}

bool Store::removeIfFree(const std::string& key) const {
    const ServiceDirectory entry = database().find(key);
    if (!entry)
        return true;
    if (!entry.isMarked() || observe(key).isActive)
        return false;
    const FileLock alone = tryLock(reopenDirectory(entry.get()), LOCK_EX);
    if (!alone)
        return false;
    database().remove(key, entry);
    removeRuntime(*this, key);
    return true;
}

void Store::releaseMarked(const std::string& key) const noexcept {
    try {
        const ServiceDirectory entry = database().find(key);
        if (!entry || !entry.isMarked())
            return;
        const ScopedFileLock exclusive = database().lock(LOCK_EX);
        removeIfFree(key);
    } catch (const Refusal&) {
        // The next one that looks for the service finds it free as well.
    } catch (const std::exception&) {
        // As above.
    }
}

void announceDependent(const Store& store, const Configuration& configuration) {
    const std::string mark = std::string(dependentPrefix) + fileKey(configuration.name);
    for (const std::string& dependency : configuration.dependencies) {
        const std::string key = fileKey(dependency);
        if (dependency.front() == groupMark || !store.database().find(key))
            continue;
        const Descriptor directory = ensurePrivateDirectory(store.runtime(), key.c_str());
        if (!openAt(directory.get(), mark.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW,
                    S_IRUSR | S_IWUSR))
            refuseWithErrno();
    }
}

bool hasActiveDependents(const Store& store, const std::string& key) {
    const Descriptor directory = openPrivateDirectory(store.runtime(), key.c_str());
    if (!directory)
        return false;
    for (const std::string& name : visibleEntries(directory.get())) {
        if (!isMark(name))
            continue;
        const std::string dependent = name.substr(dependentPrefix.size());
        if (dependent.empty() || dependent.front() == '.' ||
            !store.observeOther(dependent).isActive)
            continue;
        const auto configuration = store.database().configurationOf(dependent);
        if (configuration && namesAsDependency(*configuration, key))
            return true;
    }
    return false;
}

void removeRuntime(const Store& store, const std::string& key) {
    if (!hasActiveDependents(store, key)) {
        removeTree(store.runtime(), key.c_str());
        return;
    }
    const Descriptor directory = openPrivateDirectory(store.runtime(), key.c_str());
    for (const std::string& name : visibleEntries(directory.get()))
        if (!isMark(name))
            removeTree(directory.get(), name.c_str());
}

}  // namespace Sorvex::platform::services
