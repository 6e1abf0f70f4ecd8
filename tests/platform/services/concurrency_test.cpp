// Many programs at once, programs that die in the middle of a call, and programs of others.
#include <algorithm>
#include <string>
#include <vector>

#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/services/services_fixture.h"

namespace Sorvex::testing {
namespace {

class ConcurrentServicesTest : public ServicesTest {
protected:
    // Runs the helper several times at once and gives the error numbers.
    std::vector<platform::DWORD> controlAtOnce(const std::vector<std::string>& words) const {
        std::vector<FILE*> streams;
        streams.reserve(words.size());
        for (const std::string& line : words)
            streams.push_back(popen(helper(line).c_str(), "r"));
        std::vector<platform::DWORD> errors;
        for (FILE* stream : streams) {
            unsigned error = 99999;
            EXPECT_EQ(std::fscanf(stream, "%u", &error), 1);
            EXPECT_EQ(pclose(stream), 0);
            errors.push_back(error);
        }
        std::sort(errors.begin(), errors.end());
        return errors;
    }

    // Runs the helper as a child that is killed after a while.
    void controlAndKill(const std::vector<std::string>& words, int microseconds) const {
        std::vector<std::string> texts = {SORVEX_SERVICE_HELPER, directory.name(), "20000"};
        texts.insert(texts.end(), words.begin(), words.end());
        std::vector<char*> pointers;
        pointers.reserve(texts.size() + 1);
        for (std::string& text : texts)
            pointers.push_back(text.data());
        pointers.push_back(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            execv(pointers[0], pointers.data());
            _exit(127);
        }
        usleep(static_cast<useconds_t>(microseconds));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }

    static constexpr std::size_t programs = 8;
};

TEST_F(ConcurrentServicesTest, OfManyCreatesExactlyOneWins) {
    const std::vector<platform::DWORD> errors =
        controlAtOnce(std::vector<std::string>(programs, "create wanted /bin/true"));
    EXPECT_EQ(errors.front(), 0U);
    EXPECT_EQ(std::count(errors.begin(), errors.end(), ERROR_SERVICE_EXISTS), programs - 1);
}

TEST_F(ConcurrentServicesTest, OfManyStartsExactlyOneRuns) {
    const OwnedHandle service = createServing("wanted");
    const std::vector<platform::DWORD> errors =
        controlAtOnce(std::vector<std::string>(programs, "start wanted"));
    EXPECT_EQ(errors.front(), 0U);
    EXPECT_EQ(std::count(errors.begin(), errors.end(), ERROR_SERVICE_ALREADY_RUNNING),
              programs - 1);
    EXPECT_TRUE(eventually([&] { return stateOf(service) == SERVICE_RUNNING; }));
}

TEST_F(ConcurrentServicesTest, ManyProgramsControlOneService) {
    const OwnedHandle service = createServing("wanted");
    ASSERT_TRUE(startAndWait(service));
    const std::vector<platform::DWORD> errors =
        controlAtOnce(std::vector<std::string>(programs, "control wanted 128"));
    EXPECT_EQ(errors, std::vector<platform::DWORD>(programs, 0));
    EXPECT_EQ(query(service).dwCheckPoint, programs);
}

TEST_F(ConcurrentServicesTest, ManyProgramsMakeAndDeleteServices) {
    std::vector<std::string> creates;
    std::vector<std::string> deletes;
    for (std::size_t index = 0; index < programs; ++index) {
        const std::string name = std::to_string(index);
        creates.push_back("create " + name + " /bin/true");
        deletes.push_back("delete " + name);
    }
    EXPECT_EQ(controlAtOnce(creates), std::vector<platform::DWORD>(programs, 0));
    EXPECT_EQ(controlAtOnce(deletes), std::vector<platform::DWORD>(programs, 0));
    EXPECT_EQ(platform::services::Store().database().keys(), std::vector<std::string>());
}

TEST_F(ConcurrentServicesTest, SurvivesProgramsThatDieInTheMiddle) {
    const OwnedHandle service = createServing("steady");
    for (int microseconds = 0; microseconds < 12000; microseconds += 800) {
        SCOPED_TRACE(microseconds);
        controlAndKill({"start", "steady"}, microseconds);
        // Whatever came of it: it runs, or it can be started.
        EXPECT_TRUE(eventually([&] {
            start(service);
            return stateOf(service) == SERVICE_RUNNING;
        }));
        controlAndKill({"control", "steady", "128"}, microseconds / 4);
        EXPECT_EQ(send(service, SERVICE_CONTROL_STOP), 0U);
        controlAndKill({"create", "passing", "/bin/true"}, microseconds / 4);
        const platform::DWORD error = control("create passing /bin/true");
        EXPECT_TRUE(error == 0 || error == ERROR_SERVICE_EXISTS) << error;
        controlAndKill({"delete", "passing"}, microseconds / 4);
        const platform::DWORD gone = control("delete passing");
        EXPECT_TRUE(gone == 0 || gone == ERROR_SERVICE_DOES_NOT_EXIST) << gone;
    }
}

TEST_F(ConcurrentServicesTest, AStoppedProgramDoesNotStopTheService) {
    const OwnedHandle service = createServing("patient");
    ASSERT_TRUE(startAndWait(service));
    // A connection that never says anything.
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s",
                  directory.name("run/services/patient/control").c_str());
    const int silent = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    ASSERT_EQ(connect(silent, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(send(service, 128), 0U);
    // And one that says something else.
    const int babbling = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    ASSERT_EQ(connect(babbling, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::send(babbling, "nonsense", 8, 0), 8);
    EXPECT_EQ(send(service, 128), 0U);
    EXPECT_EQ(query(service).dwCheckPoint, 2U);
    close(silent);
    close(babbling);
}

TEST_F(ConcurrentServicesTest, RefusesThePeersOfOtherUsers) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can be somebody else";
    namespace fs = std::filesystem;
    const OwnedHandle service = createServing("private");
    ASSERT_TRUE(startAndWait(service));

    // Nothing but the credentials is left in the other user's way.
    const std::string runtime = directory.name("run/services");
    const std::string control = runtime + "/private/control";
    for (const std::string& opened :
         {directory.name(), directory.name("run"), runtime, runtime + "/private"})
        fs::permissions(opened, fs::perms(0755));
    fs::permissions(control, fs::perms(0777));
    const pid_t stranger = fork();
    if (stranger == 0) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "%s", control.c_str());
        struct {
            std::uint32_t numbers[4];
            char name[256];
        } request{{0x53565831, 2, 128, 0}, {}};
        const int connection = socket(AF_UNIX, SOCK_SEQPACKET, 0);
        char answer[64];
        if (setgid(65534) != 0 || setuid(65534) != 0 ||
            connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            _exit(2);
        ::send(connection, &request, sizeof request, MSG_NOSIGNAL);
        _exit(recv(connection, answer, sizeof answer, 0) <= 0 ? 0 : 1);
    }
    int result = -1;
    ASSERT_EQ(waitpid(stranger, &result, 0), stranger);
    EXPECT_EQ(result, 0);
    for (const std::string& closed :
         {runtime + "/private", runtime, directory.name("run"), directory.name()})
        fs::permissions(closed, fs::perms(0700));
    EXPECT_EQ(send(service, 128), 0U);
    EXPECT_EQ(query(service).dwCheckPoint, 1U);
}

TEST_F(ConcurrentServicesTest, ObeysItsUserAfterGivingUpRights) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root has rights to give up";
    const OwnedHandle service = createServing("humble");
    ASSERT_TRUE(startAndWait(service));
    EXPECT_EQ(send(service, 133), 0U);
    EXPECT_EQ(send(service, 128), 0U);
    EXPECT_EQ(query(service).dwCheckPoint, 1U);
    EXPECT_EQ(send(service, SERVICE_CONTROL_STOP), 0U);
}

TEST_F(ConcurrentServicesTest, FollowsNoPlantedLink) {
    namespace fs = std::filesystem;
    const OwnedHandle service = createServing("lured");
    const fs::path runtime = directory.path() / "run" / "services";
    const std::string victim = directory.file("victim", "untouched");

    fs::create_directory(directory.path() / "elsewhere");
    fs::permissions(directory.path() / "elsewhere", fs::perms::owner_all);
    fs::create_directory_symlink(directory.path() / "elsewhere", runtime / "lured");
    EXPECT_EQ(start(service), ERROR_ACCESS_DENIED);
    EXPECT_TRUE(fs::is_empty(directory.path() / "elsewhere"));
    fs::remove(runtime / "lured");

    fs::create_directory(runtime / "lured");
    fs::permissions(runtime / "lured", fs::perms::owner_all);
    for (const char* name : {"state", ".state", "control"}) {
        fs::create_symlink(victim, runtime / "lured" / name);
        if (std::string(name) == "state") {
            platform::SERVICE_STATUS status{};
            EXPECT_EQ(errorOf(platform::QueryServiceStatus(service, &status)), ERROR_ACCESS_DENIED);
            fs::remove(runtime / "lured" / name);
        }
    }
    EXPECT_TRUE(startAndWait(service));
    EXPECT_EQ(send(service, SERVICE_CONTROL_STOP), 0U);
    EXPECT_EQ(contentsOf(victim), "untouched");
}

}  // namespace
}  // namespace Sorvex::testing
