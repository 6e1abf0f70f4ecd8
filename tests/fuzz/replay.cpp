// Runs a fuzz target over the files of a directory, where there is no fuzzer.
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <string>

#include "support/temporary_directory.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argumentCount, char** arguments) {
    int inputs = 0;
    for (int index = 1; index < argumentCount; ++index)
        for (const auto& entry : std::filesystem::directory_iterator(arguments[index])) {
            const std::string input = Sorvex::testing::contentsOf(entry.path());
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()),
                                   input.size());
            ++inputs;
        }
    std::cout << inputs << " inputs\n";
    return inputs > 0 ? 0 : 1;
}
