#include <sorvex/bstring.h>

#include "strings/text_search.h"
#include "strings/text_view.h"

namespace Sorvex {

namespace {

/// A run of "?" and "*" at the beginning of what is left of a pattern. Only the number of the one
/// and the presence of the other matter, so their order is free.
struct WildcardRun {
    std::size_t singles = 0;
    bool floating = false;
};

constexpr bool isWildcard(char c) noexcept {
    return c == '?' || c == '*';
}

WildcardRun takeWildcards(std::string_view& pattern) noexcept {
    WildcardRun run;
    std::size_t length = 0;
    for (; length < pattern.size() && isWildcard(pattern[length]); ++length) {
        if (pattern[length] == '*')
            run.floating = true;
        else
            ++run.singles;
    }
    pattern.remove_prefix(length);
    return run;
}

std::string_view takeLiteral(std::string_view& pattern) noexcept {
    std::size_t length = 0;
    while (length < pattern.size() && !isWildcard(pattern[length]))
        ++length;
    const std::string_view literal = pattern.substr(0, length);
    pattern.remove_prefix(length);
    return literal;
}

// One forward pass: what a literal has taken is never given back.
bool matches(std::string_view text, std::string_view pattern) noexcept {
    std::size_t position = 0;
    while (!pattern.empty()) {
        const WildcardRun run = takeWildcards(pattern);
        if (run.singles > text.size() - position)
            return false;
        position += run.singles;
        if (pattern.empty())
            return run.floating || position == text.size();

        const std::string_view literal = takeLiteral(pattern);
        if (run.floating)
            position = TextFinder(literal).find(text, position);
        else if (text.compare(position, literal.size(), literal) != 0)
            return false;
        if (position == std::string_view::npos)
            return false;
        position += literal.size();
    }
    return position == text.size();
}

}  // namespace

bool BString::isLike(const std::string& pattern) const {
    return matches(*this, textView(pattern));
}

bool BString::isLike(const char* pattern) const {
    return matches(*this, pattern);
}

bool BString::isLike(const std::string& text, const std::string& pattern) {
    return matches(textView(text), textView(pattern));
}

bool BString::isLike(const char* text, const char* pattern) {
    return matches(text, pattern);
}

}  // namespace Sorvex
