#include "messages/reference_expander.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "messages/catalogue_format.h"

namespace Sorvex::catalogue {

namespace {

constexpr unsigned deepest = 16;

// What looking for a name costs beside its characters, which are copied.
constexpr std::size_t workPerName = 64;

constexpr std::string_view blanks = " \t\r\n";

/// A text on its way through the search for references.
struct Piece {
    std::string text;
    std::size_t position;     // where the search goes on
    std::size_t wordEnd = 0;  // the first space behind the position, when it is known

    /// The end of a reference that begins here. Looked for once a word, since a word can consist of
    /// thousands of references that lead nowhere.
    std::size_t endOfWord(std::size_t start) {
        if (start >= wordEnd)
            wordEnd = std::min(text.find(' ', start), text.size());
        return wordEnd;
    }
};

/// Cuts a text at its first colon; returns what stands before it and leaves what stands behind.
std::string_view cutAtColon(std::string_view& text) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::string_view front = text.substr(0, colon);
    text.remove_prefix(std::min(colon + 1, text.size()));
    return front;
}

}  // namespace

std::string_view stripped(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string ReferenceExpander::expand(std::string message, unsigned depth) {
    std::string done;
    // The search goes on inside a text that took a reference's place, from its second character,
    // before it comes back to what stands behind the reference.
    std::vector<Piece> pieces;
    pieces.push_back({std::move(message), 0});
    while (!pieces.empty()) {
        Piece& piece = pieces.back();
        const std::size_t opener =
            mayGoOn() ? piece.text.find('#', piece.position) : std::string::npos;
        done.append(piece.text, piece.position, opener - piece.position);
        if (opener == std::string::npos) {
            pieces.pop_back();
            continue;
        }
        const std::size_t end = piece.endOfWord(opener);
        const std::string_view whole = piece.text;
        std::string inserted = textFor(whole.substr(opener + 1, end - opener - 1), depth);
        if (inserted.empty()) {
            done += '#';
            piece.position = opener + 1;
            continue;
        }
        piece.position = end;
        if (end == piece.text.size())
            pieces.pop_back();
        done += inserted.front();
        pieces.push_back({std::move(inserted), 1});
    }
    return std::string(stripped(done));
}

std::string ReferenceExpander::textFor(std::string_view reference, unsigned depth) {
    if (depth >= deepest)
        return {};
    std::string_view rest = reference;
    const std::string_view name = cutAtColon(rest);
    workLeft -= std::min(workLeft, name.size() + workPerName);
    const auto entry = texts.find(std::string(name));
    if (entry == texts.end() || entry->second.c_str()[0] == '\0')
        return {};
    --replacementsLeft;
    const std::string_view first = cutAtColon(rest);
    return expand(formatWithStrings(entry->second, first, rest), depth + 1);
}

}  // namespace Sorvex::catalogue
