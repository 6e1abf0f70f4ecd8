// Services among 10, 100 and 1,000 others: what each operation takes, on the disk that temporary
// files lie on. Creating waits for that disk several times.
//
// A start is measured until the service has reported that it runs, a stop until it has reported
// that it is stopped; both include a process of the host. The program is its own service.
#include <chrono>
#include <csignal>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include <benchmark/benchmark.h>

#include <sorvex/services.h>

#include "platform/posix/services/administration.h"
#include "platform/posix/services/places.h"
#include "scale.h"
#include "workplace.h"

namespace {

using namespace benchmark_files;
using namespace Sorvex;

// Where the services are: in a directory of this run's, that the services are told.
std::string& placeOfServices() {
    static std::string place;
    return place;
}

}  // namespace

Sorvex::platform::services::Places Sorvex::platform::services::placesOfUser() {
    const std::string& place = placeOfServices();
    return {{place, {"database"}}, {place, {"run"}}, {place, {"log"}}};
}

namespace {

class Waiter : public BService {
public:
    Waiter() : BService("waiter") {}

    void run(std::uint32_t /*count*/, const char** /*arguments*/) override {
        status().acceptControls(SERVICE_ACCEPT_STOP);
        report(SERVICE_RUNNING);
    }

    void control(std::uint32_t code) override {
        if (code == SERVICE_CONTROL_STOP)
            report(SERVICE_STOPPED);
    }

private:
    void report(std::uint32_t state) {
        status().setState(state);
        refreshStatus();
    }
};

Waiter* theWaiter = nullptr;

void SORVEX_CALL handle(ServiceNumber code) {
    theWaiter->control(code);
}

void SORVEX_CALL enter(ServiceNumber count, const char** arguments) {
    theWaiter->registerHandler(handle);
    theWaiter->run(count, arguments);
}

int serve(const char* place) {
    placeOfServices() = place;
    theWaiter = new Waiter;
    BServiceManager::add(theWaiter, enter);
    BServiceManager::start();
    return 0;
}

std::string commandLine() {
    return '"' + fs::read_symlink("/proc/self/exe").string() + "\" --serve " + placeOfServices();
}

// The first service, among so many.
constexpr const char* measured = "service0";

void ensureServices(benchmark::State& state) {
    static int present = 0;
    BServiceControlManager manager;
    const std::string command = commandLine();
    for (; present < state.range(0); ++present) {
        const std::string name = "service" + std::to_string(present);
        const BServiceControl service(manager, name.c_str(), nullptr, command.c_str(),
                                      SERVICE_DEMAND_START, SERVICE_WIN32_OWN_PROCESS,
                                      SERVICE_ERROR_NORMAL, SERVICE_QUERY_STATUS, nullptr, nullptr,
                                      nullptr, nullptr);
    }
}

template <typename Operation>
void measure(benchmark::State& state, Operation operation) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    operation();
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
}

void await(BServiceControl& service, std::uint32_t wanted) {
    while (service.queryStatus().state() != wanted)
        std::this_thread::sleep_for(std::chrono::microseconds(50));
}

void createAndDelete(benchmark::State& state, bool isCreateMeasured) {
    ensureServices(state);
    BServiceControlManager manager;
    const std::string command = commandLine();
    for ([[maybe_unused]] auto _ : state) {
        std::unique_ptr<BServiceControl> service;
        const auto create = [&] {
            service = std::make_unique<BServiceControl>(
                manager, "another", nullptr, command.c_str(), SERVICE_DEMAND_START,
                SERVICE_WIN32_OWN_PROCESS, SERVICE_ERROR_NORMAL, SERVICE_ALL_ACCESS, nullptr,
                nullptr, nullptr, nullptr);
        };
        // It goes with its last handle.
        const auto remove = [&] {
            service->deleteService();
            service.reset();
        };
        if (isCreateMeasured) {
            measure(state, create);
            remove();
        } else {
            create();
            measure(state, remove);
        }
    }
}

void serviceCreate(benchmark::State& state) {
    createAndDelete(state, true);
}

void serviceDelete(benchmark::State& state) {
    createAndDelete(state, false);
}

void serviceOpen(benchmark::State& state) {
    ensureServices(state);
    BServiceControlManager manager;
    for ([[maybe_unused]] auto _ : state)
        BServiceControl(manager, measured, SERVICE_ALL_ACCESS);
}

void startAndStop(benchmark::State& state, bool isStartMeasured) {
    ensureServices(state);
    BServiceControlManager manager;
    BServiceControl service(manager, measured, SERVICE_ALL_ACCESS);
    for ([[maybe_unused]] auto _ : state) {
        const auto start = [&] {
            service.start(0, nullptr);
            await(service, SERVICE_RUNNING);
        };
        const auto stop = [&] {
            service.stop();
            await(service, SERVICE_STOPPED);
        };
        if (isStartMeasured) {
            measure(state, start);
            stop();
        } else {
            start();
            measure(state, stop);
        }
    }
}

void serviceStart(benchmark::State& state) {
    startAndStop(state, true);
}

void serviceStop(benchmark::State& state) {
    startAndStop(state, false);
}

void serviceQuery(benchmark::State& state) {
    ensureServices(state);
    BServiceControlManager manager;
    BServiceControl service(manager, measured, SERVICE_ALL_ACCESS);
    service.start(0, nullptr);
    await(service, SERVICE_RUNNING);
    for ([[maybe_unused]] auto _ : state)
        service.queryStatus();
    require(service.status().state() == SERVICE_RUNNING, "query");
    service.stop();
    await(service, SERVICE_STOPPED);
}

// What `sorvex-service list` does, but for the writing.
void serviceList(benchmark::State& state) {
    ensureServices(state);
    std::size_t count = 0;
    for ([[maybe_unused]] auto _ : state)
        count = platform::services::allServices().value().size();
    require(count == static_cast<std::size_t>(state.range(0)), "list");
}

// Whether a service runs, asked as if for the first time.
void openAndQuery(benchmark::State& state) {
    ensureServices(state);
    BServiceControlManager manager;
    BServiceControl service(manager, measured, SERVICE_ALL_ACCESS);
    service.start(0, nullptr);
    await(service, SERVICE_RUNNING);
    scale::measure(state, SERVICE_RUNNING, [&manager] {
        return BServiceControl(manager, measured, SERVICE_QUERY_STATUS).queryStatus().state();
    });
    service.stop();
    await(service, SERVICE_STOPPED);
}

// The usual form of that question without a service manager; the answer may be another's process.
void readPidFile(benchmark::State& state) {
    const fs::path directory = workplace().name("pids" + std::to_string(state.range(0)));
    fs::create_directory(directory);
    for (std::int64_t number = 0; number < state.range(0); ++number)
        std::ofstream(directory / ("service" + std::to_string(number))) << getpid() << '\n';
    scale::measure(state, 1, [&directory] {
        pid_t process = 0;
        std::ifstream(directory / measured) >> process;
        return process != 0 && kill(process, 0) == 0 ? 1U : 0U;
    });
}

void addBenchmark(const char* name, void (*function)(benchmark::State&), std::int64_t count,
                  bool isTimedByHand) {
    auto* registered =
        benchmark::RegisterBenchmark(name, function)->Arg(count)->Unit(benchmark::kMicrosecond);
    if (isTimedByHand)
        registered->UseManualTime();
    else
        registered->UseRealTime();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--serve")
        return serve(argv[2]);
    placeOfServices() = workplace().name("");
    // The services only become more, so each count has its turn.
    for (const std::int64_t count : {10, 100, 1000}) {
        addBenchmark("ServiceCreate", serviceCreate, count, true);
        addBenchmark("ServiceOpen", serviceOpen, count, false);
        addBenchmark("ServiceStartToRunning", serviceStart, count, true);
        addBenchmark("ServiceQuery", serviceQuery, count, false);
        addBenchmark("ServiceStop", serviceStop, count, true);
        addBenchmark("ServiceDelete", serviceDelete, count, true);
        addBenchmark("ServiceList", serviceList, count, false);
        scale::add("ServiceOpenQuery", "services", {count},
                   {{"sorvex", openAndQuery}, {"pid_file", readPidFile}},
                   "level, since a service is found by its name");
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
