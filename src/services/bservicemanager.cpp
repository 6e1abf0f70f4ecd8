#include <algorithm>
#include <memory>

#include <sorvex/services.h>

#include "platform/platform.h"
#include "strings/failure.h"

namespace Sorvex {

constinit BServiceManager::DispatchTblEntry* BServiceManager::dispatchTable = nullptr;
constinit std::uint32_t BServiceManager::dispatchTableSize = 0;

void BServiceManager::add(BService* service, ServiceEntry entry) {
    static_assert(sizeof(DispatchTblEntry) == sizeof(platform::SERVICE_TABLE_ENTRYA));

    // Everything is allocated before the table is touched, so that short memory leaves it whole.
    const std::uint32_t size = dispatchTable == nullptr ? 2 : dispatchTableSize + 1;
    auto table = std::make_unique<DispatchTblEntry[]>(size);
    const std::string& name = service->name();
    auto nameCopy = std::make_unique<char[]>(name.size() + 1);
    std::copy_n(name.c_str(), name.size() + 1, nameCopy.get());

    if (dispatchTable != nullptr) {
        std::copy_n(dispatchTable, dispatchTableSize - 1, table.get());
        delete[] dispatchTable;
    }
    table[size - 2] = {nameCopy.release(), entry};
    table[size - 1] = {nullptr, nullptr};
    dispatchTable = table.release();
    dispatchTableSize = size;
}

void BServiceManager::start() {
    if (dispatchTable == nullptr)
        failure::raise("BServiceManager::start(): Dispatch table is empty.");
    if (!platform::StartServiceCtrlDispatcherA(
            reinterpret_cast<const platform::SERVICE_TABLE_ENTRYA*>(dispatchTable)))
        failure::raise("BServiceManager::start(): StartServiceCtrlDispatcher()");
}

}  // namespace Sorvex
