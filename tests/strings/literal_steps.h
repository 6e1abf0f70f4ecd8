// The rules of parsing and matching carried out one literal step after another, without regard to
// the time they take. The library's members have to agree with them on every text.
#ifndef SORVEX_TESTS_STRINGS_LITERAL_STEPS_H
#define SORVEX_TESTS_STRINGS_LITERAL_STEPS_H

#include <cstddef>
#include <string>
#include <vector>

namespace Sorvex::testing {

inline constexpr std::size_t notFound = std::string::npos;

inline std::string changeByRepeatedReplacing(std::string text, const std::string& from,
                                             const std::string& to) {
    std::size_t position = 0;
    do {
        const std::size_t found = text.find(from, position);
        if (found == notFound)
            break;
        text.replace(found, from.size(), to);
        position = found + to.size();
    } while (position < text.size());
    return text;
}

inline std::vector<std::string> wordsByLiteralSteps(const std::string& text,
                                                    const std::string& delimiters,
                                                    const std::string& quotes) {
    std::vector<std::string> words;
    std::size_t position = 0;
    while (position < text.size()) {
        std::size_t start = text.find_first_not_of(delimiters, position);
        if (start == notFound)
            break;
        std::size_t end = notFound;
        if (start == 0 && quotes.find(text[0]) == notFound) {
            end = text.find_first_of(delimiters, 1);
        } else if (quotes.find(text[start]) == notFound) {
            end = text.find(text[start - 1], start + 1);
        } else {
            const char quote = text[start];
            std::size_t candidate = start;
            std::size_t follower = notFound;
            do {
                candidate = text.find(quote, candidate + 1);
                if (candidate == notFound)
                    follower = notFound;
                else if (start == 0)
                    follower = text.find_first_of(delimiters, candidate);
                else
                    follower = text.find(text[start - 1], candidate);
            } while (candidate != notFound && follower != notFound && follower != candidate + 1);
            if (follower == notFound && text[text.size() - 1] == quote)
                candidate = text.size() - 1;
            end = candidate;
            ++start;
        }
        if (end == notFound)
            end = text.size();
        if (end >= start)
            words.push_back(text.substr(start, end - start));
        position = end + 1;
    }
    return words;
}

inline std::vector<std::string> fieldsByLiteralSteps(const std::string& text,
                                                     const std::string& delimiters) {
    std::vector<std::string> fields;
    std::size_t position = 0;
    while (position < text.size()) {
        std::size_t end = position == 0 ? text.find_first_of(delimiters, position)
                                        : text.find(text[position - 1], position);
        if (end == notFound)
            end = text.size();
        fields.emplace_back(text.substr(position, end - position).c_str());
        position = end + 1;
    }
    return fields;
}

inline std::string normalisedPattern(std::string pattern) {
    for (std::string before; before != pattern;) {
        before = pattern;
        pattern = changeByRepeatedReplacing(pattern, "*?", "?*");
    }
    return pattern;
}

inline bool matchesByLiteralSteps(const std::string& text, const std::string& unchangedPattern) {
    const std::string pattern = normalisedPattern(unchangedPattern);
    std::size_t position = 0;
    bool floating = false;
    for (std::size_t next = 0; next < pattern.size();) {
        if (pattern[next] == '?') {
            if (position >= text.size())
                return false;
            ++position;
            ++next;
        } else if (pattern[next] == '*') {
            floating = true;
            ++next;
        } else {
            std::size_t end = pattern.find_first_of("?*", next);
            if (end == notFound)
                end = pattern.size();
            const std::string literal = pattern.substr(next, end - next);
            const std::size_t found = text.find(literal, position);
            if (found == notFound || (!floating && found != position))
                return false;
            position = found + literal.size();
            floating = false;
            next = end;
        }
    }
    if (!pattern.empty() && pattern[pattern.size() - 1] == '*')
        return true;
    return position == text.size();
}

}  // namespace Sorvex::testing

#endif
