#include "platform/posix/services/handle_objects.h"

#include "platform/posix/services/access.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

template <typename Object>
const Object& objectBehind(HANDLE handle, DWORD needed) {
    const auto* object = dynamic_cast<const Object*>(static_cast<HandleObject*>(handle));
    if (object == nullptr)
        refuse(ERROR_INVALID_HANDLE);
    demand(object->access, needed);
    return *object;
}

}  // namespace

ServiceHandle::~ServiceHandle() {
    service.hold.release();
    store->releaseMarked(service.key);
}

const ManagerHandle& managerBehind(HANDLE handle, DWORD needed) {
    return objectBehind<ManagerHandle>(handle, needed);
}

const ServiceHandle& serviceBehind(HANDLE handle, DWORD needed) {
    return objectBehind<ServiceHandle>(handle, needed);
}

}  // namespace Sorvex::platform::services
