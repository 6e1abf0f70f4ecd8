// Questions about a file, and names, beside the standard library, another toolkit and the bare
// host.
#include <cstdlib>
#include <filesystem>
#include <string>

#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <unistd.h>

#ifdef SORVEX_BENCH_POCO
#include <Poco/DateTime.h>
#include <Poco/File.h>
#include <Poco/Path.h>
#endif

#include <sorvex/bfile.h>

#include "workplace.h"

namespace {

using namespace benchmark_files;
using Sorvex::BFile;
using Sorvex::BPath;

// Questions ----------------------------------------------------------------------------------

void pathExistsSorvex(benchmark::State& state) {
    const std::string name = smallFile();
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(BPath::exists(name.c_str()));
}
BENCHMARK(pathExistsSorvex);

void pathExistsStd(benchmark::State& state) {
    const fs::path path = smallFile();
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(fs::exists(path));
}
BENCHMARK(pathExistsStd);

void pathExistsHost(benchmark::State& state) {
    const std::string name = smallFile();
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(access(name.c_str(), F_OK));
}
BENCHMARK(pathExistsHost);

void pathFactsSorvex(benchmark::State& state) {
    const std::string name = smallFile();
    for ([[maybe_unused]] auto _ : state) {
        const BFile file(name);
        benchmark::DoNotOptimize(file.size());
        benchmark::DoNotOptimize(file.lastWriteTime().year());
        benchmark::DoNotOptimize(file.creationTime().year());
        benchmark::DoNotOptimize(file.hasAttribute(BPath::directory));
    }
}
BENCHMARK(pathFactsSorvex);

void pathFactsStd(benchmark::State& state) {
    const fs::path path = smallFile();
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(fs::file_size(path));
        benchmark::DoNotOptimize(fs::last_write_time(path));
        benchmark::DoNotOptimize(fs::is_directory(path));
    }
}
BENCHMARK(pathFactsStd);

#ifdef SORVEX_BENCH_POCO
void pathFactsPoco(benchmark::State& state) {
    const std::string name = smallFile();
    for ([[maybe_unused]] auto _ : state) {
        const Poco::File file(name);
        benchmark::DoNotOptimize(file.getSize());
        benchmark::DoNotOptimize(Poco::DateTime(file.getLastModified()).year());
        benchmark::DoNotOptimize(Poco::DateTime(file.created()).year());
        benchmark::DoNotOptimize(file.isDirectory());
    }
}
BENCHMARK(pathFactsPoco);
#endif

// Names --------------------------------------------------------------------------------------

constexpr const char* longName = "C:\\home\\ada\\projects\\engine\\notes.tar.gz";
constexpr const char* longHostName = "/home/ada/projects/engine/notes.tar.gz";

void pathDecomposeSorvex(benchmark::State& state) {
    require(BPath::fileName(longName) == "notes.tar.gz", "fileName");
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(BPath::fileName(longName));
        benchmark::DoNotOptimize(BPath::fileNameWithoutExtension(longName));
        benchmark::DoNotOptimize(BPath::extension(longName));
    }
}
BENCHMARK(pathDecomposeSorvex);

void pathDecomposeStd(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        const fs::path path(longHostName);
        benchmark::DoNotOptimize(path.filename().string());
        benchmark::DoNotOptimize(path.stem().string());
        benchmark::DoNotOptimize(path.extension().string());
    }
}
BENCHMARK(pathDecomposeStd);

#ifdef SORVEX_BENCH_POCO
void pathDecomposePoco(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        const Poco::Path path(longHostName);
        benchmark::DoNotOptimize(path.getFileName());
        benchmark::DoNotOptimize(path.getBaseName());
        benchmark::DoNotOptimize(path.getExtension());
    }
}
BENCHMARK(pathDecomposePoco);
#endif

void pathParentSorvex(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(BPath::parent(longName));
}
BENCHMARK(pathParentSorvex);

void pathParentStd(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(fs::path(longHostName).parent_path().string());
}
BENCHMARK(pathParentStd);

void pathFullNameRelativeSorvex(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(BPath::fullName("engine\\notes.txt"));
}
BENCHMARK(pathFullNameRelativeSorvex);

void pathFullNameRelativeStd(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(fs::absolute("engine/notes.txt").string());
}
BENCHMARK(pathFullNameRelativeStd);

void pathFullNameRelativeHost(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        char directory[4096];
        require(getcwd(directory, sizeof directory) != nullptr, "getcwd");
        benchmark::DoNotOptimize(std::string(directory) + "/engine/notes.txt");
    }
}
BENCHMARK(pathFullNameRelativeHost);

#ifdef SORVEX_BENCH_POCO
void pathFullNameRelativePoco(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(Poco::Path("engine/notes.txt").makeAbsolute().toString());
}
BENCHMARK(pathFullNameRelativePoco);
#endif

}  // namespace
