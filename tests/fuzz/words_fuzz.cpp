// Compares the word and field parsers with their literal steps. The input is the delimiters, a NUL,
// the quotes, a NUL and the text.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <sorvex/bstring.h>

#include "strings/literal_steps.h"

namespace {

using namespace Sorvex::testing;

/// Takes what stands before the first NUL off the front of an input.
std::string takePart(std::string& input) {
    std::string part = input.substr(0, input.find('\0'));
    input.erase(0, part.size() + 1);
    return part;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The literal steps take the square of the length.
    if (size > 1024)
        return 0;
    std::string text(reinterpret_cast<const char*>(data), size);
    const std::string delimiters = takePart(text);
    const std::string quotes = takePart(text);
    const Sorvex::BString parsed(text.data(), text.size());

    std::vector<std::string> words;
    parsed.parseWords(words, delimiters.c_str(), quotes.c_str());
    std::vector<Sorvex::BString> fields;
    parsed.parseFields(fields, delimiters.c_str());
    const std::vector<std::string> plainFields(fields.begin(), fields.end());
    if (words != wordsByLiteralSteps(text, delimiters, quotes) ||
        plainFields != fieldsByLiteralSteps(text, delimiters))
        std::abort();
    return 0;
}
