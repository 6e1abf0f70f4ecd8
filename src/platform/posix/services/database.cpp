#include "platform/posix/services/database.h"

#include <algorithm>
#include <chrono>

#include "platform/posix/services/disk_steps.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/private_files.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

constexpr const char* configurationFile = "configuration";
constexpr const char* deletionMark = "deleted";

// Keys never begin with a dot.
constexpr const char* nameIndex = ".names";
constexpr const char* remainsDirectory = ".remains";

// A name among the remains, some of which may be impossible to clear. Only the holder of the
// exclusive lock needs one, so the time tells them apart.
std::string freshRemainsName() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return asHexadecimal(static_cast<std::uint64_t>(now.count()));
}

}  // namespace

Configuration ServiceDirectory::configuration() const {
    const auto text = readPrivateFile(get(), configurationFile);
    if (!text)
        refuse(ERROR_INVALID_DATA);
    return fromText(*text);
}

bool ServiceDirectory::isMarked() const {
    return hasEntry(get(), deletionMark);
}

void ServiceDirectory::mark() const {
    static_cast<void>(makeFile(get(), deletionMark));
    syncDirectory(get());
}

Database::Database(Descriptor opened)
    : directory(std::move(opened)),
      names(ensurePrivateDirectory(directory.get(), nameIndex)),
      remains(ensurePrivateDirectory(directory.get(), remainsDirectory)) {}

ScopedFileLock Database::lock(int kind) const {
    return {{}, waitForLock(reopenDirectory(directory.get()), kind)};
}

ServiceDirectory Database::find(const std::string& key) const {
    return ServiceDirectory(openPrivateDirectory(directory.get(), key.c_str()));
}

std::vector<std::string> Database::keys() const {
    return visibleEntries(directory.get());
}

std::optional<Configuration> Database::configurationOf(const std::string& key) const {
    try {
        const ServiceDirectory service = find(key);
        return service ? std::optional(service.configuration()) : std::nullopt;
    } catch (const Refusal& refusal) {
        passOnShortage(refusal);
        // A damaged service is a failure for itself alone.
        return std::nullopt;
    }
}

std::string Database::keyShownAs(std::string_view displayName) const {
    const auto indexed = readPrivateFile(names.get(), fileKey(displayName).c_str());
    if (!indexed)
        return {};
    const std::string wanted = foldCase(displayName);
    const auto isShown = [&](const std::string& key) {
        const auto configuration = configurationOf(key);
        return configuration && foldCase(configuration->displayName) == wanted;
    };
    // Only what could have been written by index() may go to the host as a name.
    if (!indexed->empty() && indexed->front() != '.' && isServiceName(*indexed) &&
        isShown(*indexed))
        return *indexed;
    const std::vector<std::string> all = keys();
    const auto found = std::find_if(all.begin(), all.end(), isShown);
    return found == all.end() ? std::string() : *found;
}

ServiceDirectory Database::add(const Configuration& configuration) const {
    const std::string key = fileKey(configuration.name);
    const std::string fresh = freshRemainsName();
    clearRemains();
    index(configuration);
    ServiceDirectory service(ensurePrivateDirectory(remains.get(), fresh.c_str()));
    replaceFile(service.get(), configurationFile, toText(configuration));
    renameEntry(remains.get(), fresh.c_str(), directory.get(), key.c_str());
    syncDirectory(directory.get());
    return service;
}

void Database::change(const ServiceDirectory& service, const Configuration& from,
                      const Configuration& to) const {
    const std::string before = fileKey(from.displayName);
    const bool isRenamed = before != fileKey(to.displayName);
    if (isRenamed)
        index(to);
    replaceFile(service.get(), configurationFile, toText(to));
    if (isRenamed)
        removeEntry(names.get(), before.c_str(), 0);
}

void Database::remove(const std::string& key, const ServiceDirectory& service) const {
    std::string displayKey;
    try {
        displayKey = fileKey(service.configuration().displayName);
    } catch (const Refusal&) {
        // What a damaged configuration leaves in the index is never believed.
    }
    renameEntry(directory.get(), key.c_str(), remains.get(), freshRemainsName().c_str());
    syncDirectory(directory.get());
    if (!displayKey.empty() && readPrivateFile(names.get(), displayKey.c_str()) == key)
        removeEntry(names.get(), displayKey.c_str(), 0);
    clearRemains();
}

void Database::index(const Configuration& configuration) const {
    replaceFile(names.get(), fileKey(configuration.displayName).c_str(),
                fileKey(configuration.name));
}

void Database::clearRemains() const {
    for (const std::string& name : visibleEntries(remains.get())) {
        try {
            removeTree(remains.get(), name.c_str());
        } catch (const Refusal&) {
            // What can't be removed, such as a directory that somebody else has filled, is in
            // nobody's way here.
        }
    }
}

}  // namespace Sorvex::platform::services
