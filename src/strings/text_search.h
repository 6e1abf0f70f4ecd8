// Search for a text in a text.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

#include "strings/byte_vector.h"

namespace Sorvex {

/// Finds the occurrences of one text in others. The text has to outlive the finder.
///
/// Nothing is allocated, and a search takes time linear in the characters passed over and the
/// length of what is sought, whatever they are.
class TextFinder {
public:
    explicit TextFinder(std::string_view textToFind) noexcept
        : sought(textToFind),
          first(textToFind.empty() ? '\0' : textToFind.front()),
          last(textToFind.empty() ? '\0' : textToFind.back()) {}

    /// The position of the first occurrence at or behind a position, or npos. The empty text is
    /// found at the position itself.
    std::size_t find(std::string_view text, std::size_t from) const noexcept {
        if (from > text.size() || text.size() - from < sought.size())
            return std::string_view::npos;
        if (sought.empty())
            return from;
        return findBetween(text, from, text.size() - sought.size() + 1);
    }

private:
    // Candidates are where the first and the last character stand. The length compared in vain is
    // counted, and a text that makes it grow out of proportion is left to the slower sure way.
    std::size_t findBetween(std::string_view text, std::size_t from,
                            std::size_t end) const noexcept {
        std::size_t comparedInVain = 0;
        for (std::size_t position = from;; ++position) {
            position = nextCandidate(text, position, end);
            if (position == end)
                return std::string_view::npos;
            if (sought.size() <= 2 ||
                std::memcmp(text.data() + position + 1, sought.data() + 1, sought.size() - 2) == 0)
                return position;
            comparedInVain += sought.size();
            if (comparedInVain > 8 * (position - from) + 1024)
                return findSurely(text, position + 1);
        }
    }

    std::size_t nextCandidate(std::string_view text, std::size_t position,
                              std::size_t end) const noexcept {
        const std::size_t distance = sought.size() - 1;
        for (; end - position >= ByteVector::size; position += ByteVector::size) {
            const char* here = text.data() + position;
            const std::size_t step =
                ((ByteVector(here) == first) & (ByteVector(here + distance) == last)).first();
            if (step < ByteVector::size)
                return position + step;
        }
        while (position < end &&
               (text[position] != sought.front() || text[position + distance] != sought.back()))
            ++position;
        return position;
    }

    std::size_t findSurely(std::string_view text, std::size_t from) const noexcept;

    std::string_view sought;
    ByteVector first;
    ByteVector last;
};

}  // namespace Sorvex
