#include "sorvex_service/arguments.h"

#include <algorithm>
#include <charconv>

#include "sorvex_service/failure.h"

namespace Sorvex::tools {

namespace {

bool contains(const Words& words, const std::string& word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

}  // namespace

Arguments::Arguments(const std::string& name, const Grammar& grammar, const Words& words)
    : command(name) {
    bool areOptionsOver = false;
    for (std::size_t index = 0; index < words.size(); ++index) {
        const std::string& word = words[index];
        const bool areComplete = operands.size() == grammar.operands.size();
        if (areComplete && grammar.takesMore) {
            rest.push_back(word);
        } else if (!areOptionsOver && word == "--") {
            areOptionsOver = true;
        } else if (!areOptionsOver && word.size() > 1 && word.front() == '-') {
            const std::size_t end = word.find('=');
            const std::string option = word.substr(0, end);
            const bool hasValue = end != std::string::npos;
            if (contains(grammar.switches, option) && !hasValue)
                options[option] = "";
            else if (!contains(grammar.values, option))
                refuse("doesn't know " + word);
            else if (hasValue)
                options[option] = word.substr(end + 1);
            else if (++index < words.size())
                options[option] = words[index];
            else
                refuse("needs a value behind " + word);
        } else if (areComplete) {
            refuse("doesn't know what to do with " + word);
        } else {
            operands.push_back(word);
        }
    }
    if (operands.size() < grammar.operands.size())
        refuse("needs a " + grammar.operands[operands.size()]);
}

std::optional<std::string> Arguments::value(const std::string& option) const {
    const auto found = options.find(option);
    return found == options.end() ? std::nullopt : std::optional(found->second);
}

unsigned long Arguments::number(const std::string& option, unsigned long otherwise,
                                unsigned long most) const {
    const auto word = value(option);
    if (!word)
        return otherwise;
    const auto number = asNumber(*word, most);
    if (!number)
        refuse("needs a number from 0 to " + std::to_string(most) + " behind " + option);
    return *number;
}

std::optional<std::chrono::milliseconds> Arguments::seconds(const std::string& option) const {
    constexpr unsigned long secondsOfDay = 86400;
    if (!has(option))
        return std::nullopt;
    return std::chrono::seconds(number(option, 0, secondsOfDay));
}

void Arguments::refuse(const std::string& text) const {
    throw Failure(command + " " + text + "; see sorvex-service " + command + " --help", exitUsage);
}

std::optional<unsigned long> asNumber(const std::string& word, unsigned long most) {
    unsigned long number = 0;
    const char* last = word.data() + word.size();
    const auto [end, error] = std::from_chars(word.data(), last, number);
    if (error != std::errc() || end != last || number > most)
        return std::nullopt;
    return number;
}

}  // namespace Sorvex::tools
