#include "platform/posix/services/dispatcher.h"
#include "platform/posix/services/refusal.h"
#include "platform/posix/services/services.h"

namespace Sorvex::platform {

BOOL StartServiceCtrlDispatcherA(const SERVICE_TABLE_ENTRYA* table) {
    return services::answering(FALSE, [&] {
        services::Dispatcher::ofProcess().run(table);
        return TRUE;
    });
}

SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerA(const char* serviceName,
                                                  LPHANDLER_FUNCTION handler) {
    return services::answering(SERVICE_STATUS_HANDLE{nullptr}, [&] {
        if (serviceName == nullptr)
            services::refuse(ERROR_INVALID_NAME);
        if (handler == nullptr)
            services::refuse(ERROR_INVALID_PARAMETER);
        return SERVICE_STATUS_HANDLE{
            services::Dispatcher::ofProcess().registerHandler(serviceName, handler)};
    });
}

BOOL SetServiceStatus(SERVICE_STATUS_HANDLE service, SERVICE_STATUS* status) {
    return services::answering(FALSE, [&] {
        if (status == nullptr)
            services::refuse(ERROR_INVALID_PARAMETER);
        services::Dispatcher::ofProcess().report(service, *status);
        return TRUE;
    });
}

}  // namespace Sorvex::platform
