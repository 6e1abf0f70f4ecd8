#include "platform/posix/services/store.h"

#include <exception>

#include "platform/posix/services/dependencies.h"
#include "platform/posix/services/private_files.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

Store::Store(const Places& places)
    : services(ensurePlace(places.database)), runtimeDirectory(ensurePlace(places.runtime)) {}

Observation Store::observeOther(const std::string& key) const {
    try {
        return observe(key);
    } catch (const Refusal&) {
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

}  // namespace Sorvex::platform::services
