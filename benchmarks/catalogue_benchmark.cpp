// The message catalogue, beside a hash table of texts and the usual formatters.
//
// The texts stand in the order of their keys, and among 10000 the search through them is half of a
// look-up: about what the standard's ordered map and snprintf take, twice a hash table.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>
#include <sorvex/messagefile.h>

#ifdef SORVEX_BENCH_FMT
#include <fmt/printf.h>
#endif

namespace {

using Sorvex::MessageFile;

std::string keyOf(int number) {
    char key[32];
    std::snprintf(key, sizeof key, "MESSAGE_%06d", number);
    return key;
}

/// A catalogue of so many entries in a file that goes at the end.
class CatalogueFile {
public:
    explicit CatalogueFile(int entries)
        : file(std::filesystem::temp_directory_path() /
               ("sorvex_catalogue_" + std::to_string(std::random_device()()))) {
        std::ofstream stream(file);
        for (int number = 0; number < entries; ++number)
            stream << keyOf(number) << " = Item %s of order %d has not arrived in time\n";
        stream << "HEADED = Warning: #MESSAGE_000007:%s\n";
    }

    ~CatalogueFile() {
        std::error_code ignored;
        std::filesystem::remove(file, ignored);
    }

    CatalogueFile(const CatalogueFile&) = delete;
    CatalogueFile& operator=(const CatalogueFile&) = delete;

    std::string name() const { return file.string(); }

private:
    std::filesystem::path file;
};

template <typename Map>
Map readByLines(const std::string& name) {
    Map texts;
    std::ifstream stream(name);
    const auto strip = [](const std::string& text) {
        const std::size_t first = text.find_first_not_of(" \t\r\n");
        return first == std::string::npos
                   ? std::string()
                   : text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
    };
    for (std::string line; std::getline(stream, line);) {
        const std::size_t separator = line.find('=');
        if (separator != std::string::npos)
            texts[strip(line.substr(0, separator))] = strip(line.substr(separator + 1));
    }
    return texts;
}

std::vector<std::string> keys(int entries) {
    std::vector<std::string> made;
    made.reserve(static_cast<std::size_t>(entries));
    for (int number = 0; number < entries; ++number)
        made.push_back(keyOf(number * 7919 % entries));
    return made;
}

void Lookup_Sorvex(benchmark::State& state) {
    const auto entries = static_cast<int>(state.range(0));
    const CatalogueFile file(entries);
    MessageFile catalogue(file.name().c_str());
    const auto all = keys(entries);
    if (catalogue.text(all[1].c_str(), "bolt", 42) !=
        "Item bolt of order 42 has not arrived in time")
        state.SkipWithError("wrong text");
    std::size_t next = 0;
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(catalogue.text(all[next].c_str(), "bolt", 42));
        next = next + 1 < all.size() ? next + 1 : 0;
    }
}
BENCHMARK(Lookup_Sorvex)->Arg(100)->Arg(10000);

template <typename Map>
void lookupBySnprintf(benchmark::State& state) {
    const auto entries = static_cast<int>(state.range(0));
    const CatalogueFile file(entries);
    const Map texts = readByLines<Map>(file.name());
    const auto all = keys(entries);
    std::size_t next = 0;
    for ([[maybe_unused]] auto _ : state) {
        char buffer[4096];
        const auto entry = texts.find(all[next]);
        std::snprintf(buffer, sizeof buffer, entry->second.c_str(), "bolt", 42);
        benchmark::DoNotOptimize(std::string(buffer));
        next = next + 1 < all.size() ? next + 1 : 0;
    }
}
void Lookup_StdMapSnprintf(benchmark::State& state) {
    lookupBySnprintf<std::map<std::string, std::string>>(state);
}
BENCHMARK(Lookup_StdMapSnprintf)->Arg(100)->Arg(10000);

void Lookup_UnorderedMapSnprintf(benchmark::State& state) {
    lookupBySnprintf<std::unordered_map<std::string, std::string>>(state);
}
BENCHMARK(Lookup_UnorderedMapSnprintf)->Arg(100)->Arg(10000);

#ifdef SORVEX_BENCH_FMT
void Lookup_UnorderedMapFmt(benchmark::State& state) {
    const auto entries = static_cast<int>(state.range(0));
    const CatalogueFile file(entries);
    const auto texts = readByLines<std::unordered_map<std::string, std::string>>(file.name());
    const auto all = keys(entries);
    std::size_t next = 0;
    for ([[maybe_unused]] auto _ : state) {
        const auto entry = texts.find(all[next]);
        benchmark::DoNotOptimize(fmt::sprintf(entry->second, "bolt", 42));
        next = next + 1 < all.size() ? next + 1 : 0;
    }
}
BENCHMARK(Lookup_UnorderedMapFmt)->Arg(100)->Arg(10000);
#endif

void LookupWithReference_Sorvex(benchmark::State& state) {
    const CatalogueFile file(10000);
    MessageFile catalogue(file.name().c_str());
    if (catalogue.text("HEADED", "bolt") !=
        "Warning: Item bolt of order %d has not arrived in time")
        state.SkipWithError("wrong text");
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(catalogue.text("HEADED", "bolt"));
}
BENCHMARK(LookupWithReference_Sorvex);

void Load_Sorvex(benchmark::State& state) {
    const CatalogueFile file(static_cast<int>(state.range(0)));
    for ([[maybe_unused]] auto _ : state) {
        MessageFile catalogue(file.name().c_str());
        benchmark::DoNotOptimize(catalogue);
    }
}
BENCHMARK(Load_Sorvex)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);

void Load_GetlineStdMap(benchmark::State& state) {
    const CatalogueFile file(static_cast<int>(state.range(0)));
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(readByLines<std::map<std::string, std::string>>(file.name()));
}
BENCHMARK(Load_GetlineStdMap)->Arg(10000)->Unit(benchmark::kMicrosecond);

void Load_GetlineUnorderedMap(benchmark::State& state) {
    const CatalogueFile file(static_cast<int>(state.range(0)));
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(
            readByLines<std::unordered_map<std::string, std::string>>(file.name()));
}
BENCHMARK(Load_GetlineUnorderedMap)->Arg(10000)->Unit(benchmark::kMicrosecond);

}  // namespace
