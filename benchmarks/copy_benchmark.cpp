// Copies of one file beside the standard library, the shell's command and another toolkit.
//
// Sources are in the host's cache. Sizes are arguments, in MiB.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>

#ifdef SORVEX_BENCH_POCO
#include <Poco/File.h>
#endif

#include <sorvex/bfile.h>

#include "workplace.h"

namespace {

using namespace benchmark_files;
using Sorvex::BFile;

std::string sparse(std::size_t size) {
    std::string file = workplace().name("sparse" + std::to_string(size));
    std::ofstream(file) << "start";
    fs::resize_file(file, size);
    return file;
}

// Copies -------------------------------------------------------------------------------------

template <typename Copy>
void copyFile(benchmark::State& state, const std::string& source, Copy copy) {
    const std::string target = workplace().name("target");
    for ([[maybe_unused]] auto _ : state) {
        copy(source, target);
        state.PauseTiming();
        require(fs::file_size(target) == fs::file_size(source), "copy");
        fs::remove(target);
        state.ResumeTiming();
    }
}

void copySorvex(const std::string& source, const std::string& target) {
    BFile::copy(source.c_str(), target.c_str(), false);
}

void copyStd(const std::string& source, const std::string& target) {
    fs::copy_file(source, target);
}

// As a user of the shell does it, process and all.
void copyCommand(const std::string& source, const std::string& target) {
    const std::string command = "cp '" + source + "' '" + target + "'";
    require(std::system(command.c_str()) == 0, "cp");
}

void fileCopySorvex(benchmark::State& state) {
    copyFile(state, lines(sizeArgument(state)), copySorvex);
}
void fileCopyStd(benchmark::State& state) {
    copyFile(state, lines(sizeArgument(state)), copyStd);
}
void fileCopyCommand(benchmark::State& state) {
    copyFile(state, lines(sizeArgument(state)), copyCommand);
}
BENCHMARK(fileCopySorvex)->Arg(256)->Arg(1024)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(fileCopyStd)->Arg(256)->Arg(1024)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(fileCopyCommand)->Arg(256)->Arg(1024)->Unit(benchmark::kMillisecond)->UseRealTime();

void sparseCopySorvex(benchmark::State& state) {
    copyFile(state, sparse(sizeArgument(state)), copySorvex);
}
void sparseCopyCommand(benchmark::State& state) {
    copyFile(state, sparse(sizeArgument(state)), copyCommand);
}
BENCHMARK(sparseCopySorvex)->Arg(256)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(sparseCopyCommand)->Arg(256)->Unit(benchmark::kMicrosecond)->UseRealTime();

void smallCopySorvex(benchmark::State& state) {
    copyFile(state, smallFile(), copySorvex);
}
void smallCopyStd(benchmark::State& state) {
    copyFile(state, smallFile(), copyStd);
}
BENCHMARK(smallCopySorvex)->Unit(benchmark::kMicrosecond);
BENCHMARK(smallCopyStd)->Unit(benchmark::kMicrosecond);

#ifdef SORVEX_BENCH_POCO
void smallCopyPoco(benchmark::State& state) {
    copyFile(state, smallFile(), [](const std::string& source, const std::string& target) {
        Poco::File(source).copyTo(target);
    });
}
BENCHMARK(smallCopyPoco)->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
