// The words behind a command.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Sorvex::tools {

using Words = std::vector<std::string>;

/// What a command takes.
struct Grammar {
    Words operands;          // what they are called, as NAME; all of them are needed
    Words switches;          // options without a value, with both dashes
    Words values;            // options with one
    bool takesMore = false;  // all words behind the operands are the service's, as they are
};

/// The words of one call, sorted. An option stands before or behind the operands, where those are
/// not followed by words of the service's, and its value is the next word or stands behind an
/// equals sign; behind "--" no word is an option.
class Arguments {
public:
    /// @throws Failure with the exit code of bad usage
    Arguments(const std::string& command, const Grammar& grammar, const Words& words);

    const std::string& operand(std::size_t index) const { return operands.at(index); }
    const Words& more() const noexcept { return rest; }

    bool has(const std::string& option) const { return options.count(option) != 0; }
    bool hasAny() const noexcept { return !options.empty(); }
    std::optional<std::string> value(const std::string& option) const;

    /// @param otherwise what is given without the option
    /// @throws Failure with the exit code of bad usage when the value is no number up to the most
    unsigned long number(const std::string& option, unsigned long otherwise,
                         unsigned long most) const;

    /// An option in whole seconds, of which there may be a day's.
    std::optional<std::chrono::milliseconds> seconds(const std::string& option) const;

    /// Ends the command as bad usage.
    [[noreturn]] void refuse(const std::string& text) const;

private:
    std::string command;
    Words operands;
    Words rest;
    std::map<std::string, std::string> options;
};

/// Reads a whole word as a number from 0 to the most.
std::optional<unsigned long> asNumber(const std::string& word, unsigned long most);

}  // namespace Sorvex::tools
