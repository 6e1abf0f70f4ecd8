// A stream that notes how it is called.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <sorvex/bstream.h>

namespace Sorvex::testing {

/// Keeps all bytes written and the size of each call, and delivers the bytes of its input.
class RecordingStream : public BStream {
public:
    explicit RecordingStream(std::string bytes = "") : input(std::move(bytes)) {}

    unsigned long read(void* buffer, unsigned long size) override {
        reads.push_back(size);
        const std::size_t count = std::min<std::size_t>(size, input.size());
        std::memcpy(buffer, input.data(), count);
        input.erase(0, count);
        return static_cast<unsigned long>(count);
    }

    unsigned long write(const void* buffer, unsigned long size) override {
        writes.push_back(size);
        output.append(static_cast<const char*>(buffer), size);
        return size;
    }

    std::string input;
    std::string output;
    std::vector<unsigned long> reads;
    std::vector<unsigned long> writes;
};

}  // namespace Sorvex::testing
