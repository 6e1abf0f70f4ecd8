// Services that run: real processes, started, controlled and ended.
#include <chrono>
#include <string>
#include <thread>

#include "platform/services/services_fixture.h"
#include "support/process_facts.h"

namespace Sorvex::testing {
namespace {

using std::chrono::milliseconds;

class RunningServiceTest : public ServicesTest {
protected:
    // The time that something takes, to tell an answer at once from one at the limit.
    template <typename Action>
    static milliseconds timeOf(Action action) {
        const auto begin = std::chrono::steady_clock::now();
        action();
        return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin);
    }
};

TEST_F(RunningServiceTest, LivesThroughAWholeCycle) {
    const OwnedHandle service = createServing("cycle");
    ASSERT_EQ(start(service, {"one", "two words", ""}), 0U);
    EXPECT_EQ(noted("cycle.arguments"), "cycle\none\ntwo words\n\n");
    EXPECT_TRUE(eventually([&] { return stateOf(service) == SERVICE_RUNNING; }));
    EXPECT_EQ(start(service), ERROR_SERVICE_ALREADY_RUNNING);

    platform::SERVICE_STATUS status{};
    EXPECT_TRUE(platform::ControlService(service, SERVICE_CONTROL_PAUSE, &status));
    EXPECT_EQ(status.dwCurrentState, SERVICE_PAUSED);
    EXPECT_EQ(stateOf(service), SERVICE_PAUSED);
    EXPECT_TRUE(platform::ControlService(service, SERVICE_CONTROL_CONTINUE, &status));
    EXPECT_EQ(status.dwCurrentState, SERVICE_RUNNING);
    EXPECT_TRUE(platform::ControlService(service, SERVICE_CONTROL_INTERROGATE, &status));
    EXPECT_TRUE(platform::ControlService(service, 128, &status));
    EXPECT_TRUE(platform::ControlService(service, 128, &status));
    EXPECT_EQ(status.dwCheckPoint, 2U);
    EXPECT_EQ(errorOf(platform::ControlService(service, SERVICE_CONTROL_PARAMCHANGE, &status)),
              ERROR_INVALID_SERVICE_CONTROL);

    EXPECT_TRUE(platform::ControlService(service, SERVICE_CONTROL_STOP, &status));
    EXPECT_EQ(status.dwCurrentState, SERVICE_STOPPED);
    EXPECT_EQ(query(service).dwWin32ExitCode, 0U);
    status = {};
    EXPECT_EQ(errorOf(platform::ControlService(service, SERVICE_CONTROL_STOP, &status)),
              ERROR_SERVICE_NOT_ACTIVE);
    EXPECT_EQ(status.dwCurrentState, SERVICE_STOPPED);
    EXPECT_TRUE(startAndWait(service));
    EXPECT_EQ(send(service, SERVICE_CONTROL_STOP), 0U);
}

TEST_F(RunningServiceTest, StartsAProcessThatHasNothingOfItsStarter) {
    setenv("SORVEX_TEST_MARK", "1", 1);
    signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const int inherited = dup(0);
    const OwnedHandle service = createServing("detached");
    EXPECT_TRUE(startAndWait(service));
    close(inherited);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    signal(SIGPIPE, SIG_DFL);
    unsetenv("SORVEX_TEST_MARK");
    EXPECT_EQ(noted("facts"),
              "session 1\ngroup 1\ndirectory /\n0 /dev/null\n1 /dev/null\n2 /dev/null\nothers 0\n"
              "blocked 0\nignored 0\ninherited 0\n");
}

TEST_F(RunningServiceTest, LeavesTheStarterAsItWas) {
    const OwnedHandle service = createServing("tidy");
    const std::size_t descriptors = openDescriptors();
    EXPECT_TRUE(startAndWait(service));
    EXPECT_EQ(send(service, SERVICE_CONTROL_STOP), 0U);
    EXPECT_EQ(openDescriptors(), descriptors);
    // No child is left to be waited for.
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_TRUE(std::filesystem::is_empty(directory.path() / "run" / "services" / ".starting"));
}

TEST_F(RunningServiceTest, AShellThatCapturesTheStarterSeesItsEnd) {
    createServing("captured");
    EXPECT_EQ(output("answer=$(" + helper("start captured") + "); echo got $answer"), "got 0\n");
    EXPECT_TRUE(eventually([&] { return stateOf(open("captured")) == SERVICE_RUNNING; }));
    EXPECT_EQ(control("control captured 1"), 0U);
}

TEST_F(RunningServiceTest, TellsWhyAProgramDoesNotRun) {
    const std::string notExecutable = directory.file("data", "x");
    const std::string notAProgram = directory.file("text", "just words");
    std::filesystem::permissions(notAProgram, std::filesystem::perms::owner_all);
    const struct {
        std::string name;
        std::string command;
        platform::DWORD error;
    } cases[] = {
        {"missing", directory.name("missing"), ERROR_FILE_NOT_FOUND},
        {"nowhere", directory.name("none/missing"), ERROR_PATH_NOT_FOUND},
        {"drive", "D:\\program", ERROR_PATH_NOT_FOUND},
        {"directory", directory.name(), ERROR_ACCESS_DENIED},
        {"data", notExecutable, ERROR_ACCESS_DENIED},
        {"text", notAProgram, ERROR_BAD_EXE_FORMAT},
        {"quits", helper("quit"), ERROR_SERVICE_REQUEST_TIMEOUT},
        {"kills", "/bin/sh -c \"kill -9 $$\"", ERROR_SERVICE_REQUEST_TIMEOUT},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const OwnedHandle service = create(c.name, c.command);
        // An answer at once: the limit is far away.
        EXPECT_LT(timeOf([&] { EXPECT_EQ(start(service), c.error); }), milliseconds(10000));
        EXPECT_EQ(stateOf(service), SERVICE_STOPPED);
        EXPECT_EQ(query(service).dwWin32ExitCode, c.error);
    }
}

TEST_F(RunningServiceTest, EndsAProgramThatStaysAway) {
    setLimit(milliseconds(300));
    const OwnedHandle service = create("away", helper("idle"));
    EXPECT_EQ(start(service), ERROR_SERVICE_REQUEST_TIMEOUT);
    const std::string process = std::to_string(processOf("away"));
    EXPECT_TRUE(eventually([&] { return !isOurs(process); }));
}

TEST_F(RunningServiceTest, RefusesToStartWhatMayNotStart) {
    const OwnedHandle service = createServing("fixed");
    const auto change = [&](platform::DWORD startType, const char* account) {
        EXPECT_TRUE(platform::ChangeServiceConfigA(service, SERVICE_NO_CHANGE, startType,
                                                   SERVICE_NO_CHANGE, nullptr, nullptr, nullptr,
                                                   nullptr, account, nullptr, nullptr));
    };
    change(SERVICE_DISABLED, nullptr);
    EXPECT_EQ(start(service), ERROR_SERVICE_DISABLED);
    change(SERVICE_DEMAND_START, "somebody else");
    EXPECT_EQ(start(service), ERROR_SERVICE_LOGON_FAILED);
    change(SERVICE_NO_CHANGE, "localSystem");
    EXPECT_TRUE(startAndWait(service));
}

TEST_F(RunningServiceTest, ReportsFailuresOfTheServiceItself) {
    const OwnedHandle service = createServing("failing");
    EXPECT_EQ(start(service, {"fail"}), 0U);
    EXPECT_TRUE(eventually([&] { return stateOf(service) == SERVICE_STOPPED; }));
    EXPECT_EQ(query(service).dwWin32ExitCode, ERROR_SERVICE_SPECIFIC_ERROR);
    EXPECT_EQ(query(service).dwServiceSpecificExitCode, 42U);
}

TEST_F(RunningServiceTest, LooksAtTheStateBeforeItAsks) {
    const OwnedHandle pending = createServing("pending");
    EXPECT_EQ(start(pending, {"pending"}), 0U);
    EXPECT_EQ(send(pending, SERVICE_CONTROL_PAUSE), ERROR_SERVICE_CANNOT_ACCEPT_CTRL);
    EXPECT_EQ(send(pending, SERVICE_CONTROL_INTERROGATE), ERROR_SERVICE_CANNOT_ACCEPT_CTRL);
    EXPECT_EQ(send(pending, SERVICE_CONTROL_STOP), ERROR_INVALID_SERVICE_CONTROL);

    const OwnedHandle deaf = createServing("deaf");
    EXPECT_EQ(start(deaf, {"deaf"}), 0U);
    EXPECT_TRUE(eventually([&] { return stateOf(deaf) == SERVICE_RUNNING; }));
    platform::SERVICE_STATUS status{};
    EXPECT_EQ(errorOf(platform::ControlService(deaf, SERVICE_CONTROL_STOP, &status)),
              ERROR_INVALID_SERVICE_CONTROL);
    EXPECT_EQ(status.dwCurrentState, SERVICE_RUNNING);
}

TEST_F(RunningServiceTest, NoticesADeathAtOnce) {
    const OwnedHandle service = createServing("killed");
    ASSERT_TRUE(startAndWait(service));
    end(std::to_string(processOf("killed")));
    EXPECT_EQ(stateOf(service), SERVICE_STOPPED);
    EXPECT_EQ(query(service).dwWin32ExitCode, ERROR_PROCESS_ABORTED);
    EXPECT_EQ(send(service, SERVICE_CONTROL_STOP), ERROR_SERVICE_NOT_ACTIVE);
    EXPECT_TRUE(startAndWait(service));
    EXPECT_EQ(query(service).dwWin32ExitCode, 0U);
}

TEST_F(RunningServiceTest, NoticesADeathThatChildrenOutlive) {
    const OwnedHandle service = createServing("parent");
    ASSERT_TRUE(startAndWait(service));
    ASSERT_EQ(send(service, 131), 0U);
    const std::string child = noted("parent.child");
    end(std::to_string(processOf("parent")));
    EXPECT_TRUE(eventually([&] { return stateOf(service) == SERVICE_STOPPED; }));
    EXPECT_EQ(query(service).dwWin32ExitCode, ERROR_PROCESS_ABORTED);
    EXPECT_TRUE(startAndWait(service));
    EXPECT_EQ(send(service, SERVICE_CONTROL_STOP), 0U);
    end(child);
}

TEST_F(RunningServiceTest, ADeathInAHandlerIsNoAnswer) {
    const OwnedHandle service = createServing("dying");
    ASSERT_TRUE(startAndWait(service));
    EXPECT_LT(timeOf([&] { EXPECT_EQ(send(service, 130), ERROR_SERVICE_NOT_ACTIVE); }),
              milliseconds(10000));
    EXPECT_EQ(query(service).dwWin32ExitCode, ERROR_PROCESS_ABORTED);
}

TEST_F(RunningServiceTest, AHangingHandlerBlocksNobodyElse) {
    const OwnedHandle hanging = createServing("hanging");
    const OwnedHandle other = createServing("other");
    ASSERT_TRUE(startAndWait(hanging));
    ASSERT_TRUE(startAndWait(other));
    setLimit(milliseconds(1500));
    std::thread caller([&] { EXPECT_EQ(send(hanging, 129), ERROR_SERVICE_REQUEST_TIMEOUT); });
    EXPECT_EQ(send(other, 128), 0U);
    EXPECT_EQ(stateOf(hanging), SERVICE_RUNNING);
    caller.join();
    EXPECT_EQ(send(hanging, SERVICE_CONTROL_STOP), ERROR_SERVICE_REQUEST_TIMEOUT);
    EXPECT_LT(timeOf([&] { EXPECT_EQ(stateOf(hanging), SERVICE_RUNNING); }), milliseconds(1000));
}

TEST_F(RunningServiceTest, StartsAgainWhileTheOldProcessIsStillEnding) {
    const OwnedHandle service = createServing("slow");
    ASSERT_TRUE(startAndWait(service));
    const pid_t old = processOf("slow");
    std::thread caller([&] { EXPECT_EQ(send(service, 132), 0U); });
    EXPECT_TRUE(eventually([&] { return stateOf(service) == SERVICE_STOPPED; }));
    EXPECT_TRUE(startAndWait(service));
    EXPECT_NE(processOf("slow"), old);
    EXPECT_EQ(send(service, 128), 0U);
    note("end");
    caller.join();
    EXPECT_EQ(stateOf(service), SERVICE_RUNNING);
    EXPECT_EQ(send(service, SERVICE_CONTROL_STOP), 0U);
}

TEST_F(RunningServiceTest, DeletesARunningServiceWhenItStops) {
    OwnedHandle service = createServing("going");
    ASSERT_TRUE(startAndWait(service));
    EXPECT_TRUE(platform::DeleteService(service));
    service.close();
    // It lives on, and can still be opened and stopped.
    {
        const OwnedHandle again = open("going");
        EXPECT_EQ(stateOf(again), SERVICE_RUNNING);
        EXPECT_EQ(send(again, SERVICE_CONTROL_STOP), 0U);
    }
    EXPECT_FALSE(std::filesystem::exists(directory.path() / "database" / "going"));
    EXPECT_FALSE(std::filesystem::exists(directory.path() / "run" / "services" / "going"));
}

TEST_F(RunningServiceTest, ForgetsADeletedServiceThatWasKilled) {
    OwnedHandle service = createServing("forgotten");
    ASSERT_TRUE(startAndWait(service));
    EXPECT_TRUE(platform::DeleteService(service));
    service.close();
    end(std::to_string(processOf("forgotten")));
    EXPECT_NE(createServing("forgotten"), nullptr);
    EXPECT_EQ(stateOf(open("forgotten")), SERVICE_STOPPED);
}

TEST_F(RunningServiceTest, RefusesAProgramThatNoManagerStarted) {
    EXPECT_EQ(output(helper("serve lone") + " || true"), "1063\n");
    const OwnedHandle service = createServing("lone");
    ASSERT_TRUE(startAndWait(service));
    EXPECT_EQ(output(helper("serve lone") + " || true"), "1063\n");
    EXPECT_EQ(send(service, SERVICE_CONTROL_STOP), 0U);
}

TEST_F(RunningServiceTest, RunsTwoServicesInOneProcess) {
    const std::string command = helper("serve left right");
    const OwnedHandle left = create("left", command, SERVICE_WIN32_SHARE_PROCESS);
    const OwnedHandle right = create("right", command, SERVICE_WIN32_SHARE_PROCESS);
    const OwnedHandle third = create("third", command, SERVICE_WIN32_SHARE_PROCESS);
    EXPECT_EQ(start(third), 1083U);
    ASSERT_TRUE(startAndWait(left));
    ASSERT_TRUE(startAndWait(right));
    EXPECT_EQ(start(third), 1083U);
    EXPECT_EQ(processOf("left"), processOf("right"));
    EXPECT_EQ(noted("right.arguments"), "right\n");

    EXPECT_EQ(send(left, 128), 0U);
    EXPECT_EQ(query(left).dwCheckPoint, 1U);
    EXPECT_EQ(query(right).dwCheckPoint, 0U);
    EXPECT_EQ(send(left, SERVICE_CONTROL_STOP), 0U);
    EXPECT_EQ(stateOf(right), SERVICE_RUNNING);
    const std::string process = std::to_string(processOf("right"));
    ASSERT_TRUE(startAndWait(left));
    EXPECT_EQ(std::to_string(processOf("left")), process);
    EXPECT_EQ(send(right, SERVICE_CONTROL_STOP), 0U);
    EXPECT_EQ(send(left, SERVICE_CONTROL_STOP), 0U);
    EXPECT_TRUE(eventually([&] { return !isOurs(process); }));
}

TEST_F(RunningServiceTest, StartsWhatItDependsOnFirst) {
    const OwnedHandle base = createServing("base");
    const OwnedHandle member =
        create("member", helper("serve member"), SERVICE_WIN32_OWN_PROCESS, "base\0", "crowd");
    create("broken", helper("quit"), SERVICE_WIN32_OWN_PROCESS, nullptr, "crowd");
    const OwnedHandle top =
        create("top", helper("serve top"), SERVICE_WIN32_OWN_PROCESS, "+crowd\0base\0");
    ASSERT_EQ(start(top), 0U);
    EXPECT_EQ(stateOf(base), SERVICE_RUNNING);
    EXPECT_EQ(stateOf(member), SERVICE_RUNNING);
    EXPECT_TRUE(eventually([&] { return stateOf(top) == SERVICE_RUNNING; }));

    // What others need can't be stopped before them.
    EXPECT_EQ(send(base, SERVICE_CONTROL_STOP), ERROR_DEPENDENT_SERVICES_RUNNING);
    EXPECT_EQ(send(top, SERVICE_CONTROL_STOP), 0U);
    EXPECT_EQ(send(member, SERVICE_CONTROL_STOP), 0U);
    EXPECT_EQ(send(base, SERVICE_CONTROL_STOP), 0U);
}

TEST_F(RunningServiceTest, FailsWithWhatItDependsOn) {
    create("broken", helper("quit"));
    EXPECT_EQ(start(create("a", helper("serve a"), SERVICE_WIN32_OWN_PROCESS, "broken\0")),
              ERROR_SERVICE_DEPENDENCY_FAIL);
    EXPECT_EQ(start(create("b", helper("serve b"), SERVICE_WIN32_OWN_PROCESS, "missing\0")),
              ERROR_SERVICE_DEPENDENCY_DELETED);
    EXPECT_EQ(start(create("c", helper("serve c"), SERVICE_WIN32_OWN_PROCESS, "+nobody\0")),
              ERROR_SERVICE_DEPENDENCY_FAIL);
    EXPECT_EQ(query(open("a")).dwWin32ExitCode, ERROR_SERVICE_NEVER_STARTED);
}

}  // namespace
}  // namespace Sorvex::testing
