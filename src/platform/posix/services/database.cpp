#include "platform/posix/services/database.h"

#include <sys/file.h>

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
constexpr const char* unfinished = ".unfinished";
constexpr const char* removed = ".removed";

}  // namespace

Configuration Entry::configuration() const {
    const auto text = readPrivateFile(get(), configurationFile);
    if (!text)
        refuse(ERROR_INVALID_DATA);
    return fromText(*text);
}

bool Entry::isMarked() const {
    return hasEntry(get(), deletionMark);
}

void Entry::mark() const {
    static_cast<void>(makeFile(get(), deletionMark));
    syncToDisk(get());
}

Database::Database(Descriptor opened)
    : directory(std::move(opened)), names(ensurePrivateDirectory(directory.get(), nameIndex)) {}

FileLock Database::lock(int kind) const {
    return waitForLock(reopenDirectory(directory.get()), kind);
}

Entry Database::find(const std::string& key) const {
    return Entry(openPrivateDirectory(directory.get(), key.c_str()));
}

std::vector<std::string> Database::keys() const {
    return visibleEntries(directory.get());
}

std::string Database::keyShownAs(std::string_view displayName) const {
    auto key = readPrivateFile(names.get(), fileKey(displayName).c_str());
    if (!key || key->empty() || key->front() == '.' || !isServiceName(*key))
        return {};
    const Entry entry = find(*key);
    if (!entry)
        return {};
    try {
        if (foldCase(entry.configuration().displayName) == foldCase(displayName))
            return *key;
    } catch (const Refusal&) {
        // A damaged service is a failure for itself alone.
    }
    return {};
}

Entry Database::add(const Configuration& configuration) const {
    const std::string key = fileKey(configuration.name);
    clearRemains();
    index(configuration);
    Entry entry(ensurePrivateDirectory(directory.get(), unfinished));
    replaceFile(entry.get(), configurationFile, toText(configuration));
    renameEntry(directory.get(), unfinished, key.c_str());
    syncToDisk(directory.get());
    return entry;
}

void Database::change(const Entry& entry, const Configuration& from,
                      const Configuration& to) const {
    const std::string before = fileKey(from.displayName);
    const bool isRenamed = before != fileKey(to.displayName);
    if (isRenamed)
        index(to);
    replaceFile(entry.get(), configurationFile, toText(to));
    if (isRenamed)
        removeEntry(names.get(), before.c_str(), 0);
}

void Database::remove(const std::string& key, const Entry& entry) const {
    std::string displayKey;
    try {
        displayKey = fileKey(entry.configuration().displayName);
    } catch (const Refusal&) {
        // What a damaged configuration leaves in the index is never believed.
    }
    clearRemains();
    renameEntry(directory.get(), key.c_str(), removed);
    syncToDisk(directory.get());
    if (!displayKey.empty() && readPrivateFile(names.get(), displayKey.c_str()) == key)
        removeEntry(names.get(), displayKey.c_str(), 0);
    clearRemains();
}

void Database::index(const Configuration& configuration) const {
    replaceFile(names.get(), fileKey(configuration.displayName).c_str(),
                fileKey(configuration.name));
}

// What a crash has left half made or half removed.
void Database::clearRemains() const {
    removeDirectory(directory.get(), unfinished);
    removeDirectory(directory.get(), removed);
}

}  // namespace Sorvex::platform::services
