// Catalogue files, texts and arguments of any bytes, and texts that the runtime formats too.
//
// An input is an argument, a line feed, and a catalogue file; its bytes also choose the conversions
// of a text that is compared with the runtime's.
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include <sorvex/messagefile.h>

#include "platform/platform.h"
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

/// Calls a formatter with the values that makeText() makes texts for.
template <typename Formatter>
auto withValues(Formatter format) {
    errno = ENOENT;
    return format(5, -70000, 8, "some text", -1234.5678, 12, L"wide text", -9L, 1234567890123LL,
                  0.1L, std::size_t{99}, "end");
}

struct Value {
    bool isNumber;  // for a width or precision
    std::string_view conversions[4];
};

constexpr Value values[] = {
    {true, {"d", "c", "hhx", "hi"}},       {true, {"i", "u", "X", "ho"}},
    {true, {"d", "hc", "hx", "o"}},        {false, {"s", "hs", "s", "hhs"}},
    {false, {"f", "g", "le", "a"}},        {true, {"d", "c", "u", "x"}},
    {false, {"ls", "S", "ls", "S"}},       {false, {"ld", "li", "lu", "lx"}},
    {false, {"lld", "lli", "llu", "llo"}}, {false, {"Lf", "Lg", "llE", "La"}},
    {false, {"zu", "zd", "Zx", "to"}},     {false, {"p", "p", "p", "p"}}};

/// A text of conversions that the runtime knows, as the bytes choose.
std::string makeText(std::string_view bytes) {
    const auto choose = [&](std::size_t count) -> std::size_t {
        if (bytes.empty())
            return 0;
        const auto byte = static_cast<unsigned char>(bytes.front());
        bytes.remove_prefix(1);
        return byte * count / 256;
    };
    const bool isNumbered = choose(2) == 1;
    std::string text = "<";
    for (std::size_t next = 0; next < std::size(values);) {
        text.append(choose(8) == 7 ? 16 * choose(256) : choose(8), '.');
        // None of the numbers may be left out.
        std::size_t value = isNumbered && choose(3) == 2 ? choose(next + 1) : next;
        std::string numbers;
        for (std::size_t count = choose(4); count > 0; --count)
            numbers += "-+ 0'I#"[choose(7)];
        for (const char* const opener : {"", "."}) {
            const std::size_t form = choose(8);
            numbers += form > 0 ? opener : "";
            if (form == 7 && isNumbered)
                numbers += "*1$";
            else if (form == 7 && value + 1 < std::size(values) && values[value].isNumber)
                numbers += (++value, "*");
            else if (form > 0)
                numbers += std::to_string(form == 6 ? 20 * choose(256) : choose(12));
        }
        text += '%' + (isNumbered ? std::to_string(value + 1) + '$' : "") + numbers;
        text += values[value].conversions[choose(4)];
        next = std::max(next, value + 1);
    }
    return text + (choose(2) == 1 ? "%%%m>" : ">");
}

void compareWithTheRuntime(std::string_view bytes) {
    const std::string text = makeText(bytes);
    const std::string expected = withValues([&](auto... passed) {
        char block[4096];
        require(std::snprintf(block, sizeof block, text.c_str(), passed...) >= 0);
        return std::string(block);
    });
    MessageFile catalogue("");
    const auto textOf = [&](const std::string& made) {
        catalogue.addText("K", made);
        return withValues([&](auto... passed) { return catalogue.text("K", passed...); });
    };
    const auto shown = [](const std::string& made) {
        return made.substr(0, made.find_last_not_of(' ', 4094) + 1);
    };
    require(textOf(text) == shown(expected));
    for (const char* fault : {"%n", "%5n", "%1$hhn", "%y", "%l%"})
        require(textOf(fault + text) == shown(fault + text));
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
    if (Sorvex::platform::conversionsHaveNumbers)
        compareWithTheRuntime(input);
    return 0;
}
