// The services that run in this process.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <sys/types.h>

#include "platform/posix/services/channel.h"
#include "platform/posix/services/run_state.h"
#include "platform/posix/services/services.h"
#include "platform/posix/services/store.h"

namespace Sorvex::platform::services {

/// A service that a starter has handed to this process. It is never released, since the handle that
/// the service reports with stays valid.
struct HostedService {
    std::string name;
    std::string key;
    DWORD type = 0;
    LPHANDLER_FUNCTION handler = nullptr;
    SERVICE_STATUS status{};
    RunState state;         // of nothing once the service has reported that it is stopped
    Descriptor listener;    // belongs to the dispatcher's thread
    bool isRunning = true;  // until the stop has been dealt with
};

class Dispatcher {
public:
    static Dispatcher& ofProcess();  ///< The one of this process.

    /// Runs services until all that were started are stopped.
    void run(const SERVICE_TABLE_ENTRYA* table);

    HostedService* registerHandler(const std::string& name, LPHANDLER_FUNCTION handler);
    void report(const void* handle, SERVICE_STATUS status);

private:
    struct Connection {
        Descriptor socket;
        HostedService* service;
        TimeLimit deadline;
    };

    void connectToStarter();
    Request awaitFirstStart();
    void serveUntilStopped();
    bool waitForWork();
    bool acceptConnections();
    void serve(Connection& connection);
    void passTermination();
    Reply answer(HostedService& service, DWORD code);
    DWORD takeStart(Request& request);
    LPSERVICE_MAIN_FUNCTIONA entryFor(const Request& request) const;
    void wakeUp() const noexcept;

    // Both stay those of the start when a service gives up rights later.
    uid_t user = 0;
    std::unique_ptr<const Store> store;

    // The table and everything down to the connections belongs to the dispatcher's thread.
    std::vector<std::pair<std::string, LPSERVICE_MAIN_FUNCTIONA>> table;
    Descriptor starter;
    std::vector<Connection> connections;

    std::mutex mutex;
    bool isConnected = false;
    Descriptor wake;
    std::vector<std::unique_ptr<HostedService>> services;
};

}  // namespace Sorvex::platform::services
