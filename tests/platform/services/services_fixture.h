// Services of a test's own, kept in a directory of its own.
#pragma once

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sorvex/services.h>

#include "platform/platform.h"
#include "platform/posix/services/store.h"
#include "support/stress.h"
#include "support/temporary_directory.h"

namespace Sorvex::testing {

/// The two things that the service manager fixes for good, in this program at a test's choice:
/// where it keeps its services, and how long it waits for one.
struct ServicePlaces {
    std::string directory;
    std::chrono::milliseconds limit{120000};
};
ServicePlaces& servicePlaces();

/// The last error after a failing call of the service classes; 0 when it succeeds.
template <typename Call>
platform::DWORD errorOf(Call call) {
    try {
        call();
    } catch (const std::runtime_error&) {
        return platform::GetLastError();
    }
    return 0;
}

/// What a service is created with, to be changed in one place or another.
struct Installation {
    const char* name = "odd";
    const char* display = nullptr;
    const char* command = "/nowhere/program";
    unsigned long startType = SERVICE_DEMAND_START;
    unsigned long type = SERVICE_WIN32_OWN_PROCESS;
    unsigned long errorControl = SERVICE_ERROR_NORMAL;
    unsigned long access = SERVICE_ALL_ACCESS;
    const char* group = nullptr;
    const char* dependencies = nullptr;
};

class ServicesTest : public ::testing::Test {
protected:
    ~ServicesTest() override {
        end(processes());
        // Nothing that can be answered at once waits for the limit.
        EXPECT_LT(std::chrono::steady_clock::now() - begin, places.limit);
    }

    /// The processes of services of this test, and their children.
    std::vector<pid_t> processes() const {
        std::vector<pid_t> found;
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            std::ifstream stream(entry.path() / "cmdline");
            std::string words;
            if (std::getline(stream, words) && words.find(directory.name()) != std::string::npos)
                found.push_back(std::stoi(entry.path().filename()));
        }
        return found;
    }

    static void end(const std::vector<pid_t>& ended) {
        using platform::services::identityOf;
        for (const pid_t process : ended) {
            kill(process, SIGKILL);
            EXPECT_TRUE(comesTrue([&] { return identityOf(process).startTime == 0; }));
        }
    }

    BServiceControl create(const Installation& i) {
        return {manager,        i.name,   i.display, i.command,      i.startType, i.type,
                i.errorControl, i.access, i.group,   i.dependencies, nullptr,     "secret"};
    }

    /// A service that this program runs.
    BServiceControl createServing(const std::string& name, const char* dependencies = nullptr,
                                  const char* group = nullptr) {
        const std::string command = '"' + thisProgram() + "\" " + directory.name() + " " + name;
        return create({.name = name.c_str(),
                       .command = command.c_str(),
                       .group = group,
                       .dependencies = dependencies});
    }

    static std::string thisProgram() { return std::filesystem::read_symlink("/proc/self/exe"); }

    BServiceControl open(const std::string& name, unsigned long access = all) {
        return {manager, name.c_str(), access};
    }

    platform::DWORD start(const std::string& name, std::string argument = "") {
        char* arguments[] = {argument.data()};
        return errorOf([&] { open(name).start(argument.empty() ? 0 : 1, arguments); });
    }

    platform::DWORD send(const std::string& name, unsigned long code, unsigned long access = all) {
        return errorOf([&] { open(name, access).control(code); });
    }

    platform::DWORD remove(const std::string& name) {
        // Nothing but the right to delete.
        return errorOf([&] { open(name, 0x10000).deleteService(); });
    }

    platform::DWORD change(const std::string& name, const char* display,
                           const char* account = nullptr) {
        return errorOf([&] {
            open(name).changeConfig(display, nullptr, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                                    SERVICE_NO_CHANGE, nullptr, nullptr, account, nullptr);
        });
    }

    BServiceStatus query(const std::string& name) { return open(name).queryStatus(); }

    bool reaches(const std::string& name, std::uint32_t state) {
        return comesTrue([&] { return query(name).state() == state; });
    }

    /// Starts a service and waits until it reports that it runs.
    bool runs(const std::string& name) {
        EXPECT_EQ(start(name), 0U);
        return reaches(name, SERVICE_RUNNING);
    }

    /// Calls something in eight processes at once, each time with another name. Gives how many of
    /// the calls succeeded; all others have to fail with this error.
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

    static std::vector<std::string> keptServices() {
        return platform::services::Store().database().keys();
    }

    static constexpr unsigned long all = SERVICE_ALL_ACCESS;
    const std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
    TemporaryDirectory directory;
    const ServicePlaces places = servicePlaces() = {directory.name()};
    BServiceControlManager manager;
};

}  // namespace Sorvex::testing
