// Compares BString::isLike with its literal steps. The input is the pattern, a NUL and the text.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <sorvex/bstring.h>

#include "strings/literal_steps.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The literal steps take the square of the length, and more of runs of wildcards.
    if (size > 128)
        return 0;
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string pattern = input.substr(0, input.find('\0'));
    const std::string text = input.substr(std::min(pattern.size() + 1, size));
    const Sorvex::BString matched(text.data(), text.size());
    if (matched.isLike(pattern) != Sorvex::testing::matchesByLiteralSteps(text, pattern))
        std::abort();
    return 0;
}
