#include <cstdint>
#include <map>
#include <memory>
#include <new>
#include <sstream>

#include <sorvex/diagnostics.h>

#include "platform/platform.h"
#include "platform/width.h"

namespace {

using namespace Sorvex;

/// The measurements of one name that aren't in its file yet.
struct ProfileBatch {
    const char* fileName;
    std::uint32_t capacity;
    std::unique_ptr<std::uint32_t[]> samples;
    std::uint32_t count;
};

// The low half of the counter is all that is used: differences come out right across a wrap.
std::uint32_t counterReading() {
    platform::LARGE_INTEGER counter{};
    platform::QueryPerformanceCounter(&counter);
    return asUnsigned32(counter.QuadPart);
}

// Lives until the process is gone, so that objects of static life and threads that outlast the end
// of main can still be filed.
std::map<std::uintptr_t, ProfileBatch*>& profileBatches() {
    static auto& table = *new std::map<std::uintptr_t, ProfileBatch*>;
    return table;
}

// Null when there is no memory for the samples.
ProfileBatch* newBatch(const char* name, std::uint32_t batchSize) {
    const std::uint32_t capacity = batchSize == 0 ? 1 : batchSize;
    // A size that the language can't count in would throw, whatever form of new is asked.
    if (std::uint64_t{capacity} * sizeof(std::uint32_t) > PTRDIFF_MAX)
        return nullptr;
    std::unique_ptr<std::uint32_t[]> samples(new (std::nothrow) std::uint32_t[capacity]);
    return samples == nullptr ? nullptr : new ProfileBatch{name, capacity, std::move(samples), 0};
}

ProfileBatch* batchOf(const char* name, std::uint32_t batchSize) {
    auto& table = profileBatches();
    const auto key = reinterpret_cast<std::uintptr_t>(name);
    const auto place = table.lower_bound(key);
    if (place != table.end() && place->first == key)
        return place->second;
    ProfileBatch* const batch = newBatch(name, batchSize);
    if (batch != nullptr)
        table.emplace_hint(place, key, batch);
    return batch;
}

// The lines are those of a standard file stream, for which the locale may group digits. They go out
// in one piece, so that those of two processes can't mix within a line.
void appendToFile(const ProfileBatch& batch) {
    platform::FILE* const file = platform::fopen(batch.fileName, "a");
    if (file == nullptr)
        return;
    std::ostringstream stream;
    for (std::uint32_t index = 0; index < batch.count; ++index)
        stream << static_cast<unsigned long>(batch.samples[index]) << '\n';
    const std::string lines = stream.str();
    platform::fwrite(lines.data(), 1, lines.size(), file);
    platform::fclose(file);
}

}  // namespace

Profiler::Profiler(const char* fileName, unsigned long samples)
    : name(fileName), batchSize(asUnsigned32(samples)) {
    startCount = counterReading();
}

Profiler::~Profiler() {
    const std::uint32_t endCount = counterReading();
    ProfileBatch* const batch = batchOf(name, batchSize);
    if (batch == nullptr)
        return;
    batch->samples[batch->count++] = endCount - startCount;
    if (batch->count == batch->capacity) {
        appendToFile(*batch);
        batch->count = 0;
    }
}
