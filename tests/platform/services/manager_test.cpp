// The database of services, seen through the operations of the platform.
#include <fstream>
#include <string>

#include <sys/stat.h>

#include "platform/services/services_fixture.h"
#include "support/process_facts.h"

namespace Sorvex::testing {
namespace {

constexpr platform::DWORD deleteRight = 0x10000;

class ServiceManagerTest : public ServicesTest {
protected:
    static platform::DWORD openManager(const char* machine, const char* database,
                                       platform::DWORD access = SC_MANAGER_CONNECT) {
        return errorOf(OwnedHandle(platform::OpenSCManagerA(machine, database, access)) != nullptr);
    }

    // Creates a service with one thing out of the ordinary.
    struct Creation {
        const char* name = "odd";
        const char* display = nullptr;
        platform::DWORD access = SERVICE_ALL_ACCESS;
        platform::DWORD type = SERVICE_WIN32_OWN_PROCESS;
        platform::DWORD startType = SERVICE_DEMAND_START;
        platform::DWORD errorControl = SERVICE_ERROR_NORMAL;
        const char* command = "/bin/true";
        const char* dependencies = nullptr;
    };

    static platform::DWORD creationError(const Creation& creation) {
        return errorOf(
            OwnedHandle(platform::CreateServiceA(
                manager(), creation.name, creation.display, creation.access, creation.type,
                creation.startType, creation.errorControl, creation.command, nullptr, nullptr,
                creation.dependencies, nullptr, "secret")) != nullptr);
    }

    static platform::DWORD remove(const std::string& name) {
        return errorOf(platform::DeleteService(open(name)));
    }

    static platform::DWORD openError(const std::string& name,
                                     platform::DWORD access = SERVICE_ALL_ACCESS) {
        return errorOf(open(name, access) != nullptr);
    }

    std::string entryFile(const std::string& key) const {
        return directory.name("database/" + key + "/configuration");
    }
};

TEST_F(ServiceManagerTest, OpensThisMachineAndTheActiveDatabaseOnly) {
    char host[256] = {};
    ASSERT_EQ(gethostname(host, sizeof host - 1), 0);
    const std::string remote = std::string("\\\\") + host;
    EXPECT_EQ(openManager(nullptr, nullptr), 0U);
    EXPECT_EQ(openManager("", "ServicesActive"), 0U);
    EXPECT_EQ(openManager(host, "SERVICESACTIVE"), 0U);
    EXPECT_EQ(openManager(remote.c_str(), nullptr), 0U);
    EXPECT_EQ(openManager("elsewhere.invalid", nullptr), RPC_S_SERVER_UNAVAILABLE);
    EXPECT_EQ(openManager(nullptr, "ServicesFailed"), ERROR_DATABASE_DOES_NOT_EXIST);
    EXPECT_EQ(openManager(nullptr, ""), ERROR_DATABASE_DOES_NOT_EXIST);
    EXPECT_EQ(openManager(nullptr, nullptr, 0x80000000), 0U);
    EXPECT_EQ(openManager(nullptr, nullptr, 0x40), ERROR_ACCESS_DENIED);
}

TEST_F(ServiceManagerTest, EnforcesTheRightsOfHandles) {
    const OwnedHandle service = create("guarded", "/bin/true");
    EXPECT_EQ(errorOf(platform::CreateServiceA(
                  manager(SC_MANAGER_CONNECT), "other", nullptr, SERVICE_ALL_ACCESS,
                  SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                  "/bin/true", nullptr, nullptr, nullptr, nullptr, nullptr)),
              ERROR_ACCESS_DENIED);
    EXPECT_EQ(openError("guarded", 0x200), ERROR_ACCESS_DENIED);

    const platform::DWORD all = SERVICE_ALL_ACCESS;
    platform::SERVICE_STATUS status{};
    EXPECT_EQ(start(open("guarded", all & ~SERVICE_START)), ERROR_ACCESS_DENIED);
    EXPECT_EQ(errorOf(platform::QueryServiceStatus(open("guarded", all & ~SERVICE_QUERY_STATUS),
                                                   &status)),
              ERROR_ACCESS_DENIED);
    EXPECT_EQ(rename(open("guarded", all & ~SERVICE_CHANGE_CONFIG), "x"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(errorOf(platform::DeleteService(open("guarded", all & ~deleteRight))),
              ERROR_ACCESS_DENIED);
    const struct {
        platform::DWORD code;
        platform::DWORD right;
    } controls[] = {{1, SERVICE_STOP},           {2, SERVICE_PAUSE_CONTINUE},
                    {3, SERVICE_PAUSE_CONTINUE}, {4, SERVICE_INTERROGATE},
                    {6, SERVICE_PAUSE_CONTINUE}, {255, SERVICE_USER_DEFINED_CONTROL}};
    for (const auto& control : controls) {
        SCOPED_TRACE(control.code);
        EXPECT_EQ(send(open("guarded", all & ~control.right), control.code), ERROR_ACCESS_DENIED);
        EXPECT_EQ(send(open("guarded", control.right), control.code), ERROR_SERVICE_NOT_ACTIVE);
    }
    for (const platform::DWORD code : {0U, 5U, 11U, 127U, 256U})
        EXPECT_EQ(send(service, code), ERROR_INVALID_PARAMETER) << code;
}

TEST_F(ServiceManagerTest, TellsHandlesApart) {
    const OwnedHandle service = create("one", "/bin/true");
    const OwnedHandle opened = manager();
    EXPECT_EQ(start(opened), ERROR_INVALID_HANDLE);
    EXPECT_EQ(start(nullptr), ERROR_INVALID_HANDLE);
    EXPECT_EQ(errorOf(platform::OpenServiceA(service, "one", SERVICE_ALL_ACCESS)),
              ERROR_INVALID_HANDLE);
    EXPECT_EQ(errorOf(platform::CloseServiceHandle(nullptr)), ERROR_INVALID_HANDLE);
}

TEST_F(ServiceManagerTest, RefusesWhatNoServiceCanHave) {
    const std::string tooLong(257, 'n');
    const std::string longest(256, 'd');
    const char slash[] = {'a', '/', 'b', '\0'};
    const struct {
        Creation creation;
        platform::DWORD error;
    } cases[] = {
        {{.name = nullptr}, ERROR_INVALID_NAME},
        {{.name = ""}, ERROR_INVALID_NAME},
        {{.name = slash}, ERROR_INVALID_NAME},
        {{.name = "a\\b"}, ERROR_INVALID_NAME},
        {{.name = tooLong.c_str()}, ERROR_INVALID_NAME},
        {{.display = tooLong.c_str()}, ERROR_INVALID_NAME},
        {{.access = 0x200}, ERROR_ACCESS_DENIED},
        {{.type = 0}, ERROR_INVALID_PARAMETER},
        {{.type = 1}, ERROR_INVALID_PARAMETER},
        {{.type = 0x30}, ERROR_INVALID_PARAMETER},
        {{.startType = 1}, ERROR_INVALID_PARAMETER},
        {{.startType = 5}, ERROR_INVALID_PARAMETER},
        {{.errorControl = 4}, ERROR_INVALID_PARAMETER},
        {{.command = nullptr}, ERROR_INVALID_PARAMETER},
        {{.command = ""}, ERROR_INVALID_PARAMETER},
        {{.dependencies = "a\\b\0"}, ERROR_INVALID_PARAMETER},
        {{.dependencies = "+\0"}, ERROR_INVALID_PARAMETER},
        {{.dependencies = "odd\0"}, ERROR_CIRCULAR_DEPENDENCY},
    };
    for (const auto& c : cases)
        EXPECT_EQ(creationError(c.creation), c.error)
            << (c.creation.name == nullptr ? "null" : c.creation.name);
    EXPECT_EQ(openError("odd"), ERROR_SERVICE_DOES_NOT_EXIST);

    EXPECT_EQ(creationError({.display = longest.c_str()}), 0U);
    EXPECT_EQ(displayNameOf("odd"), longest);
}

TEST_F(ServiceManagerTest, KeepsNamesApart) {
    EXPECT_EQ(creationError({.name = "First", .display = "The first"}), 0U);
    EXPECT_EQ(creationError({.name = "FIRST"}), ERROR_SERVICE_EXISTS);
    EXPECT_EQ(creationError({.name = "second", .display = "the FIRST"}),
              ERROR_DUPLICATE_SERVICE_NAME);
    EXPECT_EQ(creationError({.name = "second", .display = "first"}), ERROR_DUPLICATE_SERVICE_NAME);
    EXPECT_EQ(creationError({.name = "the first"}), ERROR_DUPLICATE_SERVICE_NAME);
    EXPECT_EQ(creationError({.name = "second", .display = "second"}), 0U);

    EXPECT_EQ(displayNameOf("fIRST"), "The first");
    EXPECT_EQ(nameShownAs("THE FIRST"), "First");
    EXPECT_EQ(nameShownAs("First"), "error 1060");
    EXPECT_EQ(displayNameOf("third"), "error 1060");

    // A display name that is given up is free for others.
    EXPECT_EQ(rename(open("first"), "second"), ERROR_DUPLICATE_SERVICE_NAME);
    EXPECT_EQ(rename(open("first"), "Renamed"), 0U);
    EXPECT_EQ(nameShownAs("The first"), "error 1060");
    EXPECT_EQ(rename(open("second"), "The first"), 0U);
    EXPECT_EQ(nameShownAs("the first"), "second");
    EXPECT_EQ(nameShownAs("renamed"), "First");
}

TEST_F(ServiceManagerTest, GivesNamesIntoBuffersThatHoldThem) {
    ASSERT_EQ(creationError({.name = "sized", .display = "12345"}), 0U);
    char buffer[6] = "-----";
    platform::DWORD size = 5;
    EXPECT_EQ(errorOf(platform::GetServiceDisplayNameA(manager(), "sized", buffer, &size)),
              ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(size, 5U);
    EXPECT_STREQ(buffer, "-----");
    size = 6;
    EXPECT_TRUE(platform::GetServiceDisplayNameA(manager(), "sized", buffer, &size));
    EXPECT_STREQ(buffer, "12345");
}

TEST_F(ServiceManagerTest, TakesNamesOfAnyBytes) {
    for (const std::string& name :
         {std::string(255, '\xFF'), std::string(256, 'n'), std::string(255, 'n') + "m",
          std::string("."), std::string(".."), std::string("line\nbreak"), std::string(" ")}) {
        EXPECT_EQ(creationError({.name = name.c_str()}), 0U) << name;
        EXPECT_EQ(displayNameOf(name.c_str()), name);
        EXPECT_EQ(openError(name), 0U) << name;
    }
}

TEST_F(ServiceManagerTest, ChangesWhatIsGivenAndNothingElse) {
    const OwnedHandle service = create("changed", "/bin/true");
    const std::string before = contentsOf(entryFile("changed"));
    EXPECT_EQ(rename(service, nullptr), 0U);
    EXPECT_EQ(contentsOf(entryFile("changed")), before);

    EXPECT_EQ(errorOf(platform::ChangeServiceConfigA(
                  service, SERVICE_WIN32_SHARE_PROCESS, SERVICE_DISABLED, SERVICE_ERROR_IGNORE,
                  "C:\\bin\\false", "group", nullptr, "a\0+b\0", "someone", "secret", "Shown")),
              0U);
    const std::string after = contentsOf(entryFile("changed"));
    EXPECT_EQ(after.substr(0, after.find("hash ")),
              "sorvex service 1\nname changed\ndisplay Shown\ntype 32\nstart 4\nerror 0\n"
              "command C:\\bin\\false\ngroup group\naccount someone\ndepends a\ndepends +b\n");

    EXPECT_EQ(errorOf(platform::ChangeServiceConfigA(service, SERVICE_NO_CHANGE, 9,
                                                     SERVICE_NO_CHANGE, nullptr, nullptr, nullptr,
                                                     nullptr, nullptr, nullptr, nullptr)),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(contentsOf(entryFile("changed")), after);
}

TEST_F(ServiceManagerTest, KeepsNoPassword) {
    ASSERT_EQ(creationError({}), 0U);
    EXPECT_EQ(contentsOf(entryFile("odd")).find("secret"), std::string::npos);
}

TEST_F(ServiceManagerTest, NoticesCircles) {
    create("a", "/bin/true");
    create("b", "/bin/true", SERVICE_WIN32_OWN_PROCESS, "a\0");
    create("c", "/bin/true", SERVICE_WIN32_OWN_PROCESS, "+late\0");
    create("d", "/bin/true", SERVICE_WIN32_OWN_PROCESS, "b\0", "LATE");
    EXPECT_EQ(errorOf(platform::ChangeServiceConfigA(
                  open("a"), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, nullptr,
                  nullptr, nullptr, "x\0C\0", nullptr, nullptr, nullptr)),
              ERROR_CIRCULAR_DEPENDENCY);
    EXPECT_EQ(
        errorOf(create("e", "/bin/true", SERVICE_WIN32_OWN_PROCESS, "+own\0", "own") != nullptr),
        ERROR_CIRCULAR_DEPENDENCY);
}

TEST_F(ServiceManagerTest, ReadsAServiceThatWasNeverStartedAsStopped) {
    const platform::SERVICE_STATUS status = query(create("new", "/bin/true"));
    EXPECT_EQ(status.dwServiceType, SERVICE_WIN32_OWN_PROCESS);
    EXPECT_EQ(status.dwCurrentState, SERVICE_STOPPED);
    EXPECT_EQ(status.dwWin32ExitCode, ERROR_SERVICE_NEVER_STARTED);
}

TEST_F(ServiceManagerTest, DeletesWithTheLastHandle) {
    OwnedHandle first = create("leaving", "/bin/true");
    OwnedHandle second = open("leaving");
    EXPECT_TRUE(platform::DeleteService(first));
    EXPECT_EQ(errorOf(platform::DeleteService(second)), ERROR_SERVICE_MARKED_FOR_DELETE);
    EXPECT_EQ(start(second), ERROR_SERVICE_MARKED_FOR_DELETE);
    EXPECT_EQ(rename(second, "x"), ERROR_SERVICE_MARKED_FOR_DELETE);
    EXPECT_EQ(creationError({.name = "leaving"}), ERROR_SERVICE_MARKED_FOR_DELETE);
    first.close();
    EXPECT_EQ(stateOf(second), SERVICE_STOPPED);
    second.close();
    EXPECT_FALSE(std::filesystem::exists(directory.path() / "database" / "leaving"));
    EXPECT_TRUE(std::filesystem::is_empty(directory.path() / "database" / ".names"));
    EXPECT_EQ(openError("leaving"), ERROR_SERVICE_DOES_NOT_EXIST);
    EXPECT_EQ(creationError({.name = "leaving"}), 0U);
}

TEST_F(ServiceManagerTest, DeletesWithTheHandlesOfADeadProcess) {
    create("kept", "/bin/true", SERVICE_WIN32_OWN_PROCESS);
    FILE* holder = popen(helper("hold kept holding").c_str(), "r");
    ASSERT_NE(holder, nullptr);
    noted("holding");
    EXPECT_EQ(remove("kept"), 0U);
    EXPECT_EQ(creationError({.name = "kept"}), ERROR_SERVICE_MARKED_FOR_DELETE);
    for (const auto& entry : std::filesystem::directory_iterator(directory.path() / "notes"))
        if (entry.path().filename().string().rfind("process.", 0) == 0)
            end(entry.path().filename().string().substr(8));
    pclose(holder);
    EXPECT_EQ(openError("kept"), ERROR_SERVICE_DOES_NOT_EXIST);
    EXPECT_EQ(creationError({.name = "other", .display = "kept"}), 0U);
}

TEST_F(ServiceManagerTest, ADamagedRecordIsAFailureForItsServiceAlone) {
    ASSERT_EQ(creationError({.name = "whole"}), 0U);
    ASSERT_EQ(creationError({.name = "broken", .display = "Broken"}), 0U);
    std::ofstream(entryFile("broken")) << "nonsense";
    EXPECT_EQ(openError("broken"), ERROR_INVALID_DATA);
    EXPECT_EQ(displayNameOf("broken"), "error 13");
    EXPECT_EQ(nameShownAs("Broken"), "error 1060");
    EXPECT_EQ(openError("whole"), 0U);
    EXPECT_EQ(nameShownAs("whole"), "whole");
    EXPECT_EQ(creationError({.name = "more", .dependencies = "broken\0"}), 0U);

    EXPECT_TRUE(platform::DeleteService(open("broken", deleteRight)));
    EXPECT_EQ(creationError({.name = "broken"}), 0U);
}

TEST_F(ServiceManagerTest, RefusesPlacesThatAreNotPrivate) {
    namespace fs = std::filesystem;
    fs::create_directory(directory.path() / "elsewhere");
    fs::permissions(directory.path() / "elsewhere", fs::perms::owner_all);
    fs::create_directory_symlink(directory.path() / "elsewhere", directory.path() / "run");
    EXPECT_EQ(openManager(nullptr, nullptr), ERROR_ACCESS_DENIED);
    EXPECT_TRUE(fs::is_empty(directory.path() / "elsewhere"));

    fs::remove(directory.path() / "run");
    EXPECT_EQ(openManager(nullptr, nullptr), 0U);
    fs::permissions(directory.path() / "database", fs::perms(0750));
    EXPECT_EQ(openManager(nullptr, nullptr), ERROR_ACCESS_DENIED);
    fs::permissions(directory.path() / "database", fs::perms::owner_all);

    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give a directory away";
    ASSERT_EQ(chown(directory.name("run/services").c_str(), 65534, 65534), 0);
    EXPECT_EQ(openManager(nullptr, nullptr), ERROR_ACCESS_DENIED);
}

TEST_F(ServiceManagerTest, MakesEverythingPrivate) {
    ASSERT_EQ(creationError({}), 0U);
    for (const char* entry :
         {"database", "database/.names", "database/odd", "run", "run/services"}) {
        struct stat facts {};
        ASSERT_EQ(stat(directory.name(entry).c_str(), &facts), 0) << entry;
        EXPECT_EQ(facts.st_mode & 0777U, 0700U) << entry;
    }
    struct stat facts {};
    ASSERT_EQ(stat(entryFile("odd").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777U, 0600U);
}

TEST_F(ServiceManagerTest, LeaksNoDescriptorWhenItFails) {
    const OwnedHandle service = create("here", "/nonexistent/program");
    const std::size_t before = openDescriptors();
    EXPECT_EQ(openError("missing"), ERROR_SERVICE_DOES_NOT_EXIST);
    EXPECT_EQ(creationError({.name = "here"}), ERROR_SERVICE_EXISTS);
    EXPECT_EQ(creationError({.name = "x", .display = "here"}), ERROR_DUPLICATE_SERVICE_NAME);
    EXPECT_EQ(start(service), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(send(service, 1), ERROR_SERVICE_NOT_ACTIVE);
    EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace Sorvex::testing
