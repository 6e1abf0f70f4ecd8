// What stands behind the handles of the service manager.
#pragma once

#include <memory>
#include <utility>

#include "platform/posix/base/handles.h"
#include "platform/posix/services/store.h"

namespace Sorvex::platform::services {

class ManagerHandle : public HandleObject {
public:
    ManagerHandle(std::shared_ptr<const Store> opened, DWORD granted) noexcept
        : store(std::move(opened)), access(granted) {}

    const std::shared_ptr<const Store> store;
    const DWORD access;
};

class ServiceHandle : public HandleObject {
public:
    ServiceHandle(std::shared_ptr<const Store> opened, KeptService kept, DWORD granted) noexcept
        : store(std::move(opened)), access(granted), service(std::move(kept)) {}

    /// Lets go of the service, and removes it when it was kept by nothing else.
    ~ServiceHandle() override;

    const std::shared_ptr<const Store> store;
    const DWORD access;
    KeptService service;
};

/// The object behind a handle with these rights; ERROR_INVALID_HANDLE when it is another's.
const ManagerHandle& managerBehind(HANDLE handle, DWORD needed);
const ServiceHandle& serviceBehind(HANDLE handle, DWORD needed);

}  // namespace Sorvex::platform::services
