// Services of the operating system: running as one, and controlling others.
//
// All failures are thrown as std::runtime_error; the texts are told at the members. The numbers
// that stand in a status, a type, a start type or an access mask are the platform's own
// (sorvex/service_record.h).
#ifndef SORVEX_SERVICES_H
#define SORVEX_SERVICES_H

#include <cstdint>
#include <string>

#include <sorvex/export.h>
#include <sorvex/service_record.h>

namespace Sorvex {

/// The status of a service: the platform's record of seven numbers, none of which is checked.
///
/// Setters return the object, so that a status is filled in one chained expression. It is a plain
/// value without a lock.
class SORVEX_API BServiceStatus {
public:
    BServiceStatus() noexcept;                                 ///< All seven fields are 0.
    BServiceStatus(const _SERVICE_STATUS& source) noexcept;    ///< A copy of the record.
    BServiceStatus(const BServiceStatus&) noexcept = default;  ///< A copy of the seven fields.
    /// Takes the fields over.
    BServiceStatus& operator=(const BServiceStatus&) noexcept = default;
    ~BServiceStatus() = default;

    /// The record itself, for the platform, which may write through the pointer. It lives as long
    /// as the object.
    operator _SERVICE_STATUS*() noexcept;

    /// What kind of service it is: 0x10 alone in its process, 0x20 one of several.
    std::uint32_t type() const noexcept;
    BServiceStatus& setType(std::uint32_t type) noexcept;  ///< Sets the type.

    /// 1 stopped, 2 starting, 3 stopping, 4 running, 5 resuming, 6 pausing, 7 paused.
    std::uint32_t state() const noexcept;
    BServiceStatus& setState(std::uint32_t state) noexcept;  ///< Sets the state.

    /// The controls that the service takes, as bits: 1 stop, 2 pause and resume, 4 shutdown.
    std::uint32_t controlsAccepted() const noexcept;
    BServiceStatus& acceptControls(std::uint32_t controls) noexcept;  ///< Sets the controls.

    /// Why the service stopped or failed to start: an error number of the platform, 0 for none,
    /// 1066 when specificExitCode tells it.
    std::uint32_t exitCode() const noexcept;
    BServiceStatus& setExitCode(std::uint32_t code) noexcept;  ///< Sets the exit code.
    std::uint32_t specificExitCode() const noexcept;  ///< An error number of the service's own.
    BServiceStatus& setSpecificExitCode(std::uint32_t code) noexcept;  ///< Sets that number.

    /// Grows while a lengthy start, stop, pause or resume makes progress.
    std::uint32_t checkPoint() const noexcept;
    BServiceStatus& setCheckPoint(std::uint32_t checkPoint) noexcept;  ///< Sets the check point.
    BServiceStatus& incCheckPoint() noexcept;  ///< Adds 1 to the check point, wrapping at 32 bits.

    /// How many milliseconds a pending step may take until the next report.
    std::uint32_t waitHint() const noexcept;
    BServiceStatus& setWaitHint(std::uint32_t milliseconds) noexcept;  ///< Sets the wait hint.

private:
    _SERVICE_STATUS record;
};

/// One service, seen from inside its own process. To be derived from.
///
/// An application hands each of its services to BServiceManager::add and then calls
/// BServiceManager::start. In its entry point a service calls registerHandler, and it reports its
/// state by changing status() and calling refreshStatus. Entry point and handler are plain
/// functions, so a derived class needs static ones and its own way from there to the object.
///
/// Nothing here is locked: a service that changes its status from several threads, such as that of
/// its entry point and the one that its handler is called on, takes care of that itself.
class SORVEX_API BService {
public:
    /// A function that takes one control code. The platform calls it on the thread that stays in
    /// BServiceManager::start.
    using ControlHandler = void(SORVEX_CALL*)(ServiceNumber code);

    /// @param name the name that the service is registered under; null is an empty name
    explicit BService(const char* name);

    virtual ~BService();  ///< Deregisters nothing.

    BService(const BService&) = delete;
    BService& operator=(const BService&) = delete;

    /// The body of the service, for its entry point to call with what it was given. The library
    /// never calls it.
    virtual void run(std::uint32_t count, const char** arguments) = 0;

    /// Takes one control request, for its handler to call. The library never calls it.
    virtual void control(std::uint32_t code) = 0;

    /// Registers the function that takes the controls of this service. To be called from the
    /// service's entry point, before the first refreshStatus.
    ///
    /// @throws std::runtime_error "BService::registerHandler(): RegisterServiceCtrlHandler() " and
    ///     the name; the service then counts as not registered
    BService& registerHandler(ControlHandler handler);

    /// The name given to the constructor.
    const std::string& name() const noexcept { return serviceName; }

protected:
    /// Reports the status to the platform. A service that has reported that it is stopped can
    /// report nothing more.
    ///
    /// @throws std::runtime_error "BService::registerHandler(): SetServiceStatus() " and the name,
    ///     also when nothing has been registered
    BService& refreshStatus();

    /// The status to report next. It is all 0 at the start and changed by nothing but the derived
    /// class.
    BServiceStatus& status() noexcept { return serviceStatus; }

private:
    std::string serviceName;
    void* statusHandle = nullptr;
    BServiceStatus serviceStatus;
};

/// The services of this process: a table of them, and the call that runs them.
///
/// The table only grows and lives as long as the process. Nothing is locked: all calls of add come
/// before start, from one thread.
class SORVEX_API BServiceManager {
public:
    /// The entry point of a service: a count of arguments and the arguments, the first of which is
    /// the service's name. The platform calls it on a thread of the service's own.
    using ServiceEntry = void(SORVEX_CALL*)(ServiceNumber count, const char** arguments);

    /// Appends a service to the table. Its name is copied, so the object isn't needed afterwards.
    /// Names are not compared.
    static void add(BService* service, ServiceEntry entry);

    /// Runs the services of the table, and returns when all that were started have reported that
    /// they are stopped. It fails at once in a process that the service manager didn't start.
    ///
    /// @throws std::runtime_error "BServiceManager::start(): Dispatch table is empty."
    /// @throws std::runtime_error "BServiceManager::start(): StartServiceCtrlDispatcher()"
    static void start();

private:
    // Laid out as the platform's entry, since the platform reads the array directly.
    struct DispatchTblEntry {
        char* name;
        ServiceEntry proc;
    };

    static DispatchTblEntry* dispatchTable;
    static std::uint32_t dispatchTableSize;  // the null entry at the end included
};

/// A connection to the manager of all services of this machine.
class SORVEX_API BServiceControlManager {
public:
    /// @param machineName null for this machine
    /// @param databaseName null for the database of active services
    /// @param access what will be done through it; the default is everything
    /// @throws std::runtime_error "BServiceControlManager::BServiceControlManager():
    ///     OpenSCManager() " and the database name; nothing behind it when that is null
    explicit BServiceControlManager(const char* machineName = nullptr,
                                    const char* databaseName = nullptr,
                                    unsigned long access = 0xF003F);
    ~BServiceControlManager();

    BServiceControlManager(const BServiceControlManager&) = delete;
    BServiceControlManager& operator=(const BServiceControlManager&) = delete;

    /// The name that a service is shown under, for the one it is registered under.
    ///
    /// @throws std::runtime_error "BServiceControlManager::getDisplayName():
    ///     GetServiceDisplayName() " and the key name, also for a result of more than 255
    ///     characters
    std::string getDisplayName(const char* keyName);

    /// The name that a service is registered under, for the one it is shown under.
    ///
    /// @throws std::runtime_error "BServiceControlManager::getKeyName(): GetServiceKeyName() " and
    ///     the display name, also for a result of more than 255 characters
    std::string getKeyName(const char* displayName);

protected:
    /// The platform's handle.
    void* handle() const noexcept { return managerHandle; }

private:
    friend class BServiceControl;
    void* managerHandle = nullptr;
};

/// One service, seen from any program that controls it.
///
/// An object owns a handle and serves one thread at a time. The service itself lives on when the
/// handle is closed.
class SORVEX_API BServiceControl {
public:
    /// Opens a service that exists.
    ///
    /// @param access what will be done through this object, as bits of the platform
    /// @throws std::runtime_error "BServiceControl::BServiceControl(): OpenService() " and the name
    BServiceControl(BServiceControlManager& manager, const char* serviceName, unsigned long access);

    /// Installs a service and opens it.
    ///
    /// @param displayName null for the same as the name
    /// @param binaryPathName the command line of the program; a program name with blanks stands in
    ///     double quotes
    /// @param startType 2 automatic, 3 on demand, 4 disabled
    /// @param serviceType 0x10 alone in its process, 0x20 together with others of the same program
    /// @param errorControl 0 to 3, from ignoring a failed start to taking it as critical
    /// @param loadOrderGroup the group that it belongs to, or null
    /// @param dependencies names of services, and of groups behind a plus sign, that have to run
    ///     first: each ends with a NUL, the list with one more. Null for none.
    /// @param serviceStartName the account that it runs under; null for the system's own
    /// @param password of that account, or null
    /// @throws std::runtime_error "BServiceControl::BServiceControl(): CreateService() " and the
    ///     name
    BServiceControl(BServiceControlManager& manager, const char* serviceName,
                    const char* displayName, const char* binaryPathName, unsigned long startType,
                    unsigned long serviceType, unsigned long errorControl, unsigned long access,
                    const char* loadOrderGroup, const char* dependencies,
                    const char* serviceStartName, const char* password);

    ~BServiceControl();

    BServiceControl(const BServiceControl&) = delete;
    BServiceControl& operator=(const BServiceControl&) = delete;

    /// Marks the service for deletion. It goes when it is stopped and the last handle on it is
    /// closed, this object's included.
    ///
    /// @throws std::runtime_error "BServiceControl::deleteService(): DeleteService() "
    BServiceControl& deleteService();

    /// Starts the service. When it returns, the program runs and the service's entry point has been
    /// called; the service may still be starting.
    ///
    /// @param argc how many arguments there are
    /// @param argv what the entry point is given behind the service's name
    /// @throws std::runtime_error "BServiceControl::startService(): StartService() " and the
    ///     system's text for the error
    BServiceControl& start(unsigned long argc, char** argv);

    /// Sends a control code to the service and receives the status after its handler has run.
    ///
    /// @param code 1 stop, 2 pause, 3 resume, 4 report the status, 128 to 255 of the service's own
    /// @return the same object as status()
    /// @throws std::runtime_error "BServiceControl::control(): ControlService() "
    BServiceStatus& control(unsigned long code);

    BServiceStatus& stop();    ///< control(1).
    BServiceStatus& pause();   ///< control(2).
    BServiceStatus& resume();  ///< control(3).

    /// Receives the status of the service, without waiting for it.
    ///
    /// @return the same object as status()
    /// @throws std::runtime_error "BServiceControl::queryStatus(): QueryServiceStatus() "
    BServiceStatus& queryStatus();

    /// Changes what the service was installed with. Null leaves a text as it is, 0xFFFFFFFF a
    /// number; the arguments are those of the constructor.
    ///
    /// @throws std::runtime_error "BServiceControl::changeConfig(): ChangeServiceConfig() "
    BServiceControl& changeConfig(const char* displayName, const char* binaryPathName,
                                  unsigned long startType, unsigned long serviceType,
                                  unsigned long errorControl, const char* loadOrderGroup,
                                  const char* dependencies, const char* serviceStartName,
                                  const char* password);

    /// The status last received, without asking; all 0 before the first.
    BServiceStatus& status() noexcept { return serviceStatus; }

private:
    void* handle() const noexcept { return serviceHandle; }

    BServiceStatus serviceStatus;
    void* serviceHandle = nullptr;
};

}  // namespace Sorvex

#endif
