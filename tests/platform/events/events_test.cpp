#include "platform/posix/events/events.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/platform.h"
#include "platform/posix/base/kernel_files.h"
#include "platform/posix/events/named_events.h"
#include "support/child_process.h"
#include "support/process_facts.h"
#include "support/stress.h"
#include "support/temporary_directory.h"

namespace {

using namespace Sorvex;
using namespace Sorvex::platform;
using namespace Sorvex::testing;
using Event = std::unique_ptr<NamedEvent>;

// Whether an event is expected to be new.
constexpr bool created = true;
constexpr bool joined = false;

constexpr auto generous = static_cast<DWORD>(generousMilliseconds);

std::string freshName() {
    static std::atomic<int> number{0};
    return "sorvex test " + std::to_string(getpid()) + " " + std::to_string(++number);
}

// Whether threads may be asleep on an event.
bool isAwaited(const EventState& event) {
    return (reinterpret_cast<const std::atomic<std::uint32_t>&>(event).load() & 2) != 0;
}

bool isAsleep(const std::atomic<pid_t>& thread) {
    return thread != 0 && StatLine::ofThread(thread).state() == 'S';
}

// A waiter that nobody has woken finds at the end of its time that it may pass, so only the clock
// can tell whether it was let through before.
bool isLetThrough(EventState& event, Sharing sharing) {
    const auto start = std::chrono::steady_clock::now();
    return event.wait(generous, sharing) == WAIT_OBJECT_0 &&
           std::chrono::steady_clock::now() - start < generousLimit;
}

TEST(Events, ReleaseEveryoneWhoWaitsWhateverFollowsAtOnce) {
    for (int round = 0; round < stressRounds(20); ++round) {
        const Sharing sharing = round % 2 == 0 ? Sharing::process : Sharing::machine;
        for (const std::string actions : {"p", "pp", "pr", "sr", "sp", "srsrsrsr"}) {
            SCOPED_TRACE(actions);
            EventState event;
            std::atomic<unsigned> released{0};
            std::array<std::thread, 8> waiters;
            std::array<std::atomic<pid_t>, waiters.size()> ids{};
            for (std::size_t index = 0; index < waiters.size(); ++index)
                waiters[index] = std::thread([&, index] {
                    ids[index] = gettid();
                    released += isLetThrough(event, sharing) ? 1U : 0U;
                });
            while (!std::all_of(ids.begin(), ids.end(), isAsleep))
                std::this_thread::yield();
            for (const char action : actions)
                action == 's'   ? event.post(sharing)
                : action == 'p' ? event.pulse(sharing)
                                : event.reset();
            for (std::thread& waiter : waiters)
                waiter.join();
            EXPECT_EQ(released, waiters.size());
            EXPECT_EQ(event.wait(0, sharing), WAIT_TIMEOUT);
        }
    }
}

TEST(Events, ReleaseNobodyWhoComesAfterThePulse) {
    EventState event;
    std::atomic<int> begun{0};
    std::atomic<int> done{0};
    std::atomic<int> passed{0};
    const int enough = stressRounds(2000);
    const auto wait = [&] {
        while (passed < enough) {
            const int before = done;
            if (event.wait(1, Sharing::process) == WAIT_TIMEOUT)
                continue;
            EXPECT_GT(begun, before);
            ++passed;
        }
    };
    std::thread waiters[] = {std::thread(wait), std::thread(wait)};
    while (passed < enough) {
        ++begun;
        event.pulse(Sharing::process);
        ++done;
    }
    for (std::thread& waiter : waiters)
        waiter.join();
}

TEST(Events, WaitOnThroughSignals) {
    static std::atomic<int> signals{0};
    const auto previous = std::signal(SIGALRM, [](int) { ++signals; });
    const itimerval everyMillisecond{{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &everyMillisecond, nullptr);
    EventState event;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(event.wait(100, Sharing::process), WAIT_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
    // Each interrupted call would add what its start and its end take.
    const auto beginOfSleep = std::chrono::steady_clock::now();
    Sleep(500);
    EXPECT_LT(std::chrono::steady_clock::now() - beginOfSleep, std::chrono::milliseconds(590));
    ualarm(0, 0);
    std::signal(SIGALRM, previous);
    EXPECT_GT(signals, 1);
}

TEST(Events, TellWhatIsWrongByTheLastError) {
    HandleObject other;
    const std::string tooLong(260, 'x');
    const std::pair<std::function<bool()>, DWORD> cases[] = {
        {[] { return SetEvent(nullptr); }, ERROR_INVALID_HANDLE},
        {[&] { return PulseEvent(&other); }, ERROR_INVALID_HANDLE},
        {[] { return CreateEventA(nullptr, FALSE, TRUE, ""); }, ERROR_NOT_SUPPORTED},
        {[&] { return CreateEventA(nullptr, TRUE, TRUE, tooLong.c_str()); },
         ERROR_FILENAME_EXCED_RANGE},
        {[] { return OpenEventA(0, FALSE, nullptr); }, ERROR_INVALID_PARAMETER},
        {[] { return OpenEventA(0, FALSE, "sorvex/none"); }, ERROR_FILE_NOT_FOUND}};
    for (const auto& [operation, error] : cases) {
        SCOPED_TRACE(&error - &cases[0].second);
        SetLastError(ERROR_SUCCESS);
        EXPECT_FALSE(operation());
        EXPECT_EQ(GetLastError(), error);
    }
}

TEST(Events, TellWhetherTheyAreNewAndCanStartPosted) {
    const std::string name = freshName();
    const char* const names[] = {nullptr, nullptr, "", "", name.c_str(), name.c_str()};
    HANDLE events[6] = {};
    for (int index = 0; index < 6; ++index) {
        SetLastError(ERROR_INVALID_HANDLE);
        events[index] = CreateEventA(nullptr, TRUE, index != 5, names[index]);
        EXPECT_EQ(GetLastError(), index == 5 ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
        EXPECT_EQ(WaitForSingleObject(events[index], 0), WAIT_OBJECT_0);
    }
    for (const HANDLE event : events)
        CloseHandle(event);
}

Event create(const std::string& name, bool isNew, const EventHome& home = EventHome::ofUser()) {
    Event event = NamedEvent::create(home, name.c_str(), false);
    EXPECT_TRUE(event != nullptr && event->isNew() == isNew) << name;
    return event;
}

Event open(const std::string& name, const EventHome& home = EventHome::ofUser()) {
    return NamedEvent::open(home, name.c_str());
}

bool isPosted(const Event& event) {
    return event->state().wait(0, Sharing::machine) == WAIT_OBJECT_0;
}

// The kernel can keep the memory of a killed process, and with it the event, for a moment.
bool isFresh(const std::string& name) {
    Event event;
    const auto isCreated = [&] {
        event.reset();
        event = NamedEvent::create(EventHome::ofUser(), name.c_str(), false);
        return event != nullptr && event->isNew();
    };
    return comesTrue(isCreated) && !isPosted(event);
}

TEST(NamedEvents, OfDifferentNamesAreDifferentEvents) {
    std::vector<std::string> names{"a",  "A",    "a/b", "a_b", "a%2Fb", "a\\b", "a%5Cb",
                                   "..", "../a", "/",   "a+b", "\xE4",  "%",    "a\n"};
    for (const std::size_t length : {240U, 258U})
        for (const char* last : {"", "x", "y", "/", "+"})
            names.push_back(std::string(length, 'x') + last);
    names.push_back(std::string(259, '/'));
    names.push_back(std::string(258, '/') + ".");
    std::vector<Event> events;
    for (std::string& name : names) {
        // Apart from the tests that run at the same time, and still no longer than it may be.
        name.insert(0, std::to_string(getpid()));
        name.erase(0, name.size() - std::min<std::size_t>(name.size(), 259));
        events.push_back(create(name, created));
    }
    for (const Event& posted : events) {
        posted->state().post(Sharing::machine);
        for (const Event& event : events)
            EXPECT_EQ(isPosted(event), event == posted);
        posted->state().reset();
    }
}

TEST(NamedEvents, AreSharedWithOtherProgramsUntilTheLastDiesOrExecutesAnother) {
    const std::string name = freshName() + "/../x";
    const std::string program = "exec '" SORVEX_EVENT_HOLDER "' '" + name + "'";
    std::FILE* const holders[] = {popen(program.c_str(), "w"), popen(program.c_str(), "w")};
    const auto tell = [&holders](int holder, char letter) {
        std::fputc(letter, holders[holder]);
        std::fflush(holders[holder]);
    };
    const auto exists = [&] { return open(name) != nullptr; };
    tell(0, 'c');
    ASSERT_TRUE(comesTrue(exists));
    {
        const Event event = create(name, joined);
        EventState& state = event->state();
        tell(1, 'c');
        for (int round = 0; round < 20; ++round) {
            tell(1, 'w');
            ASSERT_TRUE(comesTrue([&] { return isAwaited(state); }));
            round % 2 == 0 ? state.post(Sharing::machine) : state.pulse(Sharing::machine);
            state.reset();
        }
        tell(1, 's');
        EXPECT_TRUE(isLetThrough(state, Sharing::machine));
    }
    tell(0, 'k');
    EXPECT_EQ(pclose(holders[0]), SIGKILL);
    EXPECT_TRUE(isPosted(create(name, joined)));
    tell(1, 'e');
    EXPECT_TRUE(comesTrue([&] { return !exists(); }));
    EXPECT_TRUE(isFresh(name));
    tell(1, 'c');
    EXPECT_TRUE(comesTrue(exists));
    EXPECT_EQ(pclose(holders[1]), 0);
}

TEST(NamedEvents, AreHeldByForkedChildrenToo) {
    const std::string name = freshName();
    Event event = create(name, created);
    event->state().post(Sharing::machine);
    // What a child gives up stays with its parent, and what a parent gives up with its child.
    EXPECT_EQ(runInChild([&] { event.reset(); }), 0);
    EXPECT_TRUE(isPosted(create(name, joined)));
    const pid_t child = forked([] { pause(); });
    event.reset();
    EXPECT_TRUE(isPosted(create(name, joined)));
    EXPECT_EQ(killed(child), SIGKILL);
    EXPECT_TRUE(isFresh(name));
}

void useEvent(const std::string& name) {
    const Event event = NamedEvent::create(EventHome::ofUser(), name.c_str(), false);
    if (event == nullptr)
        _exit(1);
    event->state().post(Sharing::machine);
    event->state().reset();
}

TEST(NamedEvents, AreFreshWhereverTheOnlyHolderIsKilled) {
    const std::string name = freshName();
    const auto use = [&] { useEvent(name); };
    int steps = 0;
    for (; !endsWithin(steps, use) && !HasFailure(); ++steps) {
        SCOPED_TRACE(steps);
        EXPECT_TRUE(isFresh(name));
    }
    if (steps == 0)
        GTEST_SKIP() << "processes can't be traced here";
}

TEST(NamedEvents, AreFreshWhenHoldersAreKilledAtRandom) {
    const std::string name = freshName();
    const Event held = create(name + "held", created);
    std::minstd_rand random(static_cast<unsigned>(getpid()));
    const auto useForEver = [&] {
        for (;;)
            for (const char* which : {"held", "free"})
                useEvent(name + which);
    };
    for (int round = 0; round < stressRounds(40, 20); ++round) {
        const pid_t users[] = {forked(useForEver), forked(useForEver), forked(useForEver)};
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 5000));
        create(name + "held", joined);
        for (const pid_t user : users)
            EXPECT_EQ(killed(user), SIGKILL);
        EXPECT_TRUE(isFresh(name + "free"));
    }
}

TEST(NamedEvents, WakeTheirSleepersWhereverThePosterIsKilled) {
    const Event event = create(freshName(), created);
    const auto post = [&] { event->state().post(Sharing::machine); };
    int posts = 0;
    bool ended = false;
    for (int steps = 0; !ended && !HasFailure(); ++steps) {
        SCOPED_TRACE(steps);
        std::thread sleeper([&] { EXPECT_TRUE(isLetThrough(event->state(), Sharing::machine)); });
        while (!isAwaited(event->state()))
            std::this_thread::yield();
        ended = endsWithin(steps, post);
        // When it is posted the sleeper must come back without another post.
        if (isPosted(event))
            ++posts;
        else
            post();
        sleeper.join();
        event->state().reset();
        if (ended && steps == 0)
            GTEST_SKIP() << "processes can't be traced here";
    }
    EXPECT_GT(posts, 0);
}

// The directory of events in a parent of the test's own, where things can be planted.
class PlantedEvents : public ::testing::Test {
protected:
    void plant(const std::string& name, const std::string& contents, mode_t mode) const {
        std::ofstream(directory / name) << contents;
        chmod((directory / name).c_str(), mode);
    }

    // Creates the event of a user, expects it to be new and not posted, and uses it.
    static void expectWorking(const std::string& name, const EventHome& home) {
        const Event event = create(name, created, home);
        EXPECT_FALSE(isPosted(event));
        event->state().post(Sharing::machine);
        EXPECT_TRUE(isPosted(create(name, joined, home)));
    }

    const TemporaryDirectory parent;
    const std::filesystem::path directory = parent.path() / ("sorvex-" + std::to_string(geteuid()));
    const EventHome ours{parent.path().c_str(), geteuid()};
};

TEST_F(PlantedEvents, AreNotMistakenForEvents) {
    const std::string posted(8, '\1');
    expectWorking("first", ours);  // in each process the first event clears the others away
    const std::string victim = parent.file("victim", "untouched text");
    chmod(victim.c_str(), 0600);
    std::filesystem::create_symlink(victim, directory / "symlink");
    std::filesystem::create_hard_link(victim, directory / "hardlink");
    ASSERT_EQ(mkfifo((directory / "fifo").c_str(), 0600), 0);
    plant("posted", posted, 0600);
    plant("short", "x", 0600);
    plant("open", posted, 0666);
    plant("shut", "", 0);
    for (const char* name : {"symlink", "hardlink", "fifo", "posted", "short", "open", "shut"})
        expectWorking(name, ours);
    EXPECT_EQ(contentsOf(victim), "untouched text");
    EXPECT_TRUE(std::filesystem::is_empty(directory));
}

TEST_F(PlantedEvents, AreAFailureAndStayWhereTheyCantBePutAside) {
    const std::string longName(259, 'x');
    const std::filesystem::path outside = parent.path() / "outside";
    std::filesystem::create_directory(outside);
    std::filesystem::create_directories(directory / "a" / "inside");
    std::filesystem::create_directory_symlink(outside, directory / (longName.substr(19) + "+"));
    EXPECT_EQ(NamedEvent::create(ours, "a", false), nullptr);
    EXPECT_EQ(NamedEvent::create(ours, longName.c_str(), false), nullptr);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(open(longName, ours), nullptr);
    EXPECT_TRUE(std::filesystem::exists(directory / "a" / "inside"));
    EXPECT_TRUE(std::filesystem::is_empty(outside));

    plant("locked", "", 0600);
    const Descriptor foreign = platform::openAt(AT_FDCWD, (directory / "locked").c_str(), O_RDWR);
    ASSERT_EQ(flock(foreign.get(), LOCK_SH), 0);
    EXPECT_EQ(NamedEvent::create(ours, "locked", false), nullptr);
}

TEST_F(PlantedEvents, AreNotLockedByTheChildOfAKilledHolder) {
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    const pid_t holder = forked([&] {
        const EventDirectory held(ours);
        if (const pid_t child = forked([] { pause(); }); write(ends[1], &child, sizeof child) > 0)
            std::raise(SIGKILL);
    });
    pid_t child = 0;
    ASSERT_EQ(read(ends[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
    waitpid(holder, nullptr, 0);
    EXPECT_EQ(runInChild([&] {
                  alarm(60);
                  create("a", created, ours);
              }),
              0);
    kill(child, SIGKILL);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(PlantedEvents, NameTakenByAnotherDoesNotKeepTheOwnerOut) {
    constexpr uid_t nobody = 65534;
    if (geteuid() == 0) {
        for (const std::string& taken : {directory.string(), directory.string() + ".0"}) {
            std::filesystem::create_directory(taken);
            ASSERT_EQ(chown(taken.c_str(), nobody, nobody), 0);
        }
    } else {
        std::filesystem::create_directory(parent.path() / "elsewhere");
        std::filesystem::create_directory_symlink(parent.path() / "elsewhere", directory);
    }
    const Event event = create("a", created, ours);
    create("a", joined, ours);
    EXPECT_TRUE(std::filesystem::is_empty(directory));
    // The event stays where it is when the name becomes free again.
    std::filesystem::remove(directory);
    create("a", joined, ours);
}

TEST_F(PlantedEvents, AreOutOfReachOfAnotherUser) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    chmod(parent.path().c_str(), 01777);
    std::filesystem::create_directory(directory);
    chmod(directory.c_str(), 0777);  // made private again by its next use
    const Event event = create("a", created, ours);
    EXPECT_EQ(runUnprivileged([&] {
                  EXPECT_EQ(open("a", ours), nullptr);
                  EXPECT_NE(unlink(parent.name("sorvex-0/a").c_str()), 0);
                  const EventHome theirs{ours.parent, geteuid()};
                  umask(0777);  // which must not shut out its own user
                  expectWorking("a", theirs);
                  expectWorking(std::string(259, '/'), theirs);
              }),
              0);
    EXPECT_FALSE(isPosted(event));
}

TEST_F(PlantedEvents, FilesOfKilledHoldersAreClearedAway) {
    const std::string piece = std::string(240, 'x') + "+";
    std::filesystem::create_directories(directory / piece);
    plant("left", "12345678", 0600);
    plant(piece + "/left too", "12345678", 0600);
    const std::size_t descriptors = openDescriptors();
    {
        const Event held = create("held", created, ours);
        NamedEvent::clearAway(EventDirectory(ours), ours.owner);
        create("held", joined, ours);
        EXPECT_EQ(openDescriptors(), descriptors);
    }
    EXPECT_TRUE(std::filesystem::is_empty(directory));
}

}  // namespace
