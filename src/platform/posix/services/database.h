// The services of a user on the disk.
//
// Each service is a directory named after its key (file_key.h) that holds its configuration and,
// once it is to be deleted, a mark. Display names are found through an index: a file for each that
// holds the key. The index is written ahead of the configuration and believed only when the
// configuration agrees, so a crash between the two does no harm; where they differ, all
// configurations are looked through. Services are built and taken apart in a directory of remains,
// which the next change clears of what a crash has left.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/services/configuration.h"
#include "platform/posix/services/locks.h"

namespace Sorvex::platform::services {

/// The directory of one service, open. Whoever keeps a shared lock on it keeps the service.
class ServiceDirectory {
public:
    ServiceDirectory() = default;
    explicit ServiceDirectory(Descriptor opened) noexcept : directory(std::move(opened)) {}

    explicit operator bool() const noexcept { return static_cast<bool>(directory); }
    int get() const noexcept { return directory.get(); }

    Configuration configuration() const;  ///< ERROR_INVALID_DATA when the configuration is damaged.

    bool isMarked() const;
    void mark() const;

private:
    Descriptor directory;
};

class Database {
public:
    explicit Database(Descriptor opened);

    /// Locks the whole database: shared to look for a service and keep it, exclusively to change
    /// which services and names there are.
    ScopedFileLock lock(int kind) const;

    /// An entry of nothing when there is no such service.
    ServiceDirectory find(const std::string& key) const;

    /// Nothing for a service that is missing or damaged.
    std::optional<Configuration> configurationOf(const std::string& key) const;

    std::vector<std::string> keys() const;  ///< The keys of all services, in no order.

    /// The key of the service that is shown under a name; empty when there is none.
    std::string keyShownAs(std::string_view displayName) const;

    // These want the exclusive lock.

    /// Adds a service whose key is free.
    ServiceDirectory add(const Configuration& configuration) const;

    void change(const ServiceDirectory& service, const Configuration& from,
                const Configuration& to) const;

    /// Removes a service with all that it has on the disk.
    void remove(const std::string& key, const ServiceDirectory& service) const;

private:
    void index(const Configuration& configuration) const;
    void clearRemains() const;

    Descriptor directory;
    Descriptor names;
    Descriptor remains;
};

}  // namespace Sorvex::platform::services
