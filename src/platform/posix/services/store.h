// The database and the run-time files of a user together, and when a service goes.
#pragma once

#include <string>

#include "platform/posix/services/database.h"
#include "platform/posix/services/locks.h"
#include "platform/posix/services/places.h"
#include "platform/posix/services/run_state.h"

namespace Sorvex::platform::services {

/// A service that can't go as long as this object lives.
struct KeptService {
    std::string key;
    ServiceDirectory entry;
    FileLock hold;
};

class Store {
public:
    /// Opens the places of a user and makes them when they are missing.
    explicit Store(const Places& places = placesOfUser());

    const Database& database() const noexcept { return services; }
    int runtime() const noexcept { return runtimeDirectory.get(); }

    Observation observe(const std::string& key) const { return services::observe(runtime(), key); }

    /// The same of a service that is not the one that is asked about: what can't be looked at is
    /// not active.
    Observation observeOther(const std::string& key) const;

    /// Finds a service and keeps it; ERROR_SERVICE_DOES_NOT_EXIST.
    KeptService keep(const std::string& key) const;

    /// Keeps a service that was found under the exclusive lock.
    static KeptService keepLocked(const std::string& key, ServiceDirectory entry);

    /// Removes a service that is marked for deletion, is not active and is kept by nobody. Wants
    /// the exclusive lock.
    ///
    /// @return whether there is no such service any more
    bool removeIfFree(const std::string& key) const;

    /// The same for a service that may have become free, from where no failure can be told.
    void releaseMarked(const std::string& key) const noexcept;

private:
    Database services;
    Descriptor runtimeDirectory;
};

/// Leaves word with the services that this one depends on, but for groups, so that their stop finds
/// it without a look at all others. To be called before they are started or it is changed.
void announceDependent(const Store& store, const Configuration& configuration);

/// Whether a service is active that names this one among its dependencies and has left word.
bool hasActiveDependents(const Store& store, const std::string& key);

/// Removes the run-time directory of a service that goes. While others that depend on it are
/// active their words stay, for a service that comes back under the name.
void removeRuntime(const Store& store, const std::string& key);

}  // namespace Sorvex::platform::services
