#include <sorvex/bstring.h>

#include "strings/byte_blocks.h"
#include "strings/character_set.h"
#include "strings/text_view.h"

namespace Sorvex {

namespace {

constexpr std::string_view blanks = " \t\r\n";

enum class Ends { leading, trailing, both };

/// What is left of a text without the characters of a set at its ends.
template <typename Set>
std::string_view withoutEnds(std::string_view text, const Set& set, Ends ends) {
    if (ends != Ends::leading)
        text.remove_suffix(trailingRun(text, set));
    if (ends != Ends::trailing)
        text.remove_prefix(leadingRun(text, set));
    return text;
}

std::string_view stripped(std::string_view text, std::string_view set, Ends ends) {
    if (text.empty() || set.empty())
        return text;
    if (set.size() <= FewCharacters::limit)
        return withoutEnds(text, FewCharacters(set), ends);
    return withoutEnds(text, CharacterSet(set), ends);
}

// Both ends are found before either goes, since the set may be the text itself.
void stripInPlace(std::string& text, std::string_view set, Ends ends) {
    const std::string_view rest = stripped(text, set, ends);
    const auto start = static_cast<std::size_t>(rest.data() - text.data());
    text.resize(start + rest.size());
    text.erase(0, start);
}

BString strippedCopy(const std::string& text, std::string_view set, Ends ends) {
    const std::string_view rest = stripped(textView(text), set, ends);
    return BString(rest.data(), rest.size());
}

std::string_view only(const char& c) {
    return {&c, 1};
}

}  // namespace

BString& BString::strip() {
    stripInPlace(*this, blanks, Ends::both);
    return *this;
}

BString& BString::strip(char c) {
    stripInPlace(*this, only(c), Ends::both);
    return *this;
}

BString& BString::strip(const std::string& set) {
    stripInPlace(*this, set, Ends::both);
    return *this;
}

BString& BString::strip(const char* set) {
    stripInPlace(*this, set, Ends::both);
    return *this;
}

BString& BString::stripLeading() {
    stripInPlace(*this, blanks, Ends::leading);
    return *this;
}

BString& BString::stripLeading(char c) {
    stripInPlace(*this, only(c), Ends::leading);
    return *this;
}

BString& BString::stripLeading(const std::string& set) {
    stripInPlace(*this, set, Ends::leading);
    return *this;
}

BString& BString::stripLeading(const char* set) {
    stripInPlace(*this, set, Ends::leading);
    return *this;
}

BString& BString::stripTrailing() {
    stripInPlace(*this, blanks, Ends::trailing);
    return *this;
}

BString& BString::stripTrailing(char c) {
    stripInPlace(*this, only(c), Ends::trailing);
    return *this;
}

BString& BString::stripTrailing(const std::string& set) {
    stripInPlace(*this, set, Ends::trailing);
    return *this;
}

BString& BString::stripTrailing(const char* set) {
    stripInPlace(*this, set, Ends::trailing);
    return *this;
}

BString BString::stripBlanks(const std::string& text) {
    return strippedCopy(text, blanks, Ends::both);
}

BString BString::stripLeadingBlanks(const std::string& text) {
    return strippedCopy(text, blanks, Ends::leading);
}

BString BString::stripTrailingBlanks(const std::string& text) {
    return strippedCopy(text, blanks, Ends::trailing);
}

BString BString::strip(const std::string& text, char c) {
    return strippedCopy(text, only(c), Ends::both);
}

BString BString::strip(const std::string& text, const std::string& set) {
    return strippedCopy(text, set, Ends::both);
}

BString BString::strip(const std::string& text, const char* set) {
    return strippedCopy(text, set, Ends::both);
}

BString BString::stripLeading(const std::string& text, char c) {
    return strippedCopy(text, only(c), Ends::leading);
}

BString BString::stripLeading(const std::string& text, const std::string& set) {
    return strippedCopy(text, set, Ends::leading);
}

BString BString::stripLeading(const std::string& text, const char* set) {
    return strippedCopy(text, set, Ends::leading);
}

BString BString::stripTrailing(const std::string& text, char c) {
    return strippedCopy(text, only(c), Ends::trailing);
}

BString BString::stripTrailing(const std::string& text, const std::string& set) {
    return strippedCopy(text, set, Ends::trailing);
}

BString BString::stripTrailing(const std::string& text, const char* set) {
    return strippedCopy(text, set, Ends::trailing);
}

}  // namespace Sorvex
