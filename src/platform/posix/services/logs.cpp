#include "platform/posix/services/logs.h"

#include <exception>

#include <sys/stat.h>

#include "platform/posix/services/disk_steps.h"
#include "platform/posix/services/places.h"
#include "platform/posix/services/private_files.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

constexpr off_t largestLog = 1 << 20;  // bytes

Descriptor openLogIn(int directory, const std::string& name) {
    constexpr int flags = O_WRONLY | O_APPEND;
    Descriptor log = openPrivateFile(directory, name.c_str(), flags);
    struct stat facts {};
    if (log && fstat(log.get(), &facts) == 0 && facts.st_size > largestLog) {
        renameEntry(directory, name.c_str(), directory, (name + ".1").c_str());
        log = Descriptor();
    }
    // With O_EXCL a link that somebody puts there in between is not followed.
    return log ? std::move(log)
               : openAt(directory, name.c_str(), flags | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
}

}  // namespace

std::string logName(const std::string& key) {
    return key + ".log";
}

Descriptor openLog(const std::string& key) noexcept {
    try {
        return openLogIn(ensurePlace(placesOfUser().logs).get(), logName(key));
    } catch (const Refusal&) {
        return {};
    } catch (const std::exception&) {
        return {};
    }
}

}  // namespace Sorvex::platform::services
