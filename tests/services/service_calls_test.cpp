// What the service classes ask of the platform and what they make of its answers. The platform's
// operations are those below.
#include <cstring>
#include <sstream>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <sorvex/services.h>

#include "platform/platform.h"
#include "support/failure_assertions.h"

namespace {

// The calls since the last look, one a line, and whether they succeed.
std::string& calls() {
    static std::string text;
    return text;
}

bool succeeds = true;
int handleTarget = 0;
Sorvex::platform::HANDLE const someHandle = &handleTarget;

std::string taken() {
    return std::exchange(calls(), {});
}

void show(std::ostream& stream, const char* text) {
    stream << (text == nullptr ? "null" : text);
}

void show(std::ostream& stream, const void* pointer) {
    stream << (pointer == nullptr ? "null" : pointer == someHandle ? "handle" : "pointer");
}

void show(std::ostream& stream, Sorvex::platform::DWORD number) {
    stream << std::hex << number;
}

template <typename... Arguments>
bool called(const char* name, Arguments... arguments) {
    std::ostringstream line;
    line << name;
    ((line << ' ', show(line, arguments)), ...);
    calls() += line.str() + "\n";
    return succeeds;
}

}  // namespace

namespace Sorvex::platform {

SC_HANDLE OpenSCManagerA(const char* machineName, const char* databaseName, DWORD access) {
    return called("OpenSCManager", machineName, databaseName, access) ? someHandle : nullptr;
}

BOOL CloseServiceHandle(SC_HANDLE handle) {
    return called("Close", handle);
}

BOOL GetServiceDisplayNameA(SC_HANDLE manager, const char* serviceName, char* buffer, DWORD* size) {
    std::memset(buffer, 'd', *size - 1);
    buffer[*size - 1] = '\0';
    return called("GetServiceDisplayName", manager, serviceName, *size);
}

BOOL GetServiceKeyNameA(SC_HANDLE manager, const char* displayName, char* buffer, DWORD* size) {
    std::memcpy(buffer, "key", 4);
    return called("GetServiceKeyName", manager, displayName, *size);
}

SC_HANDLE OpenServiceA(SC_HANDLE manager, const char* serviceName, DWORD access) {
    return called("OpenService", manager, serviceName, access) ? someHandle : nullptr;
}

SC_HANDLE CreateServiceA(SC_HANDLE manager, const char* serviceName, const char* displayName,
                         DWORD access, DWORD serviceType, DWORD startType, DWORD errorControl,
                         const char* binaryPathName, const char* loadOrderGroup, DWORD* tag,
                         const char* dependencies, const char* serviceStartName,
                         const char* password) {
    const bool isCreated =
        called("CreateService", manager, serviceName, displayName, access, serviceType, startType,
               errorControl, binaryPathName, loadOrderGroup, static_cast<const void*>(tag),
               dependencies, serviceStartName, password);
    return isCreated ? someHandle : nullptr;
}

BOOL DeleteService(SC_HANDLE service) {
    return called("DeleteService", service);
}

BOOL StartServiceA(SC_HANDLE service, DWORD count, const char** arguments) {
    SetLastError(ERROR_SERVICE_DISABLED);
    return called("StartService", service, count, count == 0 ? "none" : arguments[count - 1]);
}

BOOL ControlService(SC_HANDLE service, DWORD code, SERVICE_STATUS* status) {
    status->dwCurrentState = code + 100;
    return called("ControlService", service, code);
}

BOOL QueryServiceStatus(SC_HANDLE service, SERVICE_STATUS* status) {
    status->dwCurrentState = 99;
    return called("QueryServiceStatus", service);
}

BOOL ChangeServiceConfigA(SC_HANDLE service, DWORD serviceType, DWORD startType, DWORD errorControl,
                          const char* binaryPathName, const char* loadOrderGroup, DWORD* tag,
                          const char* dependencies, const char* serviceStartName,
                          const char* password, const char* displayName) {
    return called("ChangeServiceConfig", service, serviceType, startType, errorControl,
                  binaryPathName, loadOrderGroup, static_cast<const void*>(tag), dependencies,
                  serviceStartName, password, displayName);
}

SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerA(const char* serviceName,
                                                  LPHANDLER_FUNCTION handler) {
    return called("RegisterServiceCtrlHandler", serviceName,
                  handler == nullptr ? "null" : "handler")
               ? someHandle
               : nullptr;
}

BOOL SetServiceStatus(SERVICE_STATUS_HANDLE service, SERVICE_STATUS* status) {
    return called("SetServiceStatus", service, status->dwCurrentState);
}

BOOL StartServiceCtrlDispatcherA(const SERVICE_TABLE_ENTRYA* table) {
    for (; table->lpServiceName != nullptr; ++table) {
        called("entry", static_cast<const char*>(table->lpServiceName));
        table->lpServiceProc(7, nullptr);
    }
    called("end", table->lpServiceProc == nullptr ? "null" : "entry");
    return succeeds;
}

}  // namespace Sorvex::platform

namespace Sorvex {
namespace {

class TestService : public BService {
public:
    using BService::BService;
    using BService::refreshStatus;
    using BService::status;

    void run(std::uint32_t /*count*/, const char** /*arguments*/) override {}
    void control(std::uint32_t /*code*/) override {}
};

void handle(ServiceNumber /*code*/) {}

template <char mark>
void enter(ServiceNumber count, const char** /*arguments*/) {
    calls() += std::string("ran ") + mark + " " + std::to_string(count) + "\n";
}

class ServiceCallsTest : public ::testing::Test {
protected:
    ServiceCallsTest() { taken(); }
    ~ServiceCallsTest() override { succeeds = true; }
};

TEST_F(ServiceCallsTest, AManagerAsksForEverythingByDefault) {
    {
        const BServiceControlManager manager;
        EXPECT_EQ(taken(), "OpenSCManager null null f003f\n");
    }
    EXPECT_EQ(taken(), "Close handle\n");
    succeeds = false;
    EXPECT_FAILURE(BServiceControlManager(),
                   "BServiceControlManager::BServiceControlManager(): OpenSCManager() ");
    EXPECT_FAILURE(BServiceControlManager("machine", "base", 1),
                   "BServiceControlManager::BServiceControlManager(): OpenSCManager() base");
    EXPECT_EQ(taken(), "OpenSCManager null null f003f\nOpenSCManager machine base 1\n");
}

TEST_F(ServiceCallsTest, AManagerGivesNamesThroughABufferOf256Bytes) {
    BServiceControlManager manager;
    taken();
    EXPECT_EQ(manager.getDisplayName("k"), std::string(255, 'd'));
    EXPECT_EQ(manager.getKeyName("d"), "key");
    EXPECT_EQ(taken(), "GetServiceDisplayName handle k 100\nGetServiceKeyName handle d 100\n");
    succeeds = false;
    EXPECT_FAILURE(manager.getDisplayName("k"),
                   "BServiceControlManager::getDisplayName(): GetServiceDisplayName() k");
    EXPECT_FAILURE(manager.getKeyName("d"),
                   "BServiceControlManager::getKeyName(): GetServiceKeyName() d");
}

TEST_F(ServiceCallsTest, AServiceIsOpenedAndClosed) {
    BServiceControlManager manager;
    taken();
    {
        BServiceControl service(manager, "name", 5);
        EXPECT_EQ(service.status().state(), 0U);
    }
    EXPECT_EQ(taken(), "OpenService handle name 5\nClose handle\n");
    succeeds = false;
    EXPECT_FAILURE(BServiceControl(manager, "name", 5),
                   "BServiceControl::BServiceControl(): OpenService() name");
    EXPECT_EQ(taken(), "OpenService handle name 5\n");
}

TEST_F(ServiceCallsTest, AServiceIsCreatedInThePlatformsOrder) {
    BServiceControlManager manager;
    taken();
    const auto create = [&] {
        return BServiceControl(manager, "name", "display", "binary", 1, 2, 3, 4, "group", "depends",
                               "account", "password")
            .status()
            .state();
    };
    EXPECT_EQ(create(), 0U);
    EXPECT_EQ(taken(),
              "CreateService handle name display 4 2 1 3 binary group null depends account "
              "password\nClose handle\n");
    succeeds = false;
    EXPECT_FAILURE(create(), "BServiceControl::BServiceControl(): CreateService() name");
}

TEST_F(ServiceCallsTest, AServiceIsChangedInThePlatformsOrder) {
    BServiceControlManager manager;
    BServiceControl service(manager, "name", 0);
    taken();
    EXPECT_EQ(&service.changeConfig("display", "binary", 1, 2, 3, "group", "depends", "account",
                                    "password"),
              &service);
    EXPECT_EQ(taken(),
              "ChangeServiceConfig handle 2 1 3 binary group null depends account password "
              "display\n");
    service.changeConfig(nullptr, nullptr, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, nullptr, nullptr,
                         nullptr, nullptr);
    EXPECT_EQ(taken(),
              "ChangeServiceConfig handle ffffffff ffffffff ffffffff null null null null null null "
              "null\n");
    succeeds = false;
    EXPECT_FAILURE(
        service.changeConfig(nullptr, nullptr, 0, 0, 0, nullptr, nullptr, nullptr, nullptr),
        "BServiceControl::changeConfig(): ChangeServiceConfig() ");
}

TEST_F(ServiceCallsTest, AServiceIsControlledAndAsked) {
    BServiceControlManager manager;
    BServiceControl service(manager, "name", 0);
    taken();
    EXPECT_EQ(&service.stop(), &service.status());
    EXPECT_EQ(service.status().state(), 101U);
    EXPECT_EQ(service.pause().state(), 102U);
    EXPECT_EQ(service.resume().state(), 103U);
    EXPECT_EQ(&service.control(200), &service.status());
    EXPECT_EQ(&service.queryStatus(), &service.status());
    EXPECT_EQ(service.status().state(), 99U);
    EXPECT_EQ(taken(),
              "ControlService handle 1\nControlService handle 2\nControlService handle 3\n"
              "ControlService handle c8\nQueryServiceStatus handle\n");
    succeeds = false;
    EXPECT_FAILURE(service.pause(), "BServiceControl::control(): ControlService() ");
    EXPECT_EQ(service.status().state(), 102U);
    EXPECT_FAILURE(service.queryStatus(), "BServiceControl::queryStatus(): QueryServiceStatus() ");
}

TEST_F(ServiceCallsTest, AServiceIsStartedAndDeleted) {
    BServiceControlManager manager;
    BServiceControl service(manager, "name", 0);
    taken();
    char first[] = "first";
    char last[] = "last";
    char* arguments[] = {first, last};
    EXPECT_EQ(&service.start(2, arguments), &service);
    EXPECT_EQ(&service.start(0, nullptr).deleteService(), &service);
    EXPECT_EQ(taken(),
              "StartService handle 2 last\nStartService handle 0 none\nDeleteService handle\n");
    succeeds = false;
    EXPECT_FAILURE(service.start(0, nullptr),
                   "BServiceControl::startService(): StartService() The service cannot be started, "
                   "either because it is disabled or because it has no enabled devices associated "
                   "with it.\r\n");
    EXPECT_FAILURE(service.deleteService(), "BServiceControl::deleteService(): DeleteService() ");
}

TEST_F(ServiceCallsTest, AServiceRegistersAndReports) {
    TestService service("a name");
    service.status().setState(4);
    EXPECT_EQ(&service.registerHandler(handle), &service);
    EXPECT_EQ(&service.refreshStatus(), &service);
    EXPECT_EQ(taken(), "RegisterServiceCtrlHandler a name handler\nSetServiceStatus handle 4\n");

    succeeds = false;
    EXPECT_FAILURE(service.refreshStatus(),
                   "BService::registerHandler(): SetServiceStatus() a name");
    EXPECT_FAILURE(service.registerHandler(handle),
                   "BService::registerHandler(): RegisterServiceCtrlHandler() a name");
    taken();
    EXPECT_FAILURE(service.refreshStatus(),
                   "BService::registerHandler(): SetServiceStatus() a name");
    EXPECT_EQ(taken(), "SetServiceStatus null 4\n");
}

// The table belongs to the process and only grows, so this is one test.
TEST_F(ServiceCallsTest, TheTableOfServicesGrowsInOrder) {
    EXPECT_FAILURE(BServiceManager::start(), "BServiceManager::start(): Dispatch table is empty.");
    EXPECT_EQ(taken(), "");
    {
        TestService service("first one");
        BServiceManager::add(&service, enter<'a'>);
    }
    BServiceManager::start();
    EXPECT_EQ(taken(), "entry first one\nran a 7\nend null\n");

    TestService same("first one");
    TestService empty("");
    BServiceManager::add(&same, enter<'b'>);
    BServiceManager::add(&empty, enter<'c'>);
    succeeds = false;
    EXPECT_FAILURE(BServiceManager::start(),
                   "BServiceManager::start(): StartServiceCtrlDispatcher()");
    EXPECT_EQ(taken(),
              "entry first one\nran a 7\nentry first one\nran b 7\nentry \nran c 7\nend null\n");
}

}  // namespace
}  // namespace Sorvex
