// A crash after each single step of a change to the database, brought about by dying at that point.
#include <csignal>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/posix/services/disk_steps.h"
#include "platform/services/services_fixture.h"

namespace {

int stepsUntilDeath = -1;

// Counts a step that has been done.
void step() {
    if (stepsUntilDeath > 0 && --stepsUntilDeath == 0)
        raise(SIGKILL);
}

}  // namespace

namespace Sorvex::platform::services {

void makeDirectory(int parent, const char* name) {
    mkdirat(parent, name, 0700);
    step();
}

Descriptor makeFile(int parent, const char* name) {
    Descriptor file = openAt(parent, name, O_WRONLY | O_CREAT | O_EXCL, 0600);
    step();
    return file;
}

// Byte by byte, so that a crash can leave any part of a text.
void writeBytes(int file, std::string_view bytes) {
    for (const char byte : bytes) {
        EXPECT_EQ(write(file, &byte, 1), 1);
        if (stepsUntilDeath > 0 && &byte - bytes.data() < 3)
            step();
    }
    step();
}

void syncToDisk(int file) {
    EXPECT_EQ(fsync(file), 0);
    step();
}

void renameEntry(int directory, const char* from, const char* to) {
    EXPECT_EQ(renameat(directory, from, directory, to), 0);
    step();
}

void removeEntry(int directory, const char* name, int flags) {
    if (unlinkat(directory, name, flags) == 0)
        step();
}

}  // namespace Sorvex::platform::services

namespace Sorvex::testing {
namespace {

class CrashTest : public ServicesTest {
protected:
    // Does something in a child that dies after so many steps; true when it got to the end.
    template <typename Action>
    static bool survives(int steps, Action action) {
        const pid_t child = fork();
        if (child == 0) {
            stepsUntilDeath = steps;
            action();
            _exit(0);
        }
        int result = -1;
        EXPECT_EQ(waitpid(child, &result, 0), child);
        EXPECT_TRUE(WIFEXITED(result) || WTERMSIG(result) == SIGKILL);
        return WIFEXITED(result);
    }

    static platform::DWORD createVictim() {
        const OwnedHandle service(platform::CreateServiceA(
            manager(), "victim", "The victim", SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
            SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, "/bin/true", nullptr, nullptr, nullptr,
            nullptr, nullptr));
        return errorOf(service != nullptr);
    }

    static void removeVictim() { EXPECT_TRUE(platform::DeleteService(open("victim"))); }

    // Nothing is left of a service that has gone, and of none that was begun.
    void expectNothingLeft() const {
        EXPECT_EQ(platform::services::Store().database().keys(), std::vector<std::string>());
    }
};

TEST_F(CrashTest, ACreateIsDoneOrNot) {
    int steps = 1;
    for (; !survives(steps, [] { createVictim(); }); ++steps) {
        SCOPED_TRACE(steps);
        const bool isDone = displayNameOf("victim") == "The victim";
        EXPECT_EQ(displayNameOf("victim"), isDone ? "The victim" : "error 1060");
        EXPECT_EQ(nameShownAs("The victim"), isDone ? "victim" : "error 1060");
        // Either way the next create finds its way.
        EXPECT_EQ(createVictim(), isDone ? ERROR_SERVICE_EXISTS : 0U);
        EXPECT_EQ(displayNameOf("victim"), "The victim");
        removeVictim();
        expectNothingLeft();
    }
    EXPECT_GT(steps, 15);
}

TEST_F(CrashTest, AChangeIsDoneOrNot) {
    const auto change = [] { rename(open("victim"), "Renamed"); };
    int steps = 1;
    ASSERT_EQ(createVictim(), 0U);
    for (; !survives(steps, change); ++steps) {
        SCOPED_TRACE(steps);
        const bool isDone = displayNameOf("victim") == "Renamed";
        EXPECT_EQ(displayNameOf("victim"), isDone ? "Renamed" : "The victim");
        EXPECT_EQ(nameShownAs("Renamed"), isDone ? "victim" : "error 1060");
        EXPECT_EQ(nameShownAs("The victim"), isDone ? "error 1060" : "victim");
        removeVictim();
        ASSERT_EQ(createVictim(), 0U);
    }
    EXPECT_GT(steps, 10);
}

TEST_F(CrashTest, ADeletionIsDoneOrNot) {
    ASSERT_EQ(createVictim(), 0U);
    int steps = 1;
    for (; !survives(steps, removeVictim); ++steps) {
        SCOPED_TRACE(steps);
        const platform::DWORD error = errorOf(open("victim") != nullptr);
        EXPECT_TRUE(error == 0 || error == ERROR_SERVICE_DOES_NOT_EXIST) << error;
        if (error == 0)
            removeVictim();
        expectNothingLeft();
        ASSERT_EQ(createVictim(), 0U);
    }
    EXPECT_GT(steps, 6);
}

}  // namespace
}  // namespace Sorvex::testing
