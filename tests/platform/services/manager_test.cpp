// The database of services, seen through the service classes: what they hand on, every failure
// whole, and who may do what.
#include <atomic>
#include <climits>
#include <utility>

#include <sys/wait.h>
#include <unistd.h>

#include "platform/services/services_fixture.h"
#include "support/failure_assertions.h"
#include "support/odd_service.h"
#include "support/process_facts.h"

namespace Sorvex::testing {
namespace {

class ServiceManagerTest : public ServicesTest {
protected:
    static platform::DWORD openManager(const std::string& machine = "",
                                       const char* database = nullptr, unsigned long access = 0) {
        return errorOf(
            [&] { const BServiceControlManager opened(machine.c_str(), database, access); });
    }

    platform::DWORD creationError(const Installation& installation) {
        return errorOf([&] { create(installation); });
    }
};

TEST_F(ServiceManagerTest, TellsWhichCallFailedAndLeavesNothingOpen) {
    const std::string longest(255, 'd');
    create({.name = "long", .display = (longest + "d").c_str(), .startType = SERVICE_DISABLED});
    const std::size_t before = openDescriptors();
    EXPECT_FAILURE(BServiceControlManager("elsewhere.invalid"),
                   "BServiceControlManager::BServiceControlManager(): OpenSCManager() ");
    EXPECT_FAILURE(BServiceControlManager(nullptr, "base"),
                   "BServiceControlManager::BServiceControlManager(): OpenSCManager() base");
    EXPECT_FAILURE(manager.getDisplayName("long"),
                   "BServiceControlManager::getDisplayName(): GetServiceDisplayName() long");
    EXPECT_FAILURE(manager.getKeyName("missing"),
                   "BServiceControlManager::getKeyName(): GetServiceKeyName() missing");
    EXPECT_FAILURE(open("missing"), "BServiceControl::BServiceControl(): OpenService() missing");
    EXPECT_FAILURE(BServiceControl(manager, nullptr, 0),
                   "BServiceControl::BServiceControl(): OpenService() ");
    EXPECT_FAILURE(create({.name = "long"}),
                   "BServiceControl::BServiceControl(): CreateService() long");
    const auto weak = [this] { return open("long", SERVICE_START); };
    EXPECT_FAILURE(weak().stop(), "BServiceControl::control(): ControlService() ");
    EXPECT_FAILURE(weak().queryStatus(), "BServiceControl::queryStatus(): QueryServiceStatus() ");
    EXPECT_FAILURE(weak().deleteService(), "BServiceControl::deleteService(): DeleteService() ");
    EXPECT_FAILURE(weak().changeConfig("x", nullptr, 3, 16, 1, nullptr, nullptr, nullptr, ""),
                   "BServiceControl::changeConfig(): ChangeServiceConfig() ");
    EXPECT_FAILURE(weak().start(0, nullptr),
                   "BServiceControl::startService(): StartService() The service cannot be "
                   "started, either because it is disabled or because it has no enabled "
                   "devices associated with it.\r\n");
    EXPECT_EQ(change("long", longest.c_str()), 0U);
    EXPECT_EQ(manager.getDisplayName("long"), longest);
    EXPECT_EQ(openDescriptors(), before);
}

// The table of services belongs to the process, so this is one test.
TEST_F(ServiceManagerTest, AServiceNeedsAManagerThatHasStartedIt) {
    EXPECT_FAILURE(BServiceManager::start(), "BServiceManager::start(): Dispatch table is empty.");
    OddService service("a name");
    BServiceManager::add(&service, [](ServiceNumber, const char**) {});
    EXPECT_FAILURE(BServiceManager::start(),
                   "BServiceManager::start(): StartServiceCtrlDispatcher()");
    EXPECT_EQ(platform::GetLastError(), ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
    EXPECT_FAILURE(service.registerHandler([](ServiceNumber) {}),
                   "BService::registerHandler(): RegisterServiceCtrlHandler() a name");
    EXPECT_FAILURE(service.run(0, nullptr),
                   "BService::registerHandler(): SetServiceStatus() a name");
    EXPECT_FAILURE(OddService(nullptr).run(0, nullptr),
                   "BService::registerHandler(): SetServiceStatus() ");
}

TEST_F(ServiceManagerTest, KeepsWhatAServiceIsInstalledAndChangedWith) {
    const auto record = [&] {
        const std::string text = contentsOf(directory.name("database/name/configuration"));
        return text.substr(0, text.find("hash "));
    };
    BServiceControl service(manager, "Name", "Display", "binary", SERVICE_AUTO_START,
                            SERVICE_WIN32_SHARE_PROCESS, SERVICE_ERROR_SEVERE,
                            SERVICE_CHANGE_CONFIG, "group", "a\0+b\0", "someone", "secret");
    EXPECT_EQ(record(),
              "sorvex service 1\nname Name\ndisplay Display\ntype 32\nstart 2\nerror 2\n"
              "command binary\ngroup group\naccount someone\ndepends a\ndepends +b\n");
    // Numbers are taken in 32 bits, however many a host's long has.
    service.changeConfig("Shown", "C:\\bin\\false", 4, 0x10, 3, "other", "c\0", "me", "secret")
        .changeConfig(nullptr, nullptr, ULONG_MAX, ULONG_MAX, ULONG_MAX, nullptr, nullptr, nullptr,
                      nullptr);
    EXPECT_EQ(record(),
              "sorvex service 1\nname Name\ndisplay Shown\ntype 16\nstart 4\nerror 3\n"
              "command C:\\bin\\false\ngroup other\naccount me\ndepends c\n");
}

TEST_F(ServiceManagerTest, LeadsAServiceThroughAWholeCycle) {
    BServiceControl service = createServing("cycle");
    EXPECT_EQ(service.queryStatus().exitCode(), ERROR_SERVICE_NEVER_STARTED);
    char first[] = "one";
    char second[] = "two words";
    char* arguments[] = {first, second};
    EXPECT_EQ(&service.start(2, arguments), &service);
    EXPECT_TRUE(reaches("cycle", SERVICE_RUNNING));
    EXPECT_EQ(contentsOf(directory.name("log/cycle.log")),
              "argument cycle\nargument one\nargument two words\nthis is one\n");
    EXPECT_EQ(&service.pause(), &service.status());
    EXPECT_EQ(service.status().state(), SERVICE_PAUSED);
    EXPECT_EQ(service.resume().state(), SERVICE_RUNNING);
    EXPECT_EQ(service.control(128).checkPoint(), 1U);
    EXPECT_EQ(service.control(SERVICE_CONTROL_INTERROGATE).type(), SERVICE_WIN32_OWN_PROCESS);
    EXPECT_EQ(service.stop().state(), SERVICE_STOPPED);

    // Where the state is the reason for a failure, it comes with it.
    service.status().setState(0);
    EXPECT_EQ(errorOf([&] { service.stop(); }), ERROR_SERVICE_NOT_ACTIVE);
    EXPECT_EQ(service.status().state(), SERVICE_STOPPED);
}

TEST_F(ServiceManagerTest, OpensThisMachineAndTheActiveDatabaseOnly) {
    const std::string host = platform::services::hostName();
    EXPECT_EQ(openManager(host, "ServicesACTIVE"), 0U);
    EXPECT_EQ(openManager("\\\\" + host, nullptr, 0x80000000), 0U);
    EXPECT_EQ(openManager("elsewhere.invalid"), RPC_S_SERVER_UNAVAILABLE);
    EXPECT_EQ(openManager("", ""), ERROR_DATABASE_DOES_NOT_EXIST);
    EXPECT_EQ(openManager("", nullptr, 0x40), ERROR_ACCESS_DENIED);
}

TEST_F(ServiceManagerTest, EnforcesTheRightsAndKindsOfHandles) {
    create({});
    for (const unsigned long code : {0U, 5U, 11U, 127U, 256U})
        EXPECT_EQ(send("odd", code), ERROR_INVALID_PARAMETER) << code;
    const std::pair<unsigned long, unsigned long> controls[] = {
        {1, SERVICE_STOP},        {2, SERVICE_PAUSE_CONTINUE}, {3, SERVICE_PAUSE_CONTINUE},
        {4, SERVICE_INTERROGATE}, {6, SERVICE_PAUSE_CONTINUE}, {255, SERVICE_USER_DEFINED_CONTROL}};
    for (const auto& [code, right] : controls) {
        EXPECT_EQ(send("odd", code, all & ~right), ERROR_ACCESS_DENIED) << code;
        EXPECT_EQ(send("odd", code, right), ERROR_SERVICE_NOT_ACTIVE) << code;
    }
    EXPECT_EQ(errorOf([&] { open("odd", all & ~SERVICE_START).start(0, nullptr); }),
              ERROR_ACCESS_DENIED);
    const auto opened = platform::OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT);
    EXPECT_FALSE(platform::CreateServiceA(opened, "x", nullptr, 0, 16, 3, 1, "x", nullptr, nullptr,
                                          nullptr, nullptr, nullptr));
    EXPECT_EQ(platform::GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_FALSE(platform::StartServiceA(opened, 0, nullptr));
    EXPECT_EQ(platform::GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_TRUE(platform::CloseServiceHandle(opened));
    EXPECT_FALSE(platform::CloseServiceHandle(nullptr));
}

TEST_F(ServiceManagerTest, RefusesWhatNoServiceCanHave) {
    create({.name = "b", .dependencies = "a\0"});
    create({.name = "c", .dependencies = "+late\0"});
    create({.name = "d", .group = "LATE", .dependencies = "b\0"});
    const std::string tooLong(257, 'n');
    std::string tooMany;
    while (tooMany.size() <= 1 << 20)
        tooMany.append(256, 'n').push_back('\0');
    const std::pair<Installation, platform::DWORD> cases[] = {
        {{.name = ""}, ERROR_INVALID_NAME},
        {{.name = "../b"}, ERROR_INVALID_NAME},
        {{.name = "a\\b"}, ERROR_INVALID_NAME},
        {{.name = tooLong.c_str()}, ERROR_INVALID_NAME},
        {{.display = tooLong.c_str()}, ERROR_INVALID_NAME},
        {{.command = ""}, ERROR_INVALID_PARAMETER},
        {{.startType = 1}, ERROR_INVALID_PARAMETER},
        {{.startType = 5}, ERROR_INVALID_PARAMETER},
        {{.type = 1}, ERROR_INVALID_PARAMETER},
        {{.type = 0x30}, ERROR_INVALID_PARAMETER},
        {{.errorControl = 4}, ERROR_INVALID_PARAMETER},
        {{.access = 0x200}, ERROR_ACCESS_DENIED},
        {{.dependencies = "a\\b\0"}, ERROR_INVALID_PARAMETER},
        {{.dependencies = "+\0"}, ERROR_INVALID_PARAMETER},
        {{.dependencies = tooMany.c_str()}, ERROR_INVALID_PARAMETER},
        {{.dependencies = "ODD\0"}, ERROR_CIRCULAR_DEPENDENCY},
        {{.group = "own", .dependencies = "+own\0"}, ERROR_CIRCULAR_DEPENDENCY},
        {{.name = "a", .dependencies = "x\0C\0"}, ERROR_CIRCULAR_DEPENDENCY}};
    for (const auto& c : cases)
        EXPECT_EQ(creationError(c.first), c.second) << &c - cases;
}

TEST_F(ServiceManagerTest, KeepsNamesApart) {
    create({.name = "First", .display = "The first"});
    EXPECT_EQ(creationError({.name = "FIRST"}), ERROR_SERVICE_EXISTS);
    EXPECT_EQ(creationError({.display = "the FIRST"}), ERROR_DUPLICATE_SERVICE_NAME);
    EXPECT_EQ(creationError({.display = "first"}), ERROR_DUPLICATE_SERVICE_NAME);
    EXPECT_EQ(creationError({.name = "the first"}), ERROR_DUPLICATE_SERVICE_NAME);
    EXPECT_EQ(manager.getDisplayName("fIRST"), "The first");
    EXPECT_EQ(errorOf([&] { manager.getKeyName("First"); }), ERROR_SERVICE_DOES_NOT_EXIST);

    // A display name that is given up is free for others.
    create({.name = "second"});
    EXPECT_EQ(change("first", "second"), ERROR_DUPLICATE_SERVICE_NAME);
    EXPECT_EQ(change("first", "Renamed"), 0U);
    EXPECT_EQ(change("second", "The first"), 0U);
    EXPECT_EQ(manager.getKeyName("THE first"), "second");
    EXPECT_EQ(manager.getKeyName("renamed"), "First");

    for (const std::string& name :
         {std::string(255, '\xFF'), std::string(255, 'n') + "m", std::string(256, 'n'),
          std::string(".."), std::string("line\nbreak"), std::string(" ")}) {
        EXPECT_EQ(creationError({.name = name.c_str()}), 0U) << name;
        EXPECT_EQ(query(name).exitCode(), ERROR_SERVICE_NEVER_STARTED) << name;
    }
}

TEST_F(ServiceManagerTest, DeletesWithTheLastHandle) {
    {
        const BServiceControl last = create({});
        EXPECT_EQ(remove("odd"), 0U);
        EXPECT_EQ(remove("odd"), ERROR_SERVICE_MARKED_FOR_DELETE);
        EXPECT_EQ(start("odd"), ERROR_SERVICE_MARKED_FOR_DELETE);
        EXPECT_EQ(change("odd", "x"), ERROR_SERVICE_MARKED_FOR_DELETE);
        EXPECT_EQ(creationError({}), ERROR_SERVICE_MARKED_FOR_DELETE);
    }
    EXPECT_EQ(start("odd"), ERROR_SERVICE_DOES_NOT_EXIST);
    EXPECT_TRUE(std::filesystem::is_empty(directory.path() / "database/.names"));

    // Handles of a process that has died count no more.
    const pid_t holder = fork();
    if (holder == 0) {
        const BServiceControl held = create({});
        directory.file("held");
        while (pause() != 0) {}
    }
    EXPECT_TRUE(comesTrue([&] { return std::filesystem::exists(directory.path() / "held"); }));
    EXPECT_EQ(remove("odd"), 0U);
    EXPECT_EQ(creationError({}), ERROR_SERVICE_MARKED_FOR_DELETE);
    end({holder});
    waitpid(holder, nullptr, 0);
    EXPECT_EQ(creationError({.name = "other", .display = "odd"}), 0U);
    EXPECT_EQ(keptServices(), std::vector<std::string>{"other"});
}

TEST_F(ServiceManagerTest, ADamagedRecordIsAFailureForItsServiceAlone) {
    create({});
    create({.name = "broken", .display = "Broken"});
    directory.file("database/broken/configuration", "nonsense");
    // What is foreign to the database is removed with its service.
    std::filesystem::create_directories(directory.path() / "database/broken/foreign/more/still");
    directory.file("database/broken/foreign/more/file");
    EXPECT_EQ(start("broken"), ERROR_INVALID_DATA);
    EXPECT_EQ(errorOf([&] { manager.getKeyName("Broken"); }), ERROR_SERVICE_DOES_NOT_EXIST);
    EXPECT_EQ(manager.getKeyName("odd"), "odd");
    EXPECT_EQ(creationError({.name = "more", .dependencies = "broken\0"}), 0U);
    EXPECT_EQ(remove("broken"), 0U);
    EXPECT_EQ(creationError({.name = "broken", .display = "Whole"}), 0U);
    EXPECT_TRUE(std::filesystem::is_empty(directory.path() / "database/.remains"));
    // A display name whose entry is lost is still found, and still taken.
    directory.file("database/.names/whole", "");
    EXPECT_EQ(manager.getKeyName("whole"), "broken");
    EXPECT_EQ(creationError({.name = "other", .display = "Whole"}), ERROR_DUPLICATE_SERVICE_NAME);
}

TEST_F(ServiceManagerTest, GivesBackItsLocks) {
    using namespace platform::services;
    const auto lockOf = [this](const char* name) {
        return tryLock(platform::openAt(AT_FDCWD, directory.name(name).c_str(), O_RDONLY), LOCK_EX);
    };
    FileLock lock = lockOf("run");
    lock = lockOf("database");
    EXPECT_TRUE(lockOf("run"));
    EXPECT_FALSE(lockOf("database"));
    lock.release();

    // A thread that is to be ended keeps its lock to the end of the scope, and no longer.
    static const Store* store = nullptr;
    static std::atomic<bool> isLocked;
    const Store opened;
    store = &opened;
    isLocked = false;
    const auto hold = [](void*) -> unsigned long {
        const auto exclusive = store->database().lock(LOCK_EX);
        isLocked = true;
        usleep(50000);
        return 0;
    };
    platform::DWORD id = 0;
    const auto thread = platform::CreateThread(nullptr, 0, hold, nullptr, 0, &id);
    EXPECT_TRUE(comesTrue([] { return isLocked.load(); }));
    EXPECT_TRUE(platform::TerminateThread(thread, 9));
    platform::WaitForSingleObject(thread, generousMilliseconds);
    EXPECT_TRUE(lockOf("database"));
    platform::CloseHandle(thread);
}

TEST_F(ServiceManagerTest, KeepsEverythingPrivateAndRefusesPlacesThatAreNot) {
    namespace fs = std::filesystem;
    create({});
    for (const auto& entry : fs::recursive_directory_iterator(directory.path()))
        EXPECT_EQ(entry.status().permissions() & fs::perms(077), fs::perms::none) << entry.path();

    const fs::path run = directory.path() / "run";
    fs::rename(run, directory.path() / "moved");
    fs::create_directory_symlink(directory.path() / "moved", run);
    EXPECT_EQ(openManager(), ERROR_ACCESS_DENIED);
    fs::remove(run);
    EXPECT_EQ(openManager(), 0U);
    fs::permissions(run, fs::perms(0710));
    EXPECT_EQ(openManager(), ERROR_ACCESS_DENIED);
    fs::permissions(run, fs::perms(0700));
    if (geteuid() == 0) {
        EXPECT_EQ(chown(directory.name("run/services").c_str(), 65534, 65534), 0);
        EXPECT_EQ(openManager(), ERROR_ACCESS_DENIED);
    }
    servicePlaces().directory += "/none";
    EXPECT_EQ(openManager(), ERROR_PATH_NOT_FOUND);
}

}  // namespace
}  // namespace Sorvex::testing
