// Services that run: real processes, started, controlled and ended.
#include <algorithm>
#include <cstddef>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <grp.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/services/services_fixture.h"
#include "support/child_process.h"
#include "support/process_facts.h"

namespace Sorvex::testing {
namespace {

using platform::Descriptor;

class RunningServiceTest : public ServicesTest {};

TEST_F(RunningServiceTest, StartsAProcessThatHasNothingOfItsStarter) {
    namespace fs = std::filesystem;
    createServing("detached");
    signal(SIGPIPE, SIG_IGN);
    sigset_t before;
    sigset_t every;
    sigfillset(&every);
    pthread_sigmask(SIG_SETMASK, &every, &before);
    const std::string file = directory.file("inherited");
    const Descriptor inherited(::open(file.c_str(), O_RDONLY));
    const std::size_t descriptors = openDescriptors();
    EXPECT_TRUE(runs("detached"));
    // Neither a child nor anything open is left behind here.
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_TRUE(fs::is_empty(directory.path() / "run/services/.starting"));
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    signal(SIGPIPE, SIG_DFL);

    ASSERT_EQ(processes().size(), 1U);
    const pid_t process = processes().front();
    const fs::path facts = "/proc/" + std::to_string(process);
    EXPECT_EQ(getsid(process), process);
    EXPECT_EQ(fs::read_symlink(facts / "cwd"), "/");
    const std::string variables = contentsOf(facts / "environ");
    EXPECT_EQ(std::count(variables.begin(), variables.end(), '\0'), 5) << variables;
    const std::string status = contentsOf(facts / "status");
    for (const char* line : {"SigBlk:\t0000000000000000\n", "SigIgn:\t0000000000000000\n"})
        EXPECT_NE(status.find(line), std::string::npos) << status;
    for (const auto& descriptor : fs::directory_iterator(facts / "fd")) {
        const fs::path target = fs::read_symlink(descriptor);
        const int number = std::stoi(descriptor.path().filename());
        EXPECT_EQ(target == "/dev/null", number == 0) << target;
        EXPECT_EQ(target == directory.path() / "log/detached.log", number == 1 || number == 2);
        EXPECT_NE(target, file);
        // Directories are mere places (O_PATH), so a service that gives up rights can't list or
        // lock them.
        if (fs::is_directory(target)) {
            EXPECT_NE(contentsOf(facts / "fdinfo" / descriptor.path().filename()).find("\t012"),
                      std::string::npos)
                << target;
        }
    }
}

TEST_F(RunningServiceTest, RunsWithTheRightsOfItsUserAlone) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can be somebody else";
    constexpr uid_t user = 1;
    constexpr gid_t strangers = 65534;
    const std::string own = directory.name("own");
    const std::string program = own + "/program";
    std::filesystem::create_directory(own);
    std::filesystem::copy_file(thisProgram(), program);
    std::filesystem::permissions(directory.path(), std::filesystem::perms(0711));
    for (const std::string& name : {own, program})
        EXPECT_EQ(chown(name.c_str(), user, user), 0);
    // One of root's that has taken on a user's rights for a while, and one with a set-user-id bit.
    for (const uid_t real : {0U, 2U}) {
        const std::string service = "of" + std::to_string(real);
        const int result = runInChild([&] {
            servicePlaces().directory = own;
            EXPECT_EQ(real == 0 ? seteuid(user) : setresuid(real, user, 0), 0);
            BServiceControlManager others;
            const std::string command = program + " " + own + " " + service;
            BServiceControl(others, service.c_str(), nullptr, command.c_str(), SERVICE_DEMAND_START,
                            SERVICE_WIN32_OWN_PROCESS, SERVICE_ERROR_NORMAL, all, nullptr, nullptr,
                            nullptr, nullptr);
            BServiceControl opened(others, service.c_str(), all);
            opened.start(0, nullptr);
        });
        EXPECT_EQ(result, 0);
        ASSERT_EQ(processes().size(), 1U);
        const auto facts = contentsOf("/proc/" + std::to_string(processes().front()) + "/status");
        for (const char* line : {"Uid:\t1\t1\t1\t1\n", "Gid:\t1\t1\t1\t1\n", "Groups:\t1 \n"})
            EXPECT_NE(facts.find(line), std::string::npos) << facts;
        end(processes());
    }
    // A group that is not the user's and can't be given up, although its number may mean none.
    const int result = runInChild([&] {
        servicePlaces().directory = own;
        EXPECT_EQ(setgroups(1, &strangers), 0);
        EXPECT_TRUE(setgid(user) == 0 && setresuid(user, user, user) == 0);
        BServiceControlManager others;
        EXPECT_EQ(errorOf([&] { BServiceControl(others, "of2", all).start(0, nullptr); }),
                  ERROR_ACCESS_DENIED);
    });
    EXPECT_EQ(result, 0);
}

TEST_F(RunningServiceTest, TakesTheSignalToEndAsAControl) {
    createServing("odd");
    ASSERT_EQ(start("odd", "shutdown"), 0U);
    EXPECT_TRUE(reaches("odd", SERVICE_RUNNING));
    kill(processes().at(0), SIGTERM);
    EXPECT_TRUE(reaches("odd", SERVICE_STOPPED));
    EXPECT_EQ(query("odd").exitCode(), SERVICE_CONTROL_SHUTDOWN);
}

TEST_F(RunningServiceTest, TellsWhyAProgramDoesNotRun) {
    const std::string data = directory.file("data");
    const std::string text = directory.file("text", "just words");
    std::filesystem::permissions(text, std::filesystem::perms::owner_all);
    const std::pair<std::string, platform::DWORD> cases[] = {
        {directory.name("missing"), ERROR_FILE_NOT_FOUND},
        {directory.name("none/missing"), ERROR_PATH_NOT_FOUND},
        {"D:\\program", ERROR_PATH_NOT_FOUND},
        {directory.name(), ERROR_ACCESS_DENIED},
        {data, ERROR_ACCESS_DENIED},
        {text, ERROR_BAD_EXE_FORMAT},
        {"/bin/sh -c \"kill -9 $$\"", ERROR_SERVICE_REQUEST_TIMEOUT}};
    const std::size_t before = openDescriptors();
    for (const auto& [command, error] : cases) {
        create({.command = command.c_str()});
        EXPECT_EQ(start("odd"), error) << command;
        EXPECT_EQ(query("odd").exitCode(), error);
        EXPECT_EQ(remove("odd"), 0U);
    }
    create({});
    EXPECT_EQ(change("odd", nullptr, "somebody else"), 0U);
    EXPECT_EQ(start("odd"), ERROR_SERVICE_LOGON_FAILED);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(RunningServiceTest, WorksOnOlderHosts) {
    // They have neither handles for processes nor a call that closes descriptors by the dozen.
    const auto becomeOlder = [] {
        std::vector<sock_filter> program = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
        for (const unsigned call : {unsigned{SYS_pidfd_open}, unsigned{SYS_pidfd_send_signal},
                                    unsigned{SYS_close_range}}) {
            program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1));
            program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS));
        }
        program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
        const sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
        EXPECT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
        EXPECT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
    };
    createServing("odd");
    const std::string idle = "/usr/bin/tail -f " + directory.file("data");
    create({.name = "idle", .command = idle.c_str()});
    create({.name = "gone", .command = "/bin/true"});
    for (const bool isOlder : {false, true}) {
        const int result = runInChild([&] {
            if (isOlder)
                becomeOlder();
            EXPECT_TRUE(runs("odd"));
            EXPECT_EQ(send("odd", 130), ERROR_SERVICE_NOT_ACTIVE);
            EXPECT_EQ(start("gone"), ERROR_SERVICE_REQUEST_TIMEOUT);
            // One that runs but never connects is ended.
            servicePlaces().limit = std::chrono::milliseconds(300);
            EXPECT_EQ(start("idle"), ERROR_SERVICE_REQUEST_TIMEOUT);
        });
        EXPECT_EQ(result, 0);
        EXPECT_TRUE(comesTrue([&] { return processes().empty(); }));
    }
}

TEST_F(RunningServiceTest, LooksAtTheStateBeforeItAsks) {
    createServing("odd");
    EXPECT_EQ(start("odd", "hang"), 0U);
    EXPECT_TRUE(reaches("odd", SERVICE_START_PENDING));
    EXPECT_EQ(send("odd", SERVICE_CONTROL_PAUSE), ERROR_SERVICE_CANNOT_ACCEPT_CTRL);
    EXPECT_EQ(send("odd", SERVICE_CONTROL_INTERROGATE), ERROR_SERVICE_CANNOT_ACCEPT_CTRL);
    EXPECT_EQ(send("odd", SERVICE_CONTROL_STOP), ERROR_INVALID_SERVICE_CONTROL);
}

TEST_F(RunningServiceTest, NoticesADeathAtOnce) {
    createServing("mortal");
    ASSERT_TRUE(runs("mortal"));
    const std::vector<pid_t> parent = processes();
    // A child keeps open what the service had open.
    ASSERT_EQ(send("mortal", 131), 0U);
    EXPECT_TRUE(comesTrue([&] { return processes().size() == 2; }));
    end(parent);
    EXPECT_EQ(query("mortal").exitCode(), ERROR_PROCESS_ABORTED);
    EXPECT_TRUE(runs("mortal"));
    // A death in a handler is no answer.
    EXPECT_EQ(send("mortal", 130), ERROR_SERVICE_NOT_ACTIVE);
    EXPECT_EQ(query("mortal").exitCode(), ERROR_PROCESS_ABORTED);

    // A caller that is asleep meanwhile finds another process than the one that it asked.
    ASSERT_TRUE(runs("mortal"));
    const std::vector<pid_t> asked = processes();
    const pid_t caller =
        forked([&] { _exit(send("mortal", 129) == ERROR_SERVICE_NOT_ACTIVE ? 0 : 1); });
    usleep(200000);
    kill(caller, SIGSTOP);
    end(asked);
    EXPECT_TRUE(runs("mortal"));
    kill(caller, SIGCONT);
    int result = -1;
    EXPECT_EQ(waitpid(caller, &result, 0), caller);
    EXPECT_EQ(result, 0);
}

TEST_F(RunningServiceTest, WaitsForDescriptors) {
    createServing("poor");
    ASSERT_TRUE(runs("poor"));
    const pid_t process = processes().at(0);
    rlimit before{};
    EXPECT_EQ(prlimit(process, RLIMIT_NOFILE, nullptr, &before), 0);
    const rlimit none{4, before.rlim_max};
    EXPECT_EQ(prlimit(process, RLIMIT_NOFILE, &none, nullptr), 0);
    std::thread caller([&] { EXPECT_EQ(send("poor", 128), 0U); });
    usleep(100000);
    EXPECT_EQ(query("poor").checkPoint(), 0U);
    EXPECT_EQ(prlimit(process, RLIMIT_NOFILE, &before, nullptr), 0);
    caller.join();
    EXPECT_EQ(query("poor").checkPoint(), 1U);
}

TEST_F(RunningServiceTest, AHangingHandlerBlocksNobodyElse) {
    BServiceControl hanging = createServing("hanging");
    createServing("other");
    ASSERT_TRUE(runs("hanging") && runs("other"));
    servicePlaces().limit = std::chrono::milliseconds(1500);
    std::thread caller(
        [&] { EXPECT_EQ(errorOf([&] { hanging.control(129); }), ERROR_SERVICE_REQUEST_TIMEOUT); });
    EXPECT_EQ(send("other", 128), 0U);
    EXPECT_EQ(query("hanging").state(), SERVICE_RUNNING);
    caller.join();
    EXPECT_EQ(send("hanging", SERVICE_CONTROL_STOP), ERROR_SERVICE_REQUEST_TIMEOUT);
}

TEST_F(RunningServiceTest, StartsAgainWhileTheOldProcessIsStillEnding) {
    BServiceControl service = createServing("slow");
    ASSERT_TRUE(runs("slow"));
    std::thread caller([&] { EXPECT_EQ(service.control(132).state(), SERVICE_STOPPED); });
    EXPECT_TRUE(reaches("slow", SERVICE_STOPPED));
    EXPECT_TRUE(runs("slow"));
    EXPECT_EQ(send("slow", 128), 0U);
    directory.file("end");
    caller.join();
    EXPECT_TRUE(comesTrue([&] { return processes().size() == 1; }));
    EXPECT_EQ(query("slow").checkPoint(), 1U);
}

TEST_F(RunningServiceTest, DeletesARunningServiceWhenItEnds) {
    createServing("going");
    ASSERT_TRUE(runs("going"));
    EXPECT_EQ(remove("going"), 0U);
    // It lives on, and can still be opened and stopped.
    EXPECT_EQ(query("going").state(), SERVICE_RUNNING);
    EXPECT_EQ(send("going", SERVICE_CONTROL_STOP), 0U);
    EXPECT_EQ(keptServices(), std::vector<std::string>());
    EXPECT_FALSE(std::filesystem::exists(directory.path() / "run/services/going"));
}

TEST_F(RunningServiceTest, RunsTwoServicesInOneProcess) {
    // One without quotes, whose blanks are the name's as well.
    const std::string program = directory.name("my tool");
    std::filesystem::create_symlink(thisProgram(), program);
    const std::string command = program + " " + directory.name() + " left middle right";
    for (const char* name : {"left", "right", "third"})
        create({.name = name, .command = command.c_str(), .type = SERVICE_WIN32_SHARE_PROCESS});
    EXPECT_EQ(start("third"), ERROR_SERVICE_NOT_IN_EXE);
    ASSERT_TRUE(runs("left") && runs("right"));
    EXPECT_EQ(start("third"), ERROR_SERVICE_NOT_IN_EXE);
    EXPECT_NE(contentsOf(directory.name("log/left.log")).find("argument right\n"),
              std::string::npos);
    EXPECT_EQ(send("left", 128), 0U);
    EXPECT_EQ(query("left").checkPoint(), 1U);
    EXPECT_EQ(send("left", SERVICE_CONTROL_STOP), 0U);
    ASSERT_TRUE(runs("left"));
    EXPECT_EQ(processes().size(), 1U);
    EXPECT_EQ(send("right", SERVICE_CONTROL_STOP), 0U);

    // A sibling whose record is damaged is in nobody's way, and can be stopped; so is one whose
    // place is open to others.
    directory.file("database/left/configuration", "nonsense");
    std::filesystem::permissions(directory.path() / "run/services/third",
                                 std::filesystem::perms(0755));
    ASSERT_TRUE(runs("right"));
    EXPECT_EQ(send("left", SERVICE_CONTROL_STOP), 0U);
    EXPECT_EQ(send("right", SERVICE_CONTROL_STOP), 0U);
    EXPECT_TRUE(comesTrue([&] { return processes().empty(); }));
    EXPECT_EQ(remove("left"), 0U);

    // A sibling that dies while it is asked makes room for a process of the service's own.
    create({.name = "left", .command = command.c_str(), .type = SERVICE_WIN32_SHARE_PROCESS});
    ASSERT_TRUE(runs("right"));
    const std::vector<pid_t> sibling = processes();
    kill(sibling.at(0), SIGSTOP);
    std::thread starter([&] { EXPECT_TRUE(runs("left")); });
    usleep(200000);
    end(sibling);
    starter.join();
    EXPECT_EQ(query("left").state(), SERVICE_RUNNING);
    // So does one that has given up its rights, and can't take another service.
    if (geteuid() == 0) {
        EXPECT_EQ(send("left", 133), 0U);
    }
    EXPECT_TRUE(runs("right"));
    EXPECT_TRUE(std::filesystem::is_empty(directory.path() / "run/services/.shared"));
}

TEST_F(RunningServiceTest, StartsWhatItDependsOnFirst) {
    createServing("base");
    createServing("member", "base\0", "crowd");
    create({.name = "broken", .group = "crowd"});
    createServing("top", "+crowd\0base\0");
    ASSERT_EQ(start("top"), 0U);
    EXPECT_EQ(query("member").state(), SERVICE_RUNNING);
    EXPECT_TRUE(reaches("top", SERVICE_RUNNING));
    // What others need can't be stopped before them.
    EXPECT_EQ(send("base", SERVICE_CONTROL_STOP), ERROR_DEPENDENT_SERVICES_RUNNING);
    // Nor when they have gone and come back.
    EXPECT_EQ(remove("base"), 0U);
    EXPECT_EQ(send("base", 130), ERROR_SERVICE_NOT_ACTIVE);
    createServing("base");
    EXPECT_EQ(query("base").exitCode(), ERROR_SERVICE_NEVER_STARTED);
    EXPECT_TRUE(runs("base"));
    EXPECT_EQ(send("base", SERVICE_CONTROL_STOP), ERROR_DEPENDENT_SERVICES_RUNNING);
    for (const char* name : {"top", "member", "base"})
        EXPECT_EQ(send(name, SERVICE_CONTROL_STOP), 0U) << name;

    // Eight of them at once wait for what one of them starts, which waits for another itself.
    createServing("late");
    createServing("between", "late\0");
    EXPECT_EQ(successesOfEight(0,
                               [&](const std::string& name) {
                                   createServing(name, "between\0");
                                   return start(name);
                               }),
              8);
    EXPECT_EQ(send("late", SERVICE_CONTROL_PAUSE), 0U);
    createServing("more", "late\0");
    EXPECT_EQ(start("more"), 0U);

    createServing("a", "broken\0");
    createServing("b", "missing\0");
    createServing("c", "+nobody\0");
    EXPECT_EQ(start("a"), ERROR_SERVICE_DEPENDENCY_FAIL);
    EXPECT_EQ(start("b"), ERROR_SERVICE_DEPENDENCY_DELETED);
    EXPECT_EQ(start("c"), ERROR_SERVICE_DEPENDENCY_FAIL);
}

}  // namespace
}  // namespace Sorvex::testing
