// Services that run: real processes, started, controlled and ended, by many programs at once, by
// programs that die in the middle of a call, and by programs of others.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <thread>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <grp.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/fsuid.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/posix/services/channel.h"
#include "platform/posix/services/start.h"
#include "platform/services/services_fixture.h"
#include "support/child_process.h"
#include "support/process_facts.h"

namespace Sorvex::testing {
namespace {

using platform::Descriptor;

class RunningServiceTest : public ServicesTest {
protected:
    // Calls something in eight processes at once, each time with another name. Gives how many of
    // the calls succeeded; all others have to fail with this error.
    template <typename Call>
    static int successesOfEight(platform::DWORD otherwise, Call call) {
        for (int index = 0; index < 8; ++index)
            if (fork() == 0) {
                const platform::DWORD error = call(std::to_string(index));
                _exit(error == 0 ? 0 : error == otherwise ? 1 : 2);
            }
        int successes = 0;
        for (int result = 0; wait(&result) > 0; successes += result == 0 ? 1 : 0)
            EXPECT_TRUE(WIFEXITED(result) && WEXITSTATUS(result) < 2) << result;
        return successes;
    }

    // Sends a packet to a running service without the library's part in it, perhaps with descriptors.
    Descriptor sendPacket(const std::array<std::uint32_t, 75>& packet, std::size_t size,
                          const std::vector<int>& passed = {}) const {
        sockaddr_un address{AF_UNIX, {}};
        directory.name("run/services/private/control").copy(address.sun_path, 100);
        Descriptor connection(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
        const auto* target = reinterpret_cast<const sockaddr*>(&address);
        EXPECT_EQ(connect(connection.get(), target, sizeof address), 0);
        alignas(cmsghdr) char space[CMSG_SPACE(3 * sizeof(int))] = {};
        iovec part{const_cast<std::uint32_t*>(packet.data()), size};
        msghdr message{nullptr, 0, &part, 1, nullptr, 0, 0};
        if (!passed.empty()) {
            message.msg_control = space;
            message.msg_controllen = sizeof space;
            const std::size_t bytes = passed.size() * sizeof(int);
            *CMSG_FIRSTHDR(&message) = {CMSG_LEN(bytes), SOL_SOCKET, SCM_RIGHTS};
            memcpy(CMSG_DATA(CMSG_FIRSTHDR(&message)), passed.data(), bytes);
        }
        // A service may hang up on a stranger before it has spoken.
        sendmsg(connection.get(), &message, MSG_NOSIGNAL);
        return connection;
    }
};

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

    // A program whose start has come to nothing, and which goes on by itself, is ended as any
    // other.
    const int result = runInChild([&] {
        using namespace platform::services;
        const Store store;
        const Descriptor place = ensurePrivateDirectory(store.runtime(), startingDirectory);
        const Descriptor silent = listenAt(place.get(), startingSocket(getpid()).c_str());
        servicePlaces().limit = std::chrono::milliseconds(50);
        char name[] = "odd";
        const platform::SERVICE_TABLE_ENTRYA table[] = {{name, nullptr}, {nullptr, nullptr}};
        EXPECT_FALSE(platform::StartServiceCtrlDispatcherA(table));
        struct sigaction action {};
        EXPECT_EQ(sigaction(SIGTERM, nullptr, &action), 0);
        EXPECT_EQ(action.sa_handler, SIG_DFL);
    });
    EXPECT_EQ(result, 0);
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
    EXPECT_EQ(start("odd", "pending"), 0U);
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

TEST_F(RunningServiceTest, TakesALockForMoreThanARecord) {
    createServing("odd");
    ASSERT_TRUE(runs("odd"));
    // Seen from where the number or the start time of its process means nothing.
    for (const int kind : {CLONE_NEWPID, CLONE_NEWTIME}) {
        if (geteuid() != 0)
            break;
        const int result = runInChild([&] {
            // Not every host has the second kind.
            ASSERT_TRUE(unshare(kind) == 0 || kind == CLONE_NEWTIME);
            if (kind == CLONE_NEWTIME)
                std::ofstream("/proc/self/timens_offsets") << "boottime 1000 0";
            const int inner = runInChild([&] {
                EXPECT_EQ(query("odd").state(), SERVICE_RUNNING);
                EXPECT_EQ(start("odd"), ERROR_SERVICE_ALREADY_RUNNING);
                EXPECT_EQ(send("odd", 128), 0U);
            });
            EXPECT_EQ(inner, 0);
        });
        EXPECT_EQ(result, 0);
    }
    directory.file("run/services/odd/state", std::string(160, '\0'));
    EXPECT_EQ(errorOf([&] { query("odd"); }), ERROR_INVALID_DATA);
    EXPECT_EQ(start("odd"), ERROR_SERVICE_ALREADY_RUNNING);
    EXPECT_EQ(send("odd", 128), 0U);
    EXPECT_EQ(query("odd").state(), SERVICE_RUNNING);
    directory.file("run/services/odd/state", "");
    EXPECT_EQ(send("odd", SERVICE_CONTROL_STOP), 0U);
    EXPECT_EQ(query("odd").state(), SERVICE_STOPPED);
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
    for (const bool isFirst : {true, false}) {
        createServing("going");
        ASSERT_TRUE(runs("going"));
        EXPECT_EQ(remove("going"), 0U);
        // It lives on, and can still be opened and stopped.
        EXPECT_EQ(query("going").state(), SERVICE_RUNNING);
        if (isFirst)
            end(processes());
    }
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
    EXPECT_EQ(contentsOf(directory.name("right.arguments")), "right\n");
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

TEST_F(RunningServiceTest, OfManyCreatesAndStartsExactlyOneWins) {
    const auto creation = [&](const std::string& name) {
        return errorOf([&] { createServing(name); });
    };
    const auto toOne = [](auto call) { return [=](const std::string&) { return call("one"); }; };
    EXPECT_EQ(successesOfEight(ERROR_SERVICE_EXISTS, toOne(creation)), 1);
    EXPECT_EQ(successesOfEight(ERROR_SERVICE_ALREADY_RUNNING,
                               toOne([this](const char* name) { return start(name); })),
              1);
    EXPECT_TRUE(reaches("one", SERVICE_RUNNING));
    EXPECT_EQ(successesOfEight(0, toOne([this](const char* name) { return send(name, 128); })), 8);
    EXPECT_EQ(query("one").checkPoint(), 8U);

    EXPECT_EQ(successesOfEight(0, creation), 8);
    EXPECT_EQ(successesOfEight(0, [&](const std::string& name) { return remove(name); }), 8);
    EXPECT_EQ(keptServices(), std::vector<std::string>{"one"});
}

TEST_F(RunningServiceTest, AChangeThatIsKilledIsDoneOrNot) {
    const auto install = [this] { return errorOf([this] { create({.display = "The odd"}); }); };
    const std::tuple<std::string, std::function<void()>, std::string> cases[] = {
        {"", install, "The odd"},
        {"The odd", [this] { change("odd", "Renamed"); }, "Renamed"},
        {"The odd", [this] { remove("odd"); }, ""}};
    for (const auto& [before, makeChange, after] : cases) {
        int steps = 0;
        for (bool isKilled = true; isKilled; steps += 2) {
            SCOPED_TRACE(after + std::to_string(steps));
            ASSERT_EQ(before.empty() ? 0U : install(), 0U);
            isKilled = !endsWithin(steps, makeChange);
            std::string found;
            for (const char* name : {"The odd", "Renamed"})
                if (errorOf([&] { manager.getKeyName(name); }) == 0)
                    found += name;
            EXPECT_TRUE(found == after || (isKilled && found == before)) << found;
            // Whatever is left, the next calls find their way.
            EXPECT_EQ(install(), found.empty() ? 0U : ERROR_SERVICE_EXISTS);
            EXPECT_EQ(remove("odd"), 0U);
            EXPECT_EQ(keptServices(), std::vector<std::string>());
        }
        EXPECT_GT(steps, 20);
    }
}

TEST_F(RunningServiceTest, AStartThatIsKilledIsDoneOrCanBeRepeated) {
    createServing("steady");
    for (int step = 1; !endsWithin(step, [this] { start("steady"); }); step += 3) {
        SCOPED_TRACE(step);
        EXPECT_TRUE(comesTrue([this] {
            start("steady");
            return query("steady").state() == SERVICE_RUNNING;
        }));
        EXPECT_EQ(send("steady", SERVICE_CONTROL_STOP), 0U);
    }
}

TEST_F(RunningServiceTest, ObeysRequestsOfItsOwnUserOnly) {
    createServing("private");
    ASSERT_TRUE(runs("private"));
    const auto descriptors = [&] {
        const std::filesystem::directory_iterator entries(
            "/proc/" + std::to_string(processes().at(0)) + "/fd");
        return std::distance(std::filesystem::begin(entries), std::filesystem::end(entries));
    };
    const auto before = descriptors();
    std::vector<Descriptor> connections;
    // Nothing, too little, too much, another version, and names that don't end in the packet.
    const std::uint32_t packets[][3] = {{0x53565831, 0, 0},     {0x53565831, 0, 8},
                                        {0x53565831, 0, 300},   {0x53565830, 0, 272},
                                        {0x53565831, 257, 272}, {0x53565831, 0xFFFFFFFF, 272}};
    for (const auto& [signature, nameLength, size] : packets)
        connections.push_back(sendPacket({signature, 2, 128, nameLength}, size));
    connections.clear();
    // Descriptors that nobody asked for.
    for (int count = 0; count < 20; ++count)
        sendPacket({}, 272, {0, 1, 2});
    EXPECT_EQ(send("private", 128), 0U);
    EXPECT_EQ(query("private").checkPoint(), 1U);
    EXPECT_TRUE(comesTrue([&] { return descriptors() == before; }));
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can be somebody else";

    const int result = runInChild([&] {
        // Nothing but the credentials is in the other user's way: files are still opened as root.
        EXPECT_EQ(seteuid(65534), 0);
        setfsuid(0);
        const Descriptor connection = sendPacket({0x53565831, 2, 128, 0}, 272);
        char answer = 0;
        EXPECT_LE(recv(connection.get(), &answer, sizeof answer, 0), 0);
    });
    EXPECT_EQ(result, 0);
    // A service that gives up its rights stays its user's.
    EXPECT_EQ(send("private", 133), 0U);
    EXPECT_EQ(send("private", 128), 0U);
    EXPECT_EQ(query("private").checkPoint(), 2U);
}

TEST_F(RunningServiceTest, FollowsNoPlantedLinkAndBelievesNoForgedState) {
    namespace fs = std::filesystem;
    createServing("lured");
    const fs::path own = directory.path() / "run/services/lured";
    const fs::path elsewhere = directory.path() / "elsewhere";
    const std::string victim = directory.file("victim", "untouched");
    fs::create_directory(elsewhere);
    fs::permissions(elsewhere, fs::perms::owner_all);
    fs::create_directory_symlink(elsewhere, own);
    EXPECT_EQ(start("lured"), ERROR_ACCESS_DENIED);
    EXPECT_TRUE(fs::is_empty(elsewhere));

    fs::remove(own);
    fs::rename(elsewhere, own);
    fs::create_symlink(victim, own / "state");
    EXPECT_EQ(errorOf([&] { query("lured"); }), ERROR_ACCESS_DENIED);
    fs::remove(own / "state");
    fs::create_symlink(victim, own / ".state");
    fs::create_symlink(victim, own / "control");
    EXPECT_TRUE(runs("lured"));
    EXPECT_EQ(send("lured", SERVICE_CONTROL_STOP), 0U);
    fs::remove(directory.path() / "log/lured.log");
    fs::create_symlink(victim, directory.path() / "log/lured.log");
    EXPECT_TRUE(runs("lured"));
    EXPECT_EQ(contentsOf(victim), "untouched");

    // The exit code in both copies of the record, without a hash that fits.
    EXPECT_EQ(send("lured", SERVICE_CONTROL_STOP), 0U);
    std::string forged = contentsOf(own / "state");
    forged.at(52) = forged.at(140) = 9;
    directory.file("run/services/lured/state", forged);
    EXPECT_EQ(query("lured").exitCode(), ERROR_SERVICE_NEVER_STARTED);
}

}  // namespace
}  // namespace Sorvex::testing
