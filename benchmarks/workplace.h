// The files that benchmarks work on.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

namespace benchmark_files {

namespace fs = std::filesystem;

constexpr std::size_t mebibyte = 1 << 20;

inline void require(bool isRight, const char* what) {
    if (!isRight)
        throw std::runtime_error(what);
}

/// A directory in that for temporary files, made when first asked for and removed at the end.
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

private:
    fs::path directory;
};

inline const Workplace& workplace() {
    static const Workplace place;
    return place;
}

/// The size in MiB that a benchmark takes as its argument, in bytes.
inline std::size_t sizeArgument(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0)) * mebibyte;
}

/// A file of lines of 0 to 119 characters that ends in a line feed.
inline std::string lines(std::size_t size) {
    std::string file = workplace().name("lines" + std::to_string(size));
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

/// A file of 3000 bytes.
inline std::string smallFile() {
    std::string name = workplace().name("small");
    if (!fs::exists(name))
        std::ofstream(name) << std::string(3000, 's');
    return name;
}

}  // namespace benchmark_files
