// Services of a test's own, kept in a directory of its own.
#ifndef SORVEX_TESTS_PLATFORM_SERVICES_SERVICES_FIXTURE_H
#define SORVEX_TESTS_PLATFORM_SERVICES_SERVICES_FIXTURE_H

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sorvex/service_record.h>

#include <sys/types.h>
#include <unistd.h>

#include "platform/platform.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/store.h"
#include "platform/services/service_places.h"
#include "support/temporary_directory.h"

namespace Sorvex::testing {

/// A handle on the manager or a service that is closed at the end of the scope.
class OwnedHandle {
public:
    explicit OwnedHandle(platform::SC_HANDLE opened) noexcept : handle(opened) {}
    OwnedHandle(OwnedHandle&& other) noexcept : handle(std::exchange(other.handle, nullptr)) {}
    ~OwnedHandle() { close(); }

    OwnedHandle(const OwnedHandle&) = delete;
    OwnedHandle& operator=(const OwnedHandle&) = delete;

    operator platform::SC_HANDLE() const noexcept { return handle; }

    void close() noexcept {
        if (handle != nullptr)
            platform::CloseServiceHandle(std::exchange(handle, nullptr));
    }

private:
    platform::SC_HANDLE handle;
};

/// Waits for something that another process brings about.
inline ::testing::AssertionResult eventually(const std::function<bool()>& happens) {
    for (int look = 0; look < 4000; ++look) {
        if (happens())
            return ::testing::AssertionSuccess();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return ::testing::AssertionFailure() << "it never happened";
}

/// The last error after a call that has to fail; 0 when it succeeds.
template <typename Result>
platform::DWORD errorOf(Result result) {
    return result ? 0 : platform::GetLastError();
}

class ServicesTest : public ::testing::Test {
protected:
    ServicesTest() {
        std::filesystem::create_directory(directory.path() / "notes");
        setLimit(std::chrono::seconds(20));
    }

    // Ends whatever the test has started.
    ~ServicesTest() override {
        for (const auto& entry : std::filesystem::directory_iterator(directory.path() / "notes")) {
            const std::string name = entry.path().filename().string();
            if (name.rfind("process.", 0) == 0)
                end(name.substr(8));
        }
    }

    /// Whether a process of this test lives. One that has only not been waited for has no life
    /// left, and one that is still giving up what it had open has.
    bool isOurs(const std::string& process) const {
        return contentsOfProcess(process, "cmdline").find(directory.name()) != std::string::npos ||
               isDying(process);
    }

    /// Ends a process of this test, and waits until it is gone. Other processes are left alone.
    void end(const std::string& process) const {
        if (contentsOfProcess(process, "cmdline").find(directory.name()) == std::string::npos)
            return;
        kill(std::stoi(process), SIGKILL);
        EXPECT_TRUE(eventually([&] { return !isOurs(process); }));
    }

    /// The process that a service runs in, as its state file tells.
    static pid_t processOf(const std::string& name) {
        return platform::services::Store().observe(platform::services::fileKey(name)).process.id;
    }

    /// How long this process and the programs of command lines made from now on wait for others.
    void setLimit(std::chrono::milliseconds newLimit) {
        limit = newLimit;
        setServicePlaces(directory.name(), limit);
    }

    /// The command line of the helper program.
    std::string helper(const std::string& words) const {
        return std::string(SORVEX_SERVICE_HELPER) + " " + directory.name() + " " +
               std::to_string(limit.count()) + " " + words;
    }

    /// Runs the helper as a controlling program of its own and gives the error number it prints.
    platform::DWORD control(const std::string& words) const {
        return static_cast<platform::DWORD>(std::stoul(output(helper(words))));
    }

    static std::string output(const std::string& command) {
        FILE* stream = popen(command.c_str(), "r");
        std::string text;
        char block[256];
        while (stream != nullptr && std::fgets(block, sizeof block, stream) != nullptr)
            text += block;
        if (stream == nullptr || pclose(stream) != 0)
            text += "failed";
        return text;
    }

    static OwnedHandle manager(platform::DWORD access = SC_MANAGER_ALL_ACCESS) {
        return OwnedHandle(platform::OpenSCManagerA(nullptr, nullptr, access));
    }

    OwnedHandle create(const std::string& name, const std::string& command,
                       platform::DWORD type = SERVICE_WIN32_OWN_PROCESS,
                       const char* dependencies = nullptr, const char* group = nullptr) const {
        return OwnedHandle(platform::CreateServiceA(
            manager(), name.c_str(), nullptr, SERVICE_ALL_ACCESS, type, SERVICE_DEMAND_START,
            SERVICE_ERROR_NORMAL, command.c_str(), group, nullptr, dependencies, nullptr, nullptr));
    }

    OwnedHandle createServing(const std::string& name) const {
        return create(name, helper("serve " + name));
    }

    static OwnedHandle open(const std::string& name, platform::DWORD access = SERVICE_ALL_ACCESS) {
        return OwnedHandle(platform::OpenServiceA(manager(), name.c_str(), access));
    }

    /// The name that a service is shown under, or "error" and the number.
    static std::string displayNameOf(const char* name) {
        char buffer[300];
        platform::DWORD size = sizeof buffer;
        if (!platform::GetServiceDisplayNameA(manager(), name, buffer, &size))
            return "error " + std::to_string(platform::GetLastError());
        return buffer;
    }

    static std::string nameShownAs(const char* display) {
        char buffer[300];
        platform::DWORD size = sizeof buffer;
        if (!platform::GetServiceKeyNameA(manager(), display, buffer, &size))
            return "error " + std::to_string(platform::GetLastError());
        return buffer;
    }

    static platform::DWORD rename(platform::SC_HANDLE service, const char* display) {
        return errorOf(platform::ChangeServiceConfigA(service, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                                                      SERVICE_NO_CHANGE, nullptr, nullptr, nullptr,
                                                      nullptr, nullptr, nullptr, display));
    }

    static platform::DWORD start(platform::SC_HANDLE service,
                                 std::vector<const char*> arguments = {}) {
        return errorOf(platform::StartServiceA(
            service, static_cast<platform::DWORD>(arguments.size()), arguments.data()));
    }

    static platform::DWORD send(platform::SC_HANDLE service, platform::DWORD code) {
        platform::SERVICE_STATUS status{};
        return errorOf(platform::ControlService(service, code, &status));
    }

    static platform::SERVICE_STATUS query(platform::SC_HANDLE service) {
        platform::SERVICE_STATUS status{};
        EXPECT_TRUE(platform::QueryServiceStatus(service, &status));
        return status;
    }

    static platform::DWORD stateOf(platform::SC_HANDLE service) {
        return query(service).dwCurrentState;
    }

    /// Starts a service and waits until it reports that it runs.
    static ::testing::AssertionResult startAndWait(platform::SC_HANDLE service) {
        if (const platform::DWORD error = start(service); error != 0)
            return ::testing::AssertionFailure() << "the start failed with " << error;
        return eventually([&] { return stateOf(service) == SERVICE_RUNNING; });
    }

    std::string noted(const std::string& name) const {
        EXPECT_TRUE(
            eventually([&] { return std::filesystem::exists(directory.path() / "notes" / name); }));
        return contentsOf(directory.path() / "notes" / name);
    }

    void note(const std::string& name) const { directory.file("notes/" + name); }

    TemporaryDirectory directory;

private:
    static std::string contentsOfProcess(const std::string& process, const char* file) {
        std::ifstream stream("/proc/" + process + "/" + file);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    // A process loses its words before its files, and its first thread ends before the others.
    static bool isDying(const std::string& process) {
        const std::string status = contentsOfProcess(process, "status");
        const bool isDead = status.find("State:\tZ") != std::string::npos &&
                            status.find("Threads:\t1\n") != std::string::npos;
        return !status.empty() && contentsOfProcess(process, "cmdline").empty() && !isDead &&
               status.find("State:\tX") == std::string::npos;
    }

    std::chrono::milliseconds limit{};
};

}  // namespace Sorvex::testing

#endif
