// Files beside stdio, the standard library, another toolkit and the bare host.
//
// What is read is in the host's cache. Sizes of large files are arguments, in MiB.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#ifdef SORVEX_BENCH_POCO
#include <Poco/FileStream.h>
#endif

#include <sorvex/bfile.h>

#include "workplace.h"

namespace {

using namespace benchmark_files;
using Sorvex::BFile;

void countBytes(benchmark::State& state, std::size_t size) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

class Stdio {
public:
    Stdio(const std::string& name, const char* mode) : file(std::fopen(name.c_str(), mode)) {
        require(file != nullptr, "fopen");
    }
    ~Stdio() { std::fclose(file); }
    Stdio(const Stdio&) = delete;
    Stdio& operator=(const Stdio&) = delete;
    operator FILE*() const { return file; }

private:
    FILE* file;
};

class Descriptor {
public:
    Descriptor(const std::string& name, int flags)
        : number(open(name.c_str(), flags | O_CLOEXEC, 0666)) {
        require(number >= 0, "open");
    }
    ~Descriptor() { close(number); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    operator int() const { return number; }

private:
    int number;
};

// Single values ------------------------------------------------------------------------------

constexpr int valueCount = 1 << 20;

void fileWriteIntsSorvex(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        BFile file(workplace().name("values"));
        file.create("wb");
        for (int value = 0; value < valueCount; ++value)
            file << value;
    }
    state.SetItemsProcessed(state.iterations() * valueCount);
}
BENCHMARK(fileWriteIntsSorvex)->Unit(benchmark::kMillisecond);

void fileWriteIntsStdio(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        const Stdio file(workplace().name("values"), "wb");
        for (int value = 0; value < valueCount; ++value)
            std::fwrite(&value, sizeof value, 1, file);
    }
    state.SetItemsProcessed(state.iterations() * valueCount);
}
BENCHMARK(fileWriteIntsStdio)->Unit(benchmark::kMillisecond);

void fileWriteIntsStdioUnlocked(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        const Stdio file(workplace().name("values"), "wb");
        for (int value = 0; value < valueCount; ++value)
            fwrite_unlocked(&value, sizeof value, 1, file);
    }
    state.SetItemsProcessed(state.iterations() * valueCount);
}
BENCHMARK(fileWriteIntsStdioUnlocked)->Unit(benchmark::kMillisecond);

std::string valueFile() {
    std::string name = workplace().name("values to read");
    if (!fs::exists(name)) {
        BFile file(name);
        file.create("wb");
        for (int value = 0; value < valueCount; ++value)
            file << value;
    }
    return name;
}

constexpr std::int64_t valueSum = std::int64_t{valueCount} * (valueCount - 1) / 2;

void fileReadIntsSorvex(benchmark::State& state) {
    const std::string name = valueFile();
    for ([[maybe_unused]] auto _ : state) {
        BFile file(name);
        file.open("rb");
        std::int64_t sum = 0;
        for (int count = 0; count < valueCount; ++count) {
            int value = 0;
            file >> value;
            sum += value;
        }
        require(sum == valueSum, "sum");
    }
    state.SetItemsProcessed(state.iterations() * valueCount);
}
BENCHMARK(fileReadIntsSorvex)->Unit(benchmark::kMillisecond);

template <typename Read>
void readInts(benchmark::State& state, Read read) {
    const std::string name = valueFile();
    for ([[maybe_unused]] auto _ : state) {
        const Stdio file(name, "rb");
        std::int64_t sum = 0;
        for (int count = 0; count < valueCount; ++count) {
            int value = 0;
            read(&value, sizeof value, 1, file);
            sum += value;
        }
        require(sum == valueSum, "sum");
    }
    state.SetItemsProcessed(state.iterations() * valueCount);
}

void fileReadIntsStdio(benchmark::State& state) {
    readInts(state, [](void* value, std::size_t size, std::size_t count, FILE* file) {
        return std::fread(value, size, count, file);
    });
}
BENCHMARK(fileReadIntsStdio)->Unit(benchmark::kMillisecond);

void fileReadIntsStdioUnlocked(benchmark::State& state) {
    readInts(state, [](void* value, std::size_t size, std::size_t count, FILE* file) {
        return fread_unlocked(value, size, count, file);
    });
}
BENCHMARK(fileReadIntsStdioUnlocked)->Unit(benchmark::kMillisecond);

// Lines --------------------------------------------------------------------------------------

template <typename File>
void readLines(std::size_t size, File& file) {
    std::size_t bytes = 0;
    std::size_t lines = 0;
    while (!file.isEof()) {
        bytes += file.getLine().size();
        ++lines;
    }
    require(bytes + lines - 1 == size, "lines");
}

void lineReadSorvex(benchmark::State& state) {
    const std::size_t size = sizeArgument(state);
    const std::string name = lines(size);
    for ([[maybe_unused]] auto _ : state) {
        BFile file(name);
        file.open("rb");
        readLines(size, file);
    }
    countBytes(state, size);
}
BENCHMARK(lineReadSorvex)->Arg(100)->Unit(benchmark::kMillisecond);

// A derived class with its own read sees every byte.
class OwnRead : public BFile {
public:
    using BFile::BFile;
    unsigned long read(void* buffer, unsigned long size) override {
        return BFile::read(buffer, size);
    }
};

void lineReadOverriddenSorvex(benchmark::State& state) {
    const std::size_t size = sizeArgument(state);
    const std::string name = lines(size);
    for ([[maybe_unused]] auto _ : state) {
        OwnRead file(name);
        file.open("rb");
        readLines(size, file);
    }
    countBytes(state, size);
}
BENCHMARK(lineReadOverriddenSorvex)->Arg(100)->Unit(benchmark::kMillisecond);

void lineReadStdGetline(benchmark::State& state) {
    const std::size_t size = sizeArgument(state);
    const std::string name = lines(size);
    for ([[maybe_unused]] auto _ : state) {
        std::ifstream stream(name, std::ios::binary);
        std::string line;
        std::size_t bytes = 0;
        while (std::getline(stream, line))
            bytes += line.size() + 1;
        require(bytes == size, "lines");
    }
    countBytes(state, size);
}
BENCHMARK(lineReadStdGetline)->Arg(100)->Unit(benchmark::kMillisecond);

// Blocks -------------------------------------------------------------------------------------

constexpr std::size_t blockSize = 4096;

template <typename Open, typename Read>
void readBlocks(benchmark::State& state, Open openFile, Read read) {
    const std::size_t size = sizeArgument(state);
    const std::string name = lines(size);
    std::vector<char> block(blockSize);
    for ([[maybe_unused]] auto _ : state) {
        auto file = openFile(name);
        std::size_t total = 0;
        for (std::size_t count = 1; count > 0; total += count)
            count = read(*file, block.data());
        require(total == size, "blocks");
    }
    countBytes(state, size);
}

void blockReadSorvex(benchmark::State& state) {
    readBlocks(
        state,
        [](const std::string& name) {
            auto file = std::make_unique<BFile>(name);
            file->open("rb");
            return file;
        },
        [](BFile& file, char* block) { return std::size_t{file.read(block, blockSize)}; });
}
BENCHMARK(blockReadSorvex)->Arg(100)->Unit(benchmark::kMillisecond);

void blockReadStdio(benchmark::State& state) {
    readBlocks(
        state, [](const std::string& name) { return std::make_unique<Stdio>(name, "rb"); },
        [](const Stdio& file, char* block) { return std::fread(block, 1, blockSize, file); });
}
BENCHMARK(blockReadStdio)->Arg(100)->Unit(benchmark::kMillisecond);

void blockReadStdStream(benchmark::State& state) {
    readBlocks(
        state,
        [](const std::string& name) {
            return std::make_unique<std::ifstream>(name, std::ios::binary);
        },
        [](std::ifstream& stream, char* block) {
            stream.read(block, blockSize);
            return static_cast<std::size_t>(stream.gcount());
        });
}
BENCHMARK(blockReadStdStream)->Arg(100)->Unit(benchmark::kMillisecond);

template <typename Open, typename Write>
void writeBlocks(benchmark::State& state, Open openFile, Write write) {
    const std::size_t size = sizeArgument(state);
    const std::vector<char> block(blockSize, 'b');
    const std::string name = workplace().name("blocks");
    for ([[maybe_unused]] auto _ : state) {
        {
            auto file = openFile(name);
            for (std::size_t written = 0; written < size; written += blockSize)
                write(*file, block.data());
        }
        state.PauseTiming();
        require(fs::file_size(name) == size, "blocks");
        fs::remove(name);
        state.ResumeTiming();
    }
    countBytes(state, size);
}

void blockWriteSorvex(benchmark::State& state) {
    writeBlocks(
        state,
        [](const std::string& name) {
            auto file = std::make_unique<BFile>(name);
            file->create("wb");
            return file;
        },
        [](BFile& file, const char* block) { file.write(block, blockSize); });
}
BENCHMARK(blockWriteSorvex)->Arg(64)->Unit(benchmark::kMillisecond);

void blockWriteStdio(benchmark::State& state) {
    writeBlocks(
        state, [](const std::string& name) { return std::make_unique<Stdio>(name, "wb"); },
        [](const Stdio& file, const char* block) { std::fwrite(block, 1, blockSize, file); });
}
BENCHMARK(blockWriteStdio)->Arg(64)->Unit(benchmark::kMillisecond);

void blockWriteHost(benchmark::State& state) {
    writeBlocks(
        state,
        [](const std::string& name) {
            return std::make_unique<Descriptor>(name, O_WRONLY | O_CREAT | O_TRUNC);
        },
        [](const Descriptor& file, const char* block) {
            require(write(file, block, blockSize) == blockSize, "write");
        });
}
BENCHMARK(blockWriteHost)->Arg(64)->Unit(benchmark::kMillisecond);

// One file -----------------------------------------------------------------------------------

void openReadCloseSorvex(benchmark::State& state) {
    const std::string name = smallFile();
    char block[blockSize];
    for ([[maybe_unused]] auto _ : state) {
        BFile file(name);
        file.open("rb");
        benchmark::DoNotOptimize(file.read(block, sizeof block));
    }
}
BENCHMARK(openReadCloseSorvex);

void openReadCloseStdio(benchmark::State& state) {
    const std::string name = smallFile();
    char block[blockSize];
    for ([[maybe_unused]] auto _ : state) {
        const Stdio file(name, "rb");
        benchmark::DoNotOptimize(std::fread(block, 1, sizeof block, file));
    }
}
BENCHMARK(openReadCloseStdio);

void openReadCloseHost(benchmark::State& state) {
    const std::string name = smallFile();
    char block[blockSize];
    for ([[maybe_unused]] auto _ : state) {
        const Descriptor file(name, O_RDONLY);
        benchmark::DoNotOptimize(read(file, block, sizeof block));
    }
}
BENCHMARK(openReadCloseHost);

#ifdef SORVEX_BENCH_POCO
void openReadClosePoco(benchmark::State& state) {
    const std::string name = smallFile();
    char block[blockSize];
    for ([[maybe_unused]] auto _ : state) {
        Poco::FileInputStream stream(name);
        stream.read(block, sizeof block);
        benchmark::DoNotOptimize(stream.gcount());
    }
}
BENCHMARK(openReadClosePoco);
#endif

}  // namespace
