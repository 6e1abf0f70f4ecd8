// An outside program: derives from exported classes, casts between them, and catches across the
// border.
#include <cstdio>
#include <exception>
#include <stdexcept>

#include <sorvex/sorvex.h>

namespace {

class CountingStream : public Sorvex::BStream {
public:
    unsigned long read(void*, unsigned long) override { return 0; }
    unsigned long write(const void*, unsigned long size) override {
        bytes += size;
        return size;
    }

    unsigned long bytes = 0;
};

class FullStream : public Sorvex::BStream {
public:
    unsigned long read(void*, unsigned long) override { return 0; }
    unsigned long write(const void*, unsigned long) override { throw std::length_error("full"); }
};

/// Whether an exception of this program's own passes through the library's frames.
bool passesThroughTheLibrary() {
    FullStream stream;
    try {
        stream << 1;
    } catch (const std::length_error&) {
        return true;
    }
    return false;
}

}  // namespace

int main() {
    CountingStream stream;
    stream << 1 << "two" << std::string("three");
    if (stream.bytes != 16)
        return 1;
    Sorvex::BFile file("no such file");
    Sorvex::BStream& asStream = file;
    if (dynamic_cast<Sorvex::BPath*>(&asStream) == nullptr)
        return 2;
    if (!passesThroughTheLibrary())
        return 4;
    try {
        file.open("rb");
    } catch (const std::runtime_error& failure) {
        std::printf("caught: %s\n", failure.what());
        return 0;
    }
    return 3;
}
