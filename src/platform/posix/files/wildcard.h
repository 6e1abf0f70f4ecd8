// The wildcards of search texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace Sorvex::platform {

/// A pattern, made ready to be compared with many names.
///
/// `*` stands for any run of bytes, `?` for one byte, or for none at the end of the name or right
/// before a dot. A dot before `*` or `?`, or at the end of the pattern, may also stand for the end
/// of the name. `*` before a dot that ends the pattern takes no dot, unless the name ends in one.
/// ASCII letters match in both cases. A comparison is linear in the name for patterns of up to 63
/// bytes, and never grows faster than name times pattern.
class Wildcard {
public:
    /// The longest pattern that can be made ready.
    static constexpr std::size_t maximumLength = 4096;

    explicit Wildcard(std::string_view pattern);

    /// Tells whether a pattern holds wildcards at all.
    static bool isIn(std::string_view pattern) noexcept;

    bool matches(std::string_view name) const noexcept;

private:
    // The states of a nondeterministic automaton (NFA) that has read a part of the name, one bit
    // each, as in the Shift-And algorithm (Baeza-Yates and Gonnet 1992, extended by Wu and Manber
    // 1992): bit n is set when the first n elements can stand for what was read. Nearly every
    // pattern needs one word.
    using Word = std::uint64_t;
    using Words = std::vector<Word>;

    void addRun(bool isBeforeLastDot);
    void addElement(char character, bool mayBeEndOfName);
    void step(Word* states, char character, const Words& loops) const noexcept;
    void skip(Word* states, const Words& skipped) const noexcept;

    std::size_t wordCount;
    std::size_t elementCount = 0;  // runs are none: they loop at the state before an element
    bool matchesEverything;
    Words takers;        // for each byte, the elements that it can stand for
    Words runs;          // the states in which any byte is passed over
    Words runsAtDot;     // the same for a dot, when the name doesn't end in one
    Words skippedAtDot;  // the elements that may stand for nothing right before a dot
    Words skippedAtEnd;  // the elements that may stand for nothing at the end of the name
};

}  // namespace Sorvex::platform
