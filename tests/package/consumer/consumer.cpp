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
    try {
        file.open("rb");
    } catch (const std::runtime_error& failure) {
        std::printf("caught: %s\n", failure.what());
        return 0;
    }
    return 3;
}
