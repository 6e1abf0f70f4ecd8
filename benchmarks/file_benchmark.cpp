// Files and names beside stdio, the standard library, another toolkit and the bare host.
//
// All files lie in the directory for temporary files. What is read is in the host's cache. Sizes
// of large files are arguments, in MiB.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#ifdef SORVEX_BENCH_POCO
#include <Poco/DateTime.h>
#include <Poco/File.h>
#include <Poco/FileStream.h>
#include <Poco/Path.h>
#endif

#include <sorvex/bfile.h>

namespace {

namespace fs = std::filesystem;
using Sorvex::BFile;
using Sorvex::BPath;

constexpr std::size_t mebibyte = 1 << 20;

void require(bool isRight, const char* what) {
    if (!isRight)
        throw std::runtime_error(what);
}

// The files that all benchmarks work on, made when first asked for and removed at the end.
class Workplace {
public:
    Workplace()
        : directory(fs::temp_directory_path() / ("sorvex_bench_" + std::to_string(getpid()))) {
        fs::create_directory(directory);
    }
    ~Workplace() {
        std::error_code ignored;
        fs::remove_all(directory, ignored);
    }
    Workplace(const Workplace&) = delete;
    Workplace& operator=(const Workplace&) = delete;

    std::string name(const std::string& entry) const { return (directory / entry).string(); }

    // A file of lines of 0 to 119 characters that ends in a line feed.
    std::string lines(std::size_t size) const {
        std::string file = name("lines" + std::to_string(size));
        if (fs::exists(file))
            return file;
        std::ofstream stream(file, std::ios::binary);
        std::string text;
        std::uint32_t random = 1;
        while (text.size() < mebibyte) {
            random = random * 1664525 + 1013904223;
            text.append(random % 120, static_cast<char>('a' + random % 26)).push_back('\n');
        }
        text.resize(mebibyte, 'z');
        text.back() = '\n';
        for (std::size_t written = 0; written < size; written += text.size())
            stream << text;
        stream.close();
        // The host would otherwise be busy with this file while others are measured.
        const int descriptor = open(file.c_str(), O_RDWR | O_CLOEXEC);
        fsync(descriptor);
        close(descriptor);
        return file;
    }

    std::string sparse(std::size_t size) const {
        std::string file = name("sparse" + std::to_string(size));
        std::ofstream(file) << "start";
        fs::resize_file(file, size);
        return file;
    }

private:
    fs::path directory;
};

const Workplace& workplace() {
    static const Workplace place;
    return place;
}

std::size_t sizeArgument(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0)) * mebibyte;
}

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
    const std::string name = workplace().lines(size);
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

void lineReadSorvexOverridden(benchmark::State& state) {
    const std::size_t size = sizeArgument(state);
    const std::string name = workplace().lines(size);
    for ([[maybe_unused]] auto _ : state) {
        OwnRead file(name);
        file.open("rb");
        readLines(size, file);
    }
    countBytes(state, size);
}
BENCHMARK(lineReadSorvexOverridden)->Arg(100)->Unit(benchmark::kMillisecond);

void lineReadStdGetline(benchmark::State& state) {
    const std::size_t size = sizeArgument(state);
    const std::string name = workplace().lines(size);
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
    const std::string name = workplace().lines(size);
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
    copyFile(state, workplace().lines(sizeArgument(state)), copySorvex);
}
void fileCopyStd(benchmark::State& state) {
    copyFile(state, workplace().lines(sizeArgument(state)), copyStd);
}
void fileCopyCommand(benchmark::State& state) {
    copyFile(state, workplace().lines(sizeArgument(state)), copyCommand);
}
BENCHMARK(fileCopySorvex)->Arg(256)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(fileCopyStd)->Arg(256)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(fileCopyCommand)->Arg(256)->Unit(benchmark::kMillisecond)->UseRealTime();

void sparseCopySorvex(benchmark::State& state) {
    copyFile(state, workplace().sparse(sizeArgument(state)), copySorvex);
}
void sparseCopyCommand(benchmark::State& state) {
    copyFile(state, workplace().sparse(sizeArgument(state)), copyCommand);
}
BENCHMARK(sparseCopySorvex)->Arg(256)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(sparseCopyCommand)->Arg(256)->Unit(benchmark::kMicrosecond)->UseRealTime();

std::string smallFile() {
    std::string name = workplace().name("small");
    if (!fs::exists(name))
        std::ofstream(name) << std::string(3000, 's');
    return name;
}

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
