#include "platform/posix/named_events.h"

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/holder_process.h"
#include "platform/platform.h"
#include "support/child_process.h"
#include "support/process_facts.h"
#include "support/stress.h"
#include "support/temporary_directory.h"

namespace {

using namespace Sorvex;
using platform::EventHome;
using Sorvex::testing::HolderProcess;
using Arrival = platform::NamedEvent::Arrival;
using Event = std::unique_ptr<platform::NamedEvent>;
constexpr auto machine = platform::Sharing::machine;

std::string freshName() {
    static std::atomic<int> number{0};
    return "sorvex test " + std::to_string(getpid()) + " " + std::to_string(++number);
}

Event create(const std::string& name, Arrival expected,
             const EventHome& home = EventHome::ofUser()) {
    Arrival arrival{};
    Event event = platform::NamedEvent::create(home, name.c_str(), false, arrival);
    EXPECT_NE(event, nullptr) << name;
    EXPECT_EQ(arrival, expected) << name;
    return event;
}

Event open(const std::string& name, const EventHome& home = EventHome::ofUser()) {
    return platform::NamedEvent::open(home, name.c_str());
}

bool isPosted(const Event& event) {
    return event->state().wait(0, machine) == WAIT_OBJECT_0;
}

bool isFresh(const std::string& name) {
    return !isPosted(create(name, Arrival::created));
}

TEST(NamedEvents, OfDifferentNamesAreDifferentEvents) {
    const std::string x(258, 'x');
    std::vector<std::string> names{"a",
                                   "A",
                                   "a/b",
                                   "a_b",
                                   "a%2Fb",
                                   "a\\b",
                                   "a%5Cb",
                                   ".",
                                   "..",
                                   "../a",
                                   "a/../b",
                                   "/",
                                   "a b",
                                   "a+b",
                                   "\xE4",
                                   "%",
                                   "Global\\a",
                                   "a\n",
                                   x + "x",
                                   x,
                                   x + "y",
                                   x + "/",
                                   std::string(259, '/'),
                                   std::string(258, '/') + ".",
                                   std::string(240, 'x'),
                                   std::string(241, 'x'),
                                   std::string(240, 'x') + "+"};
    std::vector<Event> events;
    for (std::string& name : names) {
        // Apart from the tests that run at the same time, and still no longer than it may be.
        name.insert(0, std::to_string(getpid()));
        name.erase(0, name.size() - std::min<std::size_t>(name.size(), 259));
        events.push_back(create(name, Arrival::created));
    }
    for (const Event& posted : events) {
        posted->state().post(machine);
        for (const Event& event : events)
            EXPECT_EQ(isPosted(event), event == posted);
        posted->state().reset();
    }
}

TEST(NamedEvents, AreSharedWithExecutedProcesses) {
    const std::string name = freshName() + "/../x";
    HolderProcess first(name);
    HolderProcess second(name);
    EXPECT_EQ(first.ask("oc"), "failed new ");
    EXPECT_EQ(second.ask("c0"), "joined 258 ");
    EXPECT_EQ(first.ask("s"), "done ");
    EXPECT_EQ(second.ask("wr"), "0 done ");
    second.tell('w');
    EXPECT_EQ(first.ask("s"), "done ");
    EXPECT_EQ(second.answer(), "0");
    EXPECT_EQ(first.ask("xo0"), "done joined 0 ");
    EXPECT_EQ(first.ask("r"), "done ");

    const std::string facts = "/proc/" + std::to_string(second.id()) + "/syscall";
    if (!std::ifstream(facts))
        GTEST_SKIP() << "the host doesn't tell what a process does";
    second.tell('w');
    for (std::string call; call != std::to_string(SYS_futex);)
        std::ifstream(facts) >> call;
    EXPECT_EQ(first.ask("p0"), "done 258 ");
    EXPECT_EQ(second.answer(), "0");
}

TEST(NamedEvents, LiveUntilTheLastHolderDiesOrExecutesAnotherProgram) {
    const std::string name = freshName();
    HolderProcess first(name);
    HolderProcess second(name);
    ASSERT_EQ(first.ask("c"), "new ");
    ASSERT_EQ(second.ask("cs"), "joined done ");
    first.kill();
    EXPECT_TRUE(isPosted(create(name, Arrival::joined)));
    second.tell('e');
    ASSERT_EQ(second.answer(), "idle");
    EXPECT_EQ(open(name), nullptr);
    EXPECT_TRUE(isFresh(name));
}

TEST(NamedEvents, AreHeldByForkedChildrenToo) {
    const std::string name = freshName();
    HolderProcess holder(name);
    ASSERT_EQ(holder.ask("csf"), "new done done ");
    // What a child gives up stays with its parent ...
    EXPECT_TRUE(isPosted(create(name, Arrival::joined)));
    // ... and what a parent gives up with its child.
    const pid_t child = std::stoi(holder.ask("F"));
    EXPECT_EQ(holder.ask("xc"), "done joined ");
    holder.kill();
    EXPECT_TRUE(isPosted(create(name, Arrival::joined)));
    kill(child, SIGKILL);
    const auto limit = std::chrono::steady_clock::now() + Sorvex::testing::generousLimit;
    while (open(name) != nullptr && std::chrono::steady_clock::now() < limit)
        std::this_thread::yield();
    EXPECT_TRUE(isFresh(name));
}

// Stops a process before it does anything, leads it through a number of begins and ends of system
// calls, and kills it there.
class TracedHolder {
public:
    TracedHolder(const std::string& name, const std::string& letters)
        : process(name, "traced", letters) {
        canBeTraced = stopped();
    }

    /// Whether it has ended by itself before it had made as many steps.
    bool endsWithin(int steps) {
        for (; steps > 0; --steps)
            if (ptrace(PTRACE_SYSCALL, process.id(), nullptr, nullptr) != 0 || !stopped())
                return true;
        return false;
    }

    void kill() { process.kill(); }

    bool canBeTraced = false;

private:
    bool stopped() {
        int status = 0;
        return waitpid(process.id(), &status, 0) == process.id() && WIFSTOPPED(status);
    }

    HolderProcess process;
};

TEST(NamedEvents, AreFreshWhereverTheOnlyHolderIsKilled) {
    const std::string name = freshName();
    bool ended = false;
    for (int steps = 0; !ended && !HasFailure(); ++steps) {
        SCOPED_TRACE(steps);
        TracedHolder holder(name, "csrpx");
        if (!holder.canBeTraced)
            GTEST_SKIP() << "processes can't be traced here";
        ended = holder.endsWithin(steps);
        holder.kill();
        EXPECT_TRUE(isFresh(name));
    }
}

TEST(NamedEvents, WakeTheirSleepersWhereverThePosterIsKilled) {
    const std::string name = freshName();
    const Event event = create(name, Arrival::created);
    bool ended = false;
    int posts = 0;
    for (int steps = 0; !ended && !HasFailure(); ++steps) {
        SCOPED_TRACE(steps);
        const auto start = std::chrono::steady_clock::now();
        std::thread sleeper([&] {
            event->state().wait(static_cast<platform::DWORD>(Sorvex::testing::generousMilliseconds),
                                machine);
        });
        TracedHolder poster(name, "csx");
        ended = !poster.canBeTraced || poster.endsWithin(steps);
        poster.kill();
        if (isPosted(event))
            ++posts;  // then the sleeper must come back without another
        else
            event->state().post(machine);
        sleeper.join();
        event->state().reset();
        EXPECT_LT(std::chrono::steady_clock::now() - start, Sorvex::testing::generousLimit);
        if (!poster.canBeTraced)
            GTEST_SKIP() << "processes can't be traced here";
    }
    EXPECT_GT(posts, 0);
    create(name, Arrival::joined);
}

TEST(NamedEvents, SurviveHoldersKilledAtRandom) {
    const std::string name = freshName() + " ";
    const Event held = create(name + "0", Arrival::created);
    std::minstd_rand random(static_cast<unsigned>(getpid()));
    std::array<std::unique_ptr<HolderProcess>, 3> storms;
    for (int round = 0; round < Sorvex::testing::stressRounds(40, 20); ++round) {
        auto& storm = storms[static_cast<std::size_t>(round) % storms.size()];
        storm.reset();
        storm = std::make_unique<HolderProcess>(name, "storm", std::to_string(random()));
        ASSERT_EQ(storm->answer(), "storming");
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
        create(name + "0", Arrival::joined)->state().post(machine);
        Arrival either{};
        EXPECT_NE(
            platform::NamedEvent::create(EventHome::ofUser(), (name + "1").c_str(), false, either),
            nullptr);
    }
    storms = {};
    create(name + "0", Arrival::joined);
    for (const char* which : {"1", "2", "3"})
        EXPECT_TRUE(isFresh(name + which));
}

// The directory of events in a parent of the test's own, where things can be planted.
class PlantedEvents : public ::testing::Test {
protected:
    EventHome home() const { return {parent.path().c_str(), geteuid()}; }
    std::filesystem::path directory() const {
        return parent.path() / ("sorvex-" + std::to_string(geteuid()));
    }

    std::string plant(const std::string& name, const std::string& contents, mode_t mode) const {
        std::string file = (directory() / name).string();
        std::ofstream(file) << contents;
        chmod(file.c_str(), mode);
        return file;
    }

    void expectFailure(const std::string& name) const {
        Arrival arrival{};
        EXPECT_EQ(platform::NamedEvent::create(home(), name.c_str(), false, arrival), nullptr);
    }

    // Creates the event, expects it to be new and not posted, and uses it.
    void expectWorking(const std::string& name) const {
        const Event event = create(name, Arrival::created, home());
        EXPECT_FALSE(isPosted(event));
        event->state().post(machine);
        EXPECT_TRUE(isPosted(create(name, Arrival::joined, home())));
    }

    Sorvex::testing::TemporaryDirectory parent;
};

TEST_F(PlantedEvents, AreNotMistakenForEvents) {
    std::filesystem::create_directory(directory());
    const std::string victim = parent.file("victim", "untouched text");
    chmod(victim.c_str(), 0600);
    std::filesystem::create_symlink(victim, directory() / "symlink");
    std::filesystem::create_symlink("/nowhere", directory() / "dangling");
    std::filesystem::create_hard_link(victim, directory() / "hardlink");
    ASSERT_EQ(mkfifo((directory() / "fifo").c_str(), 0600), 0);
    plant("posted", "\x01\x01\x01\x01\x01\x01\x01\x01", 0600);
    plant("short", "x", 0600);
    plant("open", "\x01\x01\x01\x01\x01\x01\x01\x01", 0666);
    plant("shut", "", 0);
    for (const char* name :
         {"symlink", "dangling", "hardlink", "fifo", "posted", "short", "open", "shut"})
        expectWorking(name);
    EXPECT_EQ(Sorvex::testing::contentsOf(victim), "untouched text");
    EXPECT_TRUE(std::filesystem::is_empty(directory()));
}

TEST_F(PlantedEvents, AreAFailureAndStayWhereTheyCantBePutAside) {
    const std::string longName(259, 'x');
    const std::filesystem::path outside = parent.path() / "outside";
    std::filesystem::create_directory(outside);
    std::filesystem::create_directories(directory() / "a" / "inside");
    std::filesystem::create_directory_symlink(outside, directory() / (longName.substr(19) + "+"));
    expectFailure("a");
    expectFailure(longName);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(open(longName, home()), nullptr);
    EXPECT_TRUE(std::filesystem::exists(directory() / "a" / "inside"));
    EXPECT_TRUE(std::filesystem::is_empty(outside));

    const platform::Descriptor foreign =
        platform::openAt(AT_FDCWD, plant("locked", "", 0600).c_str(), O_RDWR);
    ASSERT_EQ(flock(foreign.get(), LOCK_SH), 0);
    expectFailure("locked");
}

TEST_F(PlantedEvents, NameTakenByAnotherDoesNotKeepTheOwnerOut) {
    constexpr uid_t nobody = 65534;
    const std::filesystem::path elsewhere = parent.path() / "elsewhere";
    std::filesystem::create_directory(elsewhere);
    if (geteuid() == 0) {
        std::filesystem::create_directory(directory());
        ASSERT_EQ(chown(directory().c_str(), nobody, nobody), 0);
        const std::string second = directory().string() + ".0";
        std::filesystem::create_directory(second);
        ASSERT_EQ(chown(second.c_str(), nobody, nobody), 0);
    } else {
        std::filesystem::create_directory_symlink(elsewhere, directory());
    }
    const Event event = create("a", Arrival::created, home());
    create("a", Arrival::joined, home());
    EXPECT_TRUE(std::filesystem::is_empty(directory()));
    // The event stays where it is when the name becomes free again.
    std::filesystem::remove(directory());
    create("a", Arrival::joined, home());
}

TEST_F(PlantedEvents, AreOutOfReachOfAnotherUser) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    chmod(parent.path().c_str(), 01777);
    std::filesystem::create_directory(directory());
    chmod(directory().c_str(), 0777);  // made private again by its next use
    const Event event = create("a", Arrival::created, home());
    const EventHome ours = home();
    EXPECT_EQ(Sorvex::testing::runUnprivileged([&] {
                  EXPECT_EQ(open("a", ours), nullptr);
                  EXPECT_NE(unlink(parent.name("sorvex-0/a").c_str()), 0);
                  umask(0777);  // which must not shut out its own user
                  expectWorking("a");
                  expectWorking(std::string(259, '/'));
              }),
              0);
    EXPECT_FALSE(isPosted(event));
}

TEST_F(PlantedEvents, FilesOfKilledHoldersAreClearedAway) {
    const std::string piece = std::string(240, 'x') + "+";
    std::filesystem::create_directories(directory() / piece);
    plant("left", "12345678", 0600);
    plant(piece + "/left too", "12345678", 0600);
    const std::size_t descriptors = Sorvex::testing::openDescriptors();
    {
        const Event held = create("held", Arrival::created, home());
        platform::NamedEvent::clearAway(platform::EventDirectory(home()), home().owner);
        create("held", Arrival::joined, home());
        EXPECT_EQ(Sorvex::testing::openDescriptors(), descriptors);
    }
    EXPECT_TRUE(std::filesystem::is_empty(directory()));
}

}  // namespace
