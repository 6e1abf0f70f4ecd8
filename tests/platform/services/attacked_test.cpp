// Services amid programs that race for them, die in the middle of a call, lie, or are another
// user's.
#include <array>
#include <cstring>
#include <tuple>

#include <fcntl.h>
#include <sched.h>
#include <sys/fsuid.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/services/services_fixture.h"
#include "support/child_process.h"
#include "support/process_facts.h"
namespace Sorvex::testing {
namespace {

using platform::Descriptor;

class AttackedServiceTest : public ServicesTest {
protected:
    // Sends a packet to a running service without the library's part in it, perhaps with
    // descriptors.
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

TEST_F(AttackedServiceTest, OfManyCreatesAndStartsExactlyOneWins) {
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

TEST_F(AttackedServiceTest, AChangeThatIsKilledIsDoneOrNot) {
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

TEST_F(AttackedServiceTest, AStartThatIsKilledIsDoneOrCanBeRepeated) {
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

TEST_F(AttackedServiceTest, TakesALockForMoreThanARecord) {
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

TEST_F(AttackedServiceTest, ObeysRequestsOfItsOwnUserOnly) {
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

TEST_F(AttackedServiceTest, FollowsNoPlantedLinkAndBelievesNoForgedState) {
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
