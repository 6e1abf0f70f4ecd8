// The rules of parsing and matching carried out one literal step after another, without regard to
// the time they take. The library's members have to agree with them on every text.
#pragma once

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace Sorvex::testing {

inline constexpr std::size_t notFound = std::string::npos;

/// A text of at most longest characters, each out of the alphabet. A small one brings about the
/// awkward neighbourhoods that long texts of ordinary characters hardly ever hold.
inline std::string randomText(std::mt19937& random, std::string_view alphabet,
                              std::size_t longest) {
    std::string text(random() % (longest + 1), ' ');
    for (char& c : text)
        c = alphabet[random() % alphabet.size()];
    return text;
}

inline std::string changeByRepeatedReplacing(std::string text, const std::string& from,
                                             const std::string& to) {
    for (std::size_t at = text.find(from); at != notFound; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

inline std::vector<std::string> wordsByLiteralSteps(const std::string& text,
                                                    const std::string& delimiters,
                                                    const std::string& quotes) {
    std::vector<std::string> words;
    for (std::size_t position = 0; position < text.size();) {
        std::size_t start = text.find_first_not_of(delimiters, position);
        if (start == notFound)
            break;
        const auto findDelimiter = [&](std::size_t from) {
            return start == 0 ? text.find_first_of(delimiters, from)
                              : text.find(text[start - 1], from);
        };
        std::size_t end = start;
        const char quote = text[start];
        if (quotes.find(quote) == notFound) {
            end = findDelimiter(start + 1);
        } else {
            std::size_t follower = notFound;
            do {
                end = text.find(quote, end + 1);
                follower = end == notFound ? notFound : findDelimiter(end);
            } while (follower != notFound && follower != end + 1);
            if (follower == notFound && text.back() == quote)
                end = text.size() - 1;
            ++start;
        }
        end = std::min(end, text.size());
        if (end >= start)
            words.push_back(text.substr(start, end - start));
        position = end + 1;
    }
    return words;
}

inline std::vector<std::string> fieldsByLiteralSteps(const std::string& text,
                                                     const std::string& delimiters) {
    std::vector<std::string> fields;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t end = position == 0 ? text.find_first_of(delimiters)
                                              : text.find(text[position - 1], position);
        fields.emplace_back(text.substr(position, end - position).c_str());
        position = std::min(end, text.size()) + 1;
    }
    return fields;
}

inline bool matchesByLiteralSteps(const std::string& text, std::string pattern) {
    for (std::string before; before != pattern;) {
        before = pattern;
        pattern = changeByRepeatedReplacing(pattern, "*?", "?*");
    }
    std::size_t position = 0;
    bool floating = false;
    for (std::size_t next = 0; next < pattern.size();) {
        const std::size_t end = std::min(pattern.find_first_of("?*", next), pattern.size());
        const std::string literal = pattern.substr(next, end - next);
        if (literal.empty()) {
            floating = pattern[next++] == '*';
            if (!floating && position++ >= text.size())
                return false;
            continue;
        }
        const std::size_t found = text.find(literal, position);
        if (found == notFound || (!floating && found != position))
            return false;
        position = found + literal.size();
        floating = false;
        next = end;
    }
    return floating || position == text.size();
}

}  // namespace Sorvex::testing
