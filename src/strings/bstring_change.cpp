#include <cstring>

#include <sorvex/bstring.h>

#include "strings/byte_blocks.h"
#include "strings/text_search.h"
#include "strings/text_view.h"

namespace Sorvex {

namespace {

/// A text that is written from left to right and grows by doubling.
///
/// The room is made by the standard string in advance, so that the pieces, which are many and
/// short, cost a copy each and nothing more.
class TextWriter {
public:
    explicit TextWriter(std::size_t room) { text.resize(room); }

    void append(const char* piece, std::size_t length) {
        if (length > text.size() - written)
            grow(length);
        std::memcpy(text.data() + written, piece, length);
        written += length;
    }

    /// Gives up the text to another one, in exchange for its storage.
    void finish(std::string& target) {
        text.resize(written);
        target.swap(text);
    }

private:
    void grow(std::size_t length) {
        // The sum is checked by the string, which refuses what is beyond its maximum.
        if (length > text.max_size() - written)
            text.resize(std::string::npos);
        const std::size_t needed = written + length;
        text.resize(text.size() > text.max_size() / 2 ? needed : needed + text.size());
    }

    std::string text;
    std::size_t written = 0;
};

// The first occurrence stands at first. A fresh text is written, so the arguments may be the text
// itself, and a failure leaves it as it was.
void changeToLonger(std::string& text, const std::string& from, const std::string& to,
                    std::size_t first) {
    TextWriter result(text.size() + text.size() / 4 + to.size());
    std::size_t position = 0;
    for (std::size_t found = first; found != std::string::npos;
         found = findText(text, from, position)) {
        result.append(text.data() + position, found - position);
        result.append(to.data(), to.size());
        position = found + from.size();
    }
    result.append(text.data() + position, text.size() - position);
    result.finish(text);
}

// The text closes up in place. An argument that is the text itself makes the first occurrence the
// whole text, behind which nothing is read any more.
void changeToNotLonger(std::string& text, const std::string& from, const std::string& to,
                       std::size_t first) {
    char* const data = text.data();
    const std::string_view source(data, text.size());
    std::size_t written = first;
    for (std::size_t found = first; found != std::string::npos;) {
        std::char_traits<char>::move(data + written, to.data(), to.size());
        written += to.size();
        const std::size_t position = found + from.size();
        found = findText(source, from, position);
        const std::size_t kept = (found == std::string::npos ? source.size() : found) - position;
        if (written != position)
            std::char_traits<char>::move(data + written, data + position, kept);
        written += kept;
    }
    text.resize(written);
}

}  // namespace

BString& BString::change(const std::string& from, const std::string& to) {
    const size_type first = from.empty() ? npos : findText(*this, from, 0);
    if (first == npos)
        return *this;
    if (to.size() > from.size())
        changeToLonger(*this, from, to, first);
    else
        changeToNotLonger(*this, from, to, first);
    return *this;
}

BString BString::change(const std::string& text, const std::string& from, const std::string& to) {
    BString result(text);
    result.change(from, to);
    // What was put in can hold NUL characters.
    cutToTextView(result);
    return result;
}

BString& BString::change(char from, char to) {
    transformCharacters(*this, [from, to](char c) { return c == from ? to : c; });
    return *this;
}

}  // namespace Sorvex
