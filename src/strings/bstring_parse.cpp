#include <algorithm>
#include <array>
#include <functional>

#include <sorvex/bstring.h>

#include "strings/character_set.h"
#include "strings/text_view.h"

namespace Sorvex {

namespace {

constexpr std::size_t npos = std::string_view::npos;

/// The first position from one on whose character is, or is not, in a set.
std::size_t findMember(std::string_view text, const CharacterSet& set, std::size_t from,
                       bool member) noexcept {
    for (std::size_t position = from; position < text.size(); ++position) {
        if (set(text[position]) == member)
            return position;
    }
    return npos;
}

/// Takes the words out of a text one after another, in linear time.
///
/// The delimiter of a word is the one character that stands before it; of a word at the beginning,
/// any of the delimiters.
class WordParser {
public:
    WordParser(std::string_view textToParse, const char* delimiterSet,
               const char* quoteSet) noexcept
        : text(textToParse), delimiters(delimiterSet), quotes(quoteSet) {}

    /// How much of the text is behind the words that were found.
    std::size_t left() const noexcept { return text.size() - std::min(position, text.size()); }

    /// Finds the next word; false at the end of the text.
    bool next(std::string_view& word) noexcept {
        while (position < text.size()) {
            std::size_t start = findMember(text, delimiters, position, false);
            if (start == npos)
                return false;
            const bool quoted = quotes(text[start]);
            std::size_t end = quoted ? closingQuote(start) : findDelimiter(start, start + 1);
            if (quoted)
                ++start;
            if (end == npos)
                end = text.size();
            position = end + 1;
            // The end lies before the start for a lone quote at the end of the text.
            if (end >= start) {
                word = text.substr(start, end - start);
                return true;
            }
        }
        return false;
    }

private:
    bool isDelimiter(std::size_t wordStart, char c) const noexcept {
        return wordStart == 0 ? delimiters(c) : c == text[wordStart - 1];
    }

    std::size_t findDelimiter(std::size_t wordStart, std::size_t from) const noexcept {
        return wordStart == 0 ? findMember(text, delimiters, from, true)
                              : text.find(text[wordStart - 1], from);
    }

    /// The quote that ends the word whose opening quote stands at start; npos when there is none.
    ///
    /// That is the first one with the delimiter directly behind it. If the delimiter gives out on
    /// the way, it is the last character of the text if that is the quote, else the first quote
    /// that no delimiter follows.
    std::size_t closingQuote(std::size_t start) const noexcept {
        const char quote = text[start];
        std::size_t follower = start;
        for (std::size_t candidate = text.find(quote, start + 1); candidate != npos;
             candidate = text.find(quote, candidate + 1)) {
            // A delimiter that was found further on serves all quotes before it.
            if (follower < candidate)
                follower = delimiterBehindQuote(start, candidate);
            if (follower == candidate + 1)
                return candidate;
            if (follower == npos)
                return text.back() == quote ? text.size() - 1 : candidate;
        }
        return text.back() == quote ? text.size() - 1 : npos;
    }

    // Most closing quotes have their delimiter next to them. The quote itself is a delimiter when
    // it closed the word before.
    std::size_t delimiterBehindQuote(std::size_t start, std::size_t candidate) const noexcept {
        if (isDelimiter(start, text[candidate]))
            return candidate;
        if (candidate + 1 < text.size() && isDelimiter(start, text[candidate + 1]))
            return candidate + 1;
        return findDelimiter(start, candidate + 1);
    }

    std::string_view text;
    CharacterSet delimiters;
    CharacterSet quotes;
    std::size_t position = 0;
};

/// Makes room for more elements, and for those that may follow them. The growth by factors is kept,
/// which makes appending in many small calls linear; what is only expected counts up to a factor
/// of eight, so that a wrong guess does no harm.
template <typename Element>
void makeRoom(std::vector<Element>& elements, std::size_t more, std::size_t expected) {
    const std::size_t needed = elements.size() + more;
    if (needed <= elements.capacity())
        return;
    const std::size_t guess = std::min(needed + expected, 8 * elements.capacity());
    const std::size_t wanted = std::max(2 * elements.capacity(), guess);
    elements.reserve(std::max(needed, std::min(wanted, elements.max_size())));
}

/// How many fields a delimiter makes of a text; one at the very end opens no further field.
std::size_t countFields(std::string_view text, char delimiter) {
    const auto ends = static_cast<std::size_t>(std::count(text.begin(), text.end(), delimiter));
    return text.empty() || text.back() == delimiter ? ends : ends + 1;
}

/// Appends the fields of a text that is not empty. The first of the delimiters in it ends each.
void appendFields(std::string_view text, const CharacterSet& delimiters,
                  std::vector<BString>& fields) {
    const std::size_t first = findMember(text, delimiters, 0, true);
    if (first == npos) {
        const std::string_view whole = textView(text);
        fields.emplace_back(whole.data(), whole.size());
        return;
    }
    const char delimiter = text[first];
    const bool mayHoldNul = text.find('\0') != npos;
    makeRoom(fields, countFields(text, delimiter), 0);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(delimiter), text.size());
        std::string_view field = text.substr(0, end);
        if (mayHoldNul)
            field = textView(field);
        fields.emplace_back(field.data(), field.size());
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

}  // namespace

BString::size_type BString::parseWords(std::vector<std::string>& words, const char* delimiters,
                                       const char* quotes) const {
    WordParser parser(*this, delimiters, quotes);
    // Words are collected before they are stored, so that a short text's need one allocation.
    std::array<std::string_view, 32> found;
    for (std::size_t count = found.size(); count == found.size();) {
        const std::size_t before = parser.left();
        count = 0;
        while (count < found.size() && parser.next(found[count]))
            ++count;
        const std::size_t parsed = before - parser.left();
        makeRoom(words, count, count < found.size() ? 0 : parser.left() / parsed * count);
        for (std::size_t i = 0; i < count; ++i)
            words.emplace_back(found[i]);
    }
    return words.size();
}

BString::size_type BString::parseFields(std::vector<BString>& fields,
                                        const char* delimiters) const {
    if (empty())
        return fields.size();
    const CharacterSet set(delimiters);
    const std::less<const BString*> before;
    const bool isOwnElement =
        !fields.empty() && !before(this, &fields.front()) && !before(&fields.back(), this);
    // An element would move away from under the parse when the vector grows.
    if (isOwnElement)
        appendFields(std::string(*this), set, fields);
    else
        appendFields(*this, set, fields);
    return fields.size();
}

}  // namespace Sorvex
