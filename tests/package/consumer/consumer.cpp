// An outside program: derives from an exported class, casts, and catches across the border.
#include <cstdio>
#include <exception>
#include <stdexcept>

#include <sorvex/sorvex.h>

int main() {
    try {
        Sorvex::asString("%5000d", 1);
    } catch (const std::runtime_error& failure) {
        std::printf("caught: %s\n", failure.what());
        return 0;
    }
    return 1;
}
