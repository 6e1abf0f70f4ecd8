#include <sorvex/services.h>

#include "platform/platform.h"
#include "platform/width.h"
#include "strings/failure.h"

namespace Sorvex {

namespace {

// Bytes of the buffer that names come back in, the NUL at the end included.
constexpr platform::DWORD nameBufferSize = 256;

platform::SC_HANDLE platformHandle(void* handle) noexcept {
    return static_cast<platform::SC_HANDLE>(handle);
}

}  // namespace

BServiceControlManager::BServiceControlManager(const char* machineName, const char* databaseName,
                                               unsigned long access)
    : managerHandle(platform::OpenSCManagerA(machineName, databaseName, asUnsigned32(access))) {
    if (managerHandle == nullptr)
        failure::raiseFor("BServiceControlManager::BServiceControlManager(): OpenSCManager() ",
                          databaseName);
}

BServiceControlManager::~BServiceControlManager() {
    if (managerHandle != nullptr)
        platform::CloseServiceHandle(platformHandle(managerHandle));
}

std::string BServiceControlManager::getDisplayName(const char* keyName) {
    char buffer[nameBufferSize];
    platform::DWORD length = nameBufferSize;
    if (!platform::GetServiceDisplayNameA(platformHandle(managerHandle), keyName, buffer, &length))
        failure::raiseFor("BServiceControlManager::getDisplayName(): GetServiceDisplayName() ",
                          keyName);
    return buffer;
}

std::string BServiceControlManager::getKeyName(const char* displayName) {
    char buffer[nameBufferSize];
    platform::DWORD length = nameBufferSize;
    if (!platform::GetServiceKeyNameA(platformHandle(managerHandle), displayName, buffer, &length))
        failure::raiseFor("BServiceControlManager::getKeyName(): GetServiceKeyName() ",
                          displayName);
    return buffer;
}

}  // namespace Sorvex
