#include <sorvex/services.h>

#include "platform/platform.h"
#include "strings/failure.h"

namespace Sorvex {

BService::BService(const char* name) : serviceName(name == nullptr ? "" : name) {}

BService::~BService() = default;

BService& BService::registerHandler(ControlHandler handler) {
    statusHandle = platform::RegisterServiceCtrlHandlerA(serviceName.c_str(), handler);
    if (statusHandle == nullptr)
        failure::raiseFor("BService::registerHandler(): RegisterServiceCtrlHandler() ",
                          serviceName);
    return *this;
}

BService& BService::refreshStatus() {
    if (!platform::SetServiceStatus(static_cast<platform::SERVICE_STATUS_HANDLE>(statusHandle),
                                    serviceStatus))
        failure::raiseFor("BService::registerHandler(): SetServiceStatus() ", serviceName);
    return *this;
}

}  // namespace Sorvex
