// Catalogue files, texts and arguments of any bytes.
//
// An input is an argument, a line feed, and a catalogue file.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <utility>

#include <sorvex/messagefile.h>

#include "support/temporary_directory.h"

namespace {

using Sorvex::MessageFile;

// A text can ask for a value of any type, and takes what it is given for that. Each of these is an
// address at which an empty wide string stands as well as an empty one.
constexpr std::size_t valueCount = 100;
alignas(16) const char emptyText[16] = {};

template <std::size_t... index>
std::string textWithManyValues(MessageFile& catalogue, const std::string& key,
                               std::index_sequence<index...>) {
    return catalogue.text(key.c_str(), (static_cast<void>(index), emptyText)...);
}

/// Whether the values are as many as the text can ask for. Numbered values may be asked for as two
/// different types, which no list of values satisfies.
bool isServed(std::string_view line) {
    constexpr std::ptrdiff_t valuesOfAConversion = 3;
    return line.find('$') == std::string_view::npos &&
           std::count(line.begin(), line.end(), '%') * valuesOfAConversion <
               static_cast<std::ptrdiff_t>(valueCount);
}

void require(bool holds) {
    if (!holds)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Sorvex::testing::TemporaryDirectory directory;
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t split = std::min(input.find('\n'), input.size());
    const std::string argument = input.substr(0, split);
    const std::string contents = input.substr(std::min(split + 1, input.size()));

    MessageFile catalogue(directory.file("messages.txt", contents).c_str());
    catalogue.addText("\1", "%s");
    const std::string text = catalogue.text("\1", argument.c_str());
    require(text.empty() || std::string_view(" \t\r\n").find(text.back()) == std::string::npos);

    const std::string_view lines = contents;
    constexpr int linesToCall = 8;
    std::size_t at = 0;
    for (int count = 0; at < lines.size() && count < linesToCall; ++count) {
        const std::string_view line = lines.substr(at, lines.find('\n', at) - at);
        at += line.size() + 1;
        catalogue.addText("\2", std::string(line));
        if (isServed(line))
            textWithManyValues(catalogue, "\2", std::make_index_sequence<valueCount>());
    }
    return 0;
}
