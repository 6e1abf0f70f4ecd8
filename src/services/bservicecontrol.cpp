#include <sorvex/services.h>

#include "platform/platform.h"
#include "platform/width.h"
#include "strings/failure.h"

namespace Sorvex {

namespace {

platform::SC_HANDLE platformHandle(void* handle) noexcept {
    return static_cast<platform::SC_HANDLE>(handle);
}

}  // namespace

BServiceControl::BServiceControl(BServiceControlManager& manager, const char* serviceName,
                                 unsigned long access)
    : serviceHandle(platform::OpenServiceA(platformHandle(manager.handle()), serviceName,
                                           asUnsigned32(access))) {
    if (serviceHandle == nullptr)
        failure::raiseFor("BServiceControl::BServiceControl(): OpenService() ", serviceName);
}

BServiceControl::BServiceControl(BServiceControlManager& manager, const char* serviceName,
                                 const char* displayName, const char* binaryPathName,
                                 unsigned long startType, unsigned long serviceType,
                                 unsigned long errorControl, unsigned long access,
                                 const char* loadOrderGroup, const char* dependencies,
                                 const char* serviceStartName, const char* password)
    : serviceHandle(platform::CreateServiceA(
          platformHandle(manager.handle()), serviceName, displayName, asUnsigned32(access),
          asUnsigned32(serviceType), asUnsigned32(startType), asUnsigned32(errorControl),
          binaryPathName, loadOrderGroup, nullptr, dependencies, serviceStartName, password)) {
    if (serviceHandle == nullptr)
        failure::raiseFor("BServiceControl::BServiceControl(): CreateService() ", serviceName);
}

BServiceControl::~BServiceControl() {
    if (serviceHandle != nullptr)
        platform::CloseServiceHandle(platformHandle(serviceHandle));
}

BServiceControl& BServiceControl::deleteService() {
    if (!platform::DeleteService(platformHandle(serviceHandle)))
        failure::raise("BServiceControl::deleteService(): DeleteService() ");
    return *this;
}

BServiceControl& BServiceControl::start(unsigned long argc, char** argv) {
    if (!platform::StartServiceA(platformHandle(serviceHandle), asUnsigned32(argc),
                                 const_cast<const char**>(argv)))
        failure::raiseWithSystemText("BServiceControl::startService(): StartService() ");
    return *this;
}

BServiceStatus& BServiceControl::control(unsigned long code) {
    if (!platform::ControlService(platformHandle(serviceHandle), asUnsigned32(code), serviceStatus))
        failure::raise("BServiceControl::control(): ControlService() ");
    return serviceStatus;
}

BServiceStatus& BServiceControl::stop() {
    return control(SERVICE_CONTROL_STOP);
}

BServiceStatus& BServiceControl::pause() {
    return control(SERVICE_CONTROL_PAUSE);
}

BServiceStatus& BServiceControl::resume() {
    return control(SERVICE_CONTROL_CONTINUE);
}

BServiceStatus& BServiceControl::queryStatus() {
    if (!platform::QueryServiceStatus(platformHandle(serviceHandle), serviceStatus))
        failure::raise("BServiceControl::queryStatus(): QueryServiceStatus() ");
    return serviceStatus;
}

BServiceControl& BServiceControl::changeConfig(const char* displayName, const char* binaryPathName,
                                               unsigned long startType, unsigned long serviceType,
                                               unsigned long errorControl,
                                               const char* loadOrderGroup, const char* dependencies,
                                               const char* serviceStartName, const char* password) {
    if (!platform::ChangeServiceConfigA(platformHandle(serviceHandle), asUnsigned32(serviceType),
                                        asUnsigned32(startType), asUnsigned32(errorControl),
                                        binaryPathName, loadOrderGroup, nullptr, dependencies,
                                        serviceStartName, password, displayName))
        failure::raise("BServiceControl::changeConfig(): ChangeServiceConfig() ");
    return *this;
}

}  // namespace Sorvex
