#include <cstring>

#include <sorvex/bstring.h>

#include "strings/byte_blocks.h"
#include "strings/character_set.h"
#include "strings/text_view.h"

namespace Sorvex {

namespace {

/// The set that strips when none is given. Constants make the question for one character a test of
/// a bit.
struct Blanks {
    constexpr bool operator()(char c) const noexcept {
        return c == ' ' || c == '\t' || c == '\r' || c == '\n';
    }

    ByteVector operator()(const ByteVector& characters) const noexcept {
        return FewCharacters(" \t\r\n")(characters);
    }
};

constexpr Blanks blanks;

enum class Ends { leading, trailing, both };

/// What is left of a text without the characters of a set at its ends.
template <typename Set>
std::string_view stripped(std::string_view text, const Set& set, Ends ends) {
    if (ends != Ends::leading)
        text.remove_suffix(trailingRun(text, set));
    if (ends != Ends::trailing)
        text.remove_prefix(leadingRun(text, set));
    return text;
}

std::string_view stripped(std::string_view text, std::string_view set, Ends ends) {
    if (set.empty())
        return text;
    if (set.size() <= FewCharacters::limit)
        return stripped(text, FewCharacters(set), ends);
    return stripped(text, CharacterSet(set), ends);
}

std::string_view stripped(std::string_view text, char c, Ends ends) {
    return stripped(text, FewCharacters({&c, 1}), ends);
}

// Both ends are found before either goes, since the set may be the text itself.
template <typename Set>
BString& stripInPlace(BString& text, const Set& set, Ends ends) {
    const std::string_view rest = stripped(std::string_view(text), set, ends);
    std::memmove(text.data(), rest.data(), rest.size());
    text.erase(rest.size());
    return text;
}

template <typename Set>
BString strippedCopy(const std::string& text, const Set& set, Ends ends) {
    const std::string_view rest = stripped(textView(text), set, ends);
    return BString(rest.data(), rest.size());
}

}  // namespace

BString& BString::strip() {
    return stripInPlace(*this, blanks, Ends::both);
}

BString& BString::strip(char c) {
    return stripInPlace(*this, c, Ends::both);
}

BString& BString::strip(const std::string& set) {
    return stripInPlace(*this, std::string_view(set), Ends::both);
}

BString& BString::strip(const char* set) {
    return stripInPlace(*this, std::string_view(set), Ends::both);
}

BString& BString::stripLeading() {
    return stripInPlace(*this, blanks, Ends::leading);
}

BString& BString::stripLeading(char c) {
    return stripInPlace(*this, c, Ends::leading);
}

BString& BString::stripLeading(const std::string& set) {
    return stripInPlace(*this, std::string_view(set), Ends::leading);
}

BString& BString::stripLeading(const char* set) {
    return stripInPlace(*this, std::string_view(set), Ends::leading);
}

BString& BString::stripTrailing() {
    return stripInPlace(*this, blanks, Ends::trailing);
}

BString& BString::stripTrailing(char c) {
    return stripInPlace(*this, c, Ends::trailing);
}

BString& BString::stripTrailing(const std::string& set) {
    return stripInPlace(*this, std::string_view(set), Ends::trailing);
}

BString& BString::stripTrailing(const char* set) {
    return stripInPlace(*this, std::string_view(set), Ends::trailing);
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
    return strippedCopy(text, c, Ends::both);
}

BString BString::strip(const std::string& text, const std::string& set) {
    return strippedCopy(text, std::string_view(set), Ends::both);
}

BString BString::strip(const std::string& text, const char* set) {
    return strippedCopy(text, std::string_view(set), Ends::both);
}

BString BString::stripLeading(const std::string& text, char c) {
    return strippedCopy(text, c, Ends::leading);
}

BString BString::stripLeading(const std::string& text, const std::string& set) {
    return strippedCopy(text, std::string_view(set), Ends::leading);
}

BString BString::stripLeading(const std::string& text, const char* set) {
    return strippedCopy(text, std::string_view(set), Ends::leading);
}

BString BString::stripTrailing(const std::string& text, char c) {
    return strippedCopy(text, c, Ends::trailing);
}

BString BString::stripTrailing(const std::string& text, const std::string& set) {
    return strippedCopy(text, std::string_view(set), Ends::trailing);
}

BString BString::stripTrailing(const std::string& text, const char* set) {
    return strippedCopy(text, std::string_view(set), Ends::trailing);
}

}  // namespace Sorvex
