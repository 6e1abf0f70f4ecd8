#include <cstdint>

#include <sorvex/bstring.h>

#include "strings/text_view.h"

namespace Sorvex {

namespace {

constexpr char blank = ' ';
constexpr std::size_t blockSize = 64;

/// Whether a word begins at a character that is not the first.
bool beginsWord(const char* c) noexcept {
    return (c[0] != blank) & (c[-1] == blank);
}

/// How many words begin in one block; the character before it is looked at as well. The sum is kept
/// in a byte, which half the block always fits, so that it becomes vector code.
std::size_t wordsInBlock(const char* block) noexcept {
    std::uint8_t words = 0;
    for (std::size_t i = 0; i < blockSize; ++i)
        words = static_cast<std::uint8_t>(words + (beginsWord(block + i) ? 1 : 0));
    return words;
}

}  // namespace

BString::size_type BString::indexOfWord(size_type wordNumber, size_type start) const {
    if (wordNumber == 0 || start >= size())
        return npos;
    const char* const text = data();
    size_type words = text[start] == blank ? 0 : 1;
    if (words == wordNumber)
        return start;
    size_type position = start + 1;
    for (; size() - position >= blockSize; position += blockSize) {
        const size_type more = wordsInBlock(text + position);
        if (words + more >= wordNumber)
            break;
        words += more;
    }
    for (; position < size(); ++position) {
        if (beginsWord(text + position) && ++words == wordNumber)
            return position;
    }
    return npos;
}

BString BString::word(size_type wordNumber, size_type start) const {
    const size_type first = indexOfWord(wordNumber, start);
    if (first == npos)
        return BString();
    const std::string_view rest = std::string_view(*this).substr(first);
    const std::string_view found = textView(rest.substr(0, rest.find(blank)));
    return BString(found.data(), found.size());
}

BString::size_type BString::numberOfWords(size_type start) const {
    if (start >= size())
        return 0;
    const char* const text = data();
    size_type words = text[start] == blank ? 0 : 1;
    size_type position = start + 1;
    for (; size() - position >= blockSize; position += blockSize)
        words += wordsInBlock(text + position);
    for (; position < size(); ++position) {
        if (beginsWord(text + position))
            ++words;
    }
    return words;
}

}  // namespace Sorvex
