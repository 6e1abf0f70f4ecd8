// Loops over characters, written in blocks of a fixed length so that the compiler can turn them
// into vector code at every optimisation level.
#ifndef SORVEX_STRINGS_BYTE_BLOCKS_H
#define SORVEX_STRINGS_BYTE_BLOCKS_H

#include <cstddef>
#include <string>
#include <string_view>

namespace Sorvex {

constexpr std::size_t byteBlock = 64;

/// Replaces each character c by map(c).
template <typename Map>
void transformCharacters(std::string& text, Map map) {
    char* next = text.data();
    std::size_t left = text.size();
    for (; left >= byteBlock; left -= byteBlock, next += byteBlock) {
        for (std::size_t i = 0; i < byteBlock; ++i)
            next[i] = map(next[i]);
    }
    for (std::size_t i = 0; i < left; ++i)
        next[i] = map(next[i]);
}

/// Whether a predicate holds for each of count characters. The loop never ends early.
template <typename Predicate>
bool holdsForBlock(const char* block, std::size_t count, Predicate predicate) {
    bool holds = true;
    for (std::size_t i = 0; i < count; ++i)
        holds &= predicate(block[i]);
    return holds;
}

/// Whether a predicate holds for each character.
template <typename Predicate>
bool holdsForAll(std::string_view text, Predicate predicate) {
    const char* next = text.data();
    std::size_t left = text.size();
    for (; left >= byteBlock; left -= byteBlock, next += byteBlock) {
        if (!holdsForBlock(next, byteBlock, predicate))
            return false;
    }
    return holdsForBlock(next, left, predicate);
}

/// The length of the longest run at the start for which a predicate holds.
template <typename Predicate>
std::size_t leadingRun(std::string_view text, Predicate predicate) {
    std::size_t run = 0;
    const std::size_t first = text.size() < byteBlock ? text.size() : byteBlock;
    while (run < first && predicate(text[run]))
        ++run;
    if (run < first)
        return run;
    while (text.size() - run >= byteBlock && holdsForBlock(text.data() + run, byteBlock, predicate))
        run += byteBlock;
    while (run < text.size() && predicate(text[run]))
        ++run;
    return run;
}

/// The length of the longest run at the end for which a predicate holds.
template <typename Predicate>
std::size_t trailingRun(std::string_view text, Predicate predicate) {
    std::size_t left = text.size();
    const std::size_t first = left < byteBlock ? 0 : left - byteBlock;
    while (left > first && predicate(text[left - 1]))
        --left;
    if (left > first)
        return text.size() - left;
    while (left >= byteBlock && holdsForBlock(text.data() + left - byteBlock, byteBlock, predicate))
        left -= byteBlock;
    while (left > 0 && predicate(text[left - 1]))
        --left;
    return text.size() - left;
}

}  // namespace Sorvex

#endif
