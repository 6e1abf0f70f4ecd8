#include <string>
#include <vector>

#include <poll.h>

#include <sorvex/service_record.h>

#include "platform/posix/services/channel.h"
#include "platform/posix/services/control_codes.h"
#include "platform/posix/services/dependencies.h"
#include "platform/posix/services/handle_objects.h"
#include "platform/posix/services/launch.h"
#include "platform/posix/services/private_files.h"
#include "platform/posix/services/refusal.h"
#include "platform/posix/services/services.h"
#include "platform/posix/services/start.h"

namespace Sorvex::platform {

namespace services {

namespace {

constexpr int pauseBetweenLooks = 2;  // ms

// Nobody has told the type of a service that has never been started.
Observation look(const ServiceHandle& handle) {
    Observation found = handle.store->observe(handle.service.key);
    if (found.isUnderstood && found.status.dwServiceType == 0)
        found.status.dwServiceType = handle.service.entry.configuration().type;
    return found;
}

// Asks the process of the service. One that has gone in the meantime has stopped, even if the
// service has been started again since.
Reply ask(const ServiceHandle& handle, const Observation& asked, DWORD code) {
    const TimeLimit limit(responseLimit());
    const Descriptor directory =
        openPrivateDirectory(handle.store->runtime(), handle.service.key.c_str());
    // Watched before it is asked: a process that dies later is noticed even if a child of its keeps
    // the connection open.
    const Descriptor end = watchProcess(asked);
    const Descriptor connection =
        directory ? connectTo(directory.get(), controlSocket, limit) : Descriptor();
    Request request;
    request.number = code;
    if (connection && send(connection.get(), request)) {
        const Answer answer = awaitReply(connection.get(), end.get(), limit);
        if (answer.reply)
            return *answer.reply;
        if (answer.isTimedOut)
            refuse(ERROR_SERVICE_REQUEST_TIMEOUT);
    }
    // A dying process loses its connections a moment before its lock, and nobody tells when a lock
    // is given back (flock), so it is looked at again and again.
    for (;;) {
        const Observation now = look(handle);
        if (!now.isActive)
            return {ERROR_SERVICE_NOT_ACTIVE, now.status};
        if (now.started != asked.started)
            return {ERROR_SERVICE_NOT_ACTIVE, stoppedStatus(asked.status.dwServiceType, 0)};
        if (limit.isOver())
            refuse(ERROR_SERVICE_REQUEST_TIMEOUT);
        poll(nullptr, 0, pauseBetweenLooks);
    }
}

Reply control(const ServiceHandle& handle, DWORD code) {
    const Observation found = look(handle);
    // What the record says is answered without the process, which may hang. Of one that isn't
    // understood the service itself knows more.
    if (found.isUnderstood)
        if (const DWORD error = refusalOf(found.status, code); error != ERROR_SUCCESS)
            return {error, found.status};
    if (code == SERVICE_CONTROL_STOP && hasActiveDependents(*handle.store, handle.service.key))
        refuse(ERROR_DEPENDENT_SERVICES_RUNNING);
    return ask(handle, found, code);
}

bool tellsStatus(DWORD error) noexcept {
    return error == ERROR_SUCCESS || error == ERROR_INVALID_SERVICE_CONTROL ||
           error == ERROR_SERVICE_CANNOT_ACCEPT_CTRL || error == ERROR_SERVICE_NOT_ACTIVE;
}

}  // namespace

}  // namespace services

BOOL QueryServiceStatus(SC_HANDLE service, SERVICE_STATUS* status) {
    return services::answering(FALSE, [&] {
        if (status == nullptr)
            services::refuse(ERROR_INVALID_PARAMETER);
        const auto found = services::look(services::serviceBehind(service, SERVICE_QUERY_STATUS));
        // It runs, and its record is damaged or another machine's.
        if (!found.isUnderstood)
            services::refuse(ERROR_INVALID_DATA);
        *status = found.status;
        return TRUE;
    });
}

BOOL ControlService(SC_HANDLE service, DWORD code, SERVICE_STATUS* status) {
    return services::answering(FALSE, [&] {
        if (status == nullptr)
            services::refuse(ERROR_INVALID_PARAMETER);
        const auto& handle = services::serviceBehind(service, services::accessForControl(code));
        const services::Reply reply = services::control(handle, code);
        if (services::tellsStatus(reply.error))
            *status = reply.status;
        if (reply.error != ERROR_SUCCESS)
            services::refuse(reply.error);
        return TRUE;
    });
}

BOOL StartServiceA(SC_HANDLE service, DWORD count, const char** arguments) {
    return services::answering(FALSE, [&] {
        const auto& handle = services::serviceBehind(service, SERVICE_START);
        if (count > 0 && arguments == nullptr)
            services::refuse(ERROR_INVALID_PARAMETER);
        std::vector<std::string> texts;
        for (DWORD index = 0; index < count; ++index) {
            if (arguments[index] == nullptr)
                services::refuse(ERROR_INVALID_PARAMETER);
            texts.emplace_back(arguments[index]);
        }
        services::Starter(*handle.store).start(handle.service, texts);
        return TRUE;
    });
}

}  // namespace Sorvex::platform
