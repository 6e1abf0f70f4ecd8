// The stream in memory, beside a standard string stream, and its growth beside the host's.
//
// Each of our values costs a call that can't be inlined, to the operator in the library, and waits
// for the position that the value before it stored: a quarter to a third of what the standard
// stream takes. Texts are looked at once more for a NUL when they are read.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <sorvex/bstream.h>

namespace {

using Sorvex::BStreamBuffer;

constexpr int count = 4096;

template <typename Value>
void setItems(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * count);
    state.SetBytesProcessed(state.iterations() * count * static_cast<std::int64_t>(sizeof(Value)));
}

template <typename Value>
void StreamWrite_Sorvex(benchmark::State& state) {
    BStreamBuffer stream;
    for ([[maybe_unused]] auto _ : state) {
        stream.erase();
        for (int i = 0; i < count; ++i)
            stream << static_cast<Value>(i);
        benchmark::DoNotOptimize(stream.data());
    }
    setItems<Value>(state);
}
BENCHMARK(StreamWrite_Sorvex<int>);
BENCHMARK(StreamWrite_Sorvex<double>);

template <typename Value>
void StreamWrite_StdStringstream(benchmark::State& state) {
    std::stringstream stream;
    for ([[maybe_unused]] auto _ : state) {
        stream.seekp(0);
        for (int i = 0; i < count; ++i) {
            const auto value = static_cast<Value>(i);
            stream.write(reinterpret_cast<const char*>(&value), sizeof value);
        }
        benchmark::DoNotOptimize(stream.tellp());
    }
    setItems<Value>(state);
}
BENCHMARK(StreamWrite_StdStringstream<int>);
BENCHMARK(StreamWrite_StdStringstream<double>);

template <typename Value>
void StreamRead_Sorvex(benchmark::State& state) {
    BStreamBuffer source;
    for (int i = 0; i < count; ++i)
        source << static_cast<Value>(i);
    const std::string bytes(static_cast<const char*>(source.data()), source.dataSize());
    BStreamBuffer stream;
    for ([[maybe_unused]] auto _ : state) {
        stream.erase();
        stream.write(bytes.data(), static_cast<unsigned long>(bytes.size()));
        Value sum = 0;
        for (int i = 0; i < count; ++i) {
            Value value = 0;
            stream >> value;
            sum += value;
        }
        if (sum != static_cast<Value>(count) * (count - 1) / 2)
            state.SkipWithError("wrong sum");
    }
    setItems<Value>(state);
}
BENCHMARK(StreamRead_Sorvex<int>);
BENCHMARK(StreamRead_Sorvex<double>);

template <typename Value>
void StreamRead_StdStringstream(benchmark::State& state) {
    std::stringstream stream;
    for (int i = 0; i < count; ++i) {
        const auto value = static_cast<Value>(i);
        stream.write(reinterpret_cast<const char*>(&value), sizeof value);
    }
    for ([[maybe_unused]] auto _ : state) {
        stream.seekg(0);
        Value sum = 0;
        for (int i = 0; i < count; ++i) {
            Value value = 0;
            stream.read(reinterpret_cast<char*>(&value), sizeof value);
            sum += value;
        }
        if (sum != static_cast<Value>(count) * (count - 1) / 2)
            state.SkipWithError("wrong sum");
    }
    setItems<Value>(state);
}
BENCHMARK(StreamRead_StdStringstream<int>);
BENCHMARK(StreamRead_StdStringstream<double>);

std::vector<std::string> texts() {
    std::vector<std::string> made;
    made.reserve(count);
    for (int i = 0; i < count; ++i)
        made.emplace_back(static_cast<std::size_t>(i % 40), 't');
    return made;
}

void StreamWriteStrings_Sorvex(benchmark::State& state) {
    const auto all = texts();
    BStreamBuffer stream;
    for ([[maybe_unused]] auto _ : state) {
        stream.erase();
        for (const auto& text : all)
            stream << text;
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(StreamWriteStrings_Sorvex);

void StreamWriteStrings_StdStringstream(benchmark::State& state) {
    const auto all = texts();
    std::stringstream stream;
    for ([[maybe_unused]] auto _ : state) {
        stream.seekp(0);
        for (const auto& text : all) {
            const auto length = static_cast<std::uint32_t>(text.size());
            stream.write(reinterpret_cast<const char*>(&length), sizeof length);
            stream.write(text.data(), static_cast<std::streamsize>(text.size()));
        }
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(StreamWriteStrings_StdStringstream);

void StreamReadStrings_Sorvex(benchmark::State& state) {
    const auto all = texts();
    BStreamBuffer source;
    for (const auto& text : all)
        source << text;
    const std::string bytes(static_cast<const char*>(source.data()), source.dataSize());
    BStreamBuffer stream;
    std::string text;
    for ([[maybe_unused]] auto _ : state) {
        stream.erase();
        stream.write(bytes.data(), static_cast<unsigned long>(bytes.size()));
        for (const auto& expected : all) {
            stream >> text;
            if (text.size() != expected.size())
                state.SkipWithError("wrong text");
        }
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(StreamReadStrings_Sorvex);

void StreamReadStrings_StdStringstream(benchmark::State& state) {
    const auto all = texts();
    std::stringstream stream;
    for (const auto& text : all) {
        const auto length = static_cast<std::uint32_t>(text.size());
        stream.write(reinterpret_cast<const char*>(&length), sizeof length);
        stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    }
    std::string text;
    for ([[maybe_unused]] auto _ : state) {
        stream.seekg(0);
        for (const auto& expected : all) {
            std::uint32_t length = 0;
            stream.read(reinterpret_cast<char*>(&length), sizeof length);
            text.resize(length);
            stream.read(text.data(), static_cast<std::streamsize>(length));
            if (text.size() != expected.size())
                state.SkipWithError("wrong text");
        }
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(StreamReadStrings_StdStringstream);

void SmallStream_Sorvex(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        BStreamBuffer stream;
        stream << 1 << 2.0;
        int number = 0;
        double value = 0;
        stream >> number >> value;
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(SmallStream_Sorvex);

void SmallStream_StdStringstream(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        std::stringstream stream;
        int number = 1;
        double value = 2;
        stream.write(reinterpret_cast<const char*>(&number), sizeof number);
        stream.write(reinterpret_cast<const char*>(&value), sizeof value);
        stream.read(reinterpret_cast<char*>(&number), sizeof number);
        stream.read(reinterpret_cast<char*>(&value), sizeof value);
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(SmallStream_StdStringstream);

constexpr std::size_t writeSize = 64;

void Grow_Sorvex(benchmark::State& state) {
    const auto total = static_cast<std::size_t>(state.range(0)) << 20;
    const char block[writeSize] = "some bytes";
    for ([[maybe_unused]] auto _ : state) {
        BStreamBuffer stream;
        for (std::size_t written = 0; written < total; written += writeSize)
            stream.write(block, writeSize);
        if (stream.dataSize() != total)
            state.SkipWithError("wrong size");
    }
}
BENCHMARK(Grow_Sorvex)->Arg(256)->Unit(benchmark::kMillisecond);

struct HostRelease {
    void operator()(char* block) const { std::free(block); }
};
using HostBlock = std::unique_ptr<char, HostRelease>;

// The same steps of 8 KiB, by the host's own way to make a block larger.
void Grow_HostRealloc(benchmark::State& state) {
    const auto total = static_cast<std::size_t>(state.range(0)) << 20;
    const char block[writeSize] = "some bytes";
    for ([[maybe_unused]] auto _ : state) {
        std::size_t capacity = 8192;
        HostBlock storage(static_cast<char*>(std::malloc(capacity)));
        for (std::size_t written = 0; written < total; written += writeSize) {
            if (written + writeSize > capacity) {
                capacity += 8192;
                storage.reset(static_cast<char*>(std::realloc(storage.release(), capacity)));
            }
            std::memcpy(storage.get() + written, block, writeSize);
        }
        benchmark::DoNotOptimize(storage);
    }
}
BENCHMARK(Grow_HostRealloc)->Arg(256)->Unit(benchmark::kMillisecond);

void Grow_StdString(benchmark::State& state) {
    const auto total = static_cast<std::size_t>(state.range(0)) << 20;
    const char block[writeSize] = "some bytes";
    for ([[maybe_unused]] auto _ : state) {
        std::string storage;
        for (std::size_t written = 0; written < total; written += writeSize)
            storage.append(block, writeSize);
        benchmark::DoNotOptimize(storage);
    }
}
BENCHMARK(Grow_StdString)->Arg(256)->Unit(benchmark::kMillisecond);

}  // namespace
