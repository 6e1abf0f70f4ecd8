// Loops over characters that take many at a time.
//
// A map or predicate is called with one char. A predicate that can be called with a ByteVector as
// well, and answers for each lane, is asked for sixteen at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>

#include "strings/byte_vector.h"

namespace Sorvex {

/// Long enough that a loop over it pays, short enough that the ends of most texts need no more.
constexpr std::size_t byteBlock = 64;

/// Replaces each character c by map(c). The blocks of a fixed length let the compiler make vector
/// code at every optimisation level.
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

/// Whether a predicate holds for each character of a block.
template <typename Predicate>
bool holdsForBlock(const char* block, const Predicate& predicate) {
    if constexpr (std::is_invocable_v<Predicate, ByteVector>) {
        static_assert(byteBlock == 4 * ByteVector::size);
        const auto quarter = [&](std::size_t index) {
            return predicate(ByteVector(block + index * ByteVector::size));
        };
        return (quarter(0) & quarter(1) & quarter(2) & quarter(3)).all();
    } else {
        return std::all_of(block, block + byteBlock, predicate);
    }
}

/// Whether a predicate holds for each character.
template <typename Predicate>
bool holdsForAll(std::string_view text, const Predicate& predicate) {
    while (text.size() >= byteBlock) {
        if (!holdsForBlock(text.data(), predicate))
            return false;
        text.remove_prefix(byteBlock);
    }
    return std::all_of(text.begin(), text.end(), predicate);
}

/// The length of the longest run at the start for which a predicate holds.
template <typename Predicate>
std::size_t leadingRun(std::string_view text, const Predicate& predicate) {
    std::size_t run = 0;
    const auto runOn = [&](std::size_t limit) {
        while (run < limit && predicate(text[run]))
            ++run;
        return run < limit;
    };
    if (runOn(std::min(text.size(), byteBlock)))
        return run;
    while (text.size() - run >= byteBlock && holdsForBlock(text.data() + run, predicate))
        run += byteBlock;
    runOn(text.size());
    return run;
}

/// The length of the longest run at the end for which a predicate holds.
template <typename Predicate>
std::size_t trailingRun(std::string_view text, const Predicate& predicate) {
    std::size_t left = text.size();
    const auto runDown = [&](std::size_t limit) {
        while (left > limit && predicate(text[left - 1]))
            --left;
        return left > limit;
    };
    if (runDown(text.size() - std::min(text.size(), byteBlock)))
        return text.size() - left;
    while (left >= byteBlock && holdsForBlock(text.data() + left - byteBlock, predicate))
        left -= byteBlock;
    runDown(0);
    return text.size() - left;
}

}  // namespace Sorvex
