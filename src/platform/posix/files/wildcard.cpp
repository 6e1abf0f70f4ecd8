#include "platform/posix/files/wildcard.h"

#include <algorithm>
#include <array>

namespace Sorvex::platform {

namespace {

constexpr std::size_t bitsPerWord = 64;
constexpr std::size_t byteValues = 256;

constexpr bool isLetter(char character) noexcept {
    const auto lower = static_cast<char>(character | 0x20);
    return lower >= 'a' && lower <= 'z';
}

constexpr std::size_t byteOf(char character) noexcept {
    return static_cast<unsigned char>(character);
}

// The states behind the elements, and the one before the first.
constexpr std::size_t wordsFor(std::size_t elements) noexcept {
    return elements / bitsPerWord + 1;
}

bool isEveryName(std::string_view pattern) noexcept {
    return pattern == "*" || pattern == "*.*";
}

void set(std::uint64_t* words, std::size_t bit) noexcept {
    words[bit / bitsPerWord] |= std::uint64_t{1} << bit % bitsPerWord;
}

}  // namespace

Wildcard::Wildcard(std::string_view pattern)
    : wordCount(wordsFor(std::min(pattern.size(), maximumLength))),
      matchesEverything(isEveryName(pattern)) {
    if (matchesEverything)
        return;
    takers.resize(byteValues * wordCount);
    for (Words* words : {&runs, &runsAtDot, &skippedAtDot, &skippedAtEnd})
        words->resize(wordCount);

    pattern = pattern.substr(0, maximumLength);
    while (!pattern.empty()) {
        const char character = pattern.front();
        pattern.remove_prefix(1);
        if (character == '*')
            addRun(pattern == ".");
        else
            addElement(character, pattern.empty() || isIn(pattern.substr(0, 1)));
    }
}

bool Wildcard::isIn(std::string_view pattern) noexcept {
    return pattern.find_first_of("*?") != std::string_view::npos;
}

void Wildcard::addRun(bool isBeforeLastDot) {
    set(runs.data(), elementCount);
    if (!isBeforeLastDot)
        set(runsAtDot.data(), elementCount);
}

void Wildcard::addElement(char character, bool mayBeEndOfName) {
    if (character == '?') {
        for (std::size_t byte = 0; byte < byteValues; ++byte)
            set(&takers[byte * wordCount], elementCount);
        set(skippedAtDot.data(), elementCount);
        set(skippedAtEnd.data(), elementCount);
    } else {
        set(&takers[byteOf(character) * wordCount], elementCount);
        if (isLetter(character))
            set(&takers[(byteOf(character) ^ 0x20) * wordCount], elementCount);
        if (character == '.' && mayBeEndOfName)
            set(skippedAtEnd.data(), elementCount);
    }
    ++elementCount;
}

// One character of the name: states move over the elements that take it, and stay where a run of
// '*' passes over it. A greedy matcher that goes back to the last '*' isn't enough here, because
// '?' and '.' may also stand for nothing.
void Wildcard::step(Word* states, char character, const Words& loops) const noexcept {
    const Word* const taken = &takers[byteOf(character) * wordCount];
    Word carry = 0;
    for (std::size_t word = 0; word < wordCount; ++word) {
        const Word passed = states[word] & taken[word];
        states[word] = passed << 1 | carry | (states[word] & loops[word]);
        carry = passed >> (bitsPerWord - 1);
    }
}

// The epsilon closure: adds the states that are reached from others over elements that stand for
// nothing. A state spreads over a run of n such elements in log n rounds, since each round doubles
// the distance (parallel prefix); 'passable' keeps the runs that are long enough for it.
void Wildcard::skip(Word* states, const Words& skipped) const noexcept {
    Word carry = 0;
    for (std::size_t word = 0; word < wordCount; ++word) {
        Word reached = states[word] | carry;
        Word passable = skipped[word] << 1;
        for (unsigned distance = 1; distance < bitsPerWord; distance *= 2) {
            reached |= passable & (reached << distance);
            passable &= passable << distance;
        }
        states[word] = reached;
        carry = (reached & skipped[word]) >> (bitsPerWord - 1);
    }
}

bool Wildcard::matches(std::string_view name) const noexcept {
    if (matchesEverything)
        return true;
    std::array<Word, wordsFor(maximumLength)> storage;
    Word* const states = storage.data();
    std::fill_n(states, wordCount, Word{0});
    states[0] = 1;

    const bool endsInDot = !name.empty() && name.back() == '.';
    for (const char character : name) {
        const bool isDot = character == '.';
        if (isDot)
            skip(states, skippedAtDot);
        step(states, character, isDot && !endsInDot ? runsAtDot : runs);
        if (std::all_of(states, states + wordCount, [](Word word) { return word == 0; }))
            return false;
    }
    skip(states, skippedAtEnd);
    return (states[elementCount / bitsPerWord] >> elementCount % bitsPerWord & 1) != 0;
}

}  // namespace Sorvex::platform
