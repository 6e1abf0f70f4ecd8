#include "strings/text_search.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace Sorvex {

namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::size_t blockSize = 32;

/// Looks at the positions of one block for a pair of characters at a fixed distance, and gives the
/// first one; blockSize when there is none. The comparisons become vector code.
std::size_t firstPair(const char* first, const char* last, char atFirst, char atLast) noexcept {
    unsigned char flags[blockSize];
    for (std::size_t i = 0; i < blockSize; ++i)
        flags[i] = static_cast<unsigned char>((first[i] == atFirst) & (last[i] == atLast));
    for (std::size_t start = 0; start < blockSize; start += sizeof(std::uint64_t)) {
        std::uint64_t eight = 0;
        std::memcpy(&eight, flags + start, sizeof eight);
        if (eight != 0) {
            const int zeros = std::endian::native == std::endian::little ? std::countr_zero(eight)
                                                                         : std::countl_zero(eight);
            return start + static_cast<std::size_t>(zeros) / 8;
        }
    }
    return blockSize;
}

struct MaximalSuffix {
    std::size_t start;
    std::size_t period;
};

/// The greatest suffix of a text in the order of its characters or in the opposite order.
MaximalSuffix maximalSuffix(std::string_view text, bool opposite) noexcept {
    std::size_t best = 0;
    std::size_t candidate = 1;
    std::size_t offset = 0;
    std::size_t period = 1;
    while (candidate + offset < text.size()) {
        const char a = text[candidate + offset];
        const char b = text[best + offset];
        if (a == b) {
            if (++offset == period) {
                candidate += period;
                offset = 0;
            }
        } else if ((a < b) != opposite) {
            candidate += offset + 1;
            offset = 0;
            period = candidate - best;
        } else {
            best = candidate++;
            offset = 0;
            period = 1;
        }
    }
    return {best, period};
}

/// Finds with the two-way algorithm of Crochemore and Perrin ("Two-way string-matching", Journal of
/// the ACM 38, 1991): the text is compared to the right of a critical position first, then to its
/// left, which bounds the whole by a small multiple of the length.
std::size_t findTwoWay(std::string_view text, std::string_view sought, std::size_t from) noexcept {
    const std::size_t length = sought.size();
    const MaximalSuffix one = maximalSuffix(sought, false);
    const MaximalSuffix other = maximalSuffix(sought, true);
    const auto [critical, suffixPeriod] = one.start > other.start ? one : other;
    const bool periodic = std::memcmp(sought.data(), sought.data() + suffixPeriod, critical) == 0;
    const std::size_t period = periodic ? suffixPeriod : std::max(critical, length - critical) + 1;

    // How many characters of a periodic text are known to match from the step before.
    std::size_t known = 0;
    for (std::size_t position = from; text.size() - position >= length;) {
        const char* here = text.data() + position;
        std::size_t right = std::max(critical, known);
        while (right < length && sought[right] == here[right])
            ++right;
        if (right < length) {
            position += right - critical + 1;
            known = 0;
            continue;
        }
        std::size_t left = critical;
        while (left > known && sought[left - 1] == here[left - 1])
            --left;
        if (left <= known)
            return position;
        position += period;
        known = periodic ? length - period : 0;
        if (position > text.size())
            break;
    }
    return npos;
}

}  // namespace

std::size_t findText(std::string_view text, std::string_view sought, std::size_t from) noexcept {
    if (from > text.size() || text.size() - from < sought.size())
        return npos;
    if (sought.empty())
        return from;
    if (sought.size() == 1)
        return text.find(sought.front(), from);

    // Candidates are where the first and the last character stand. The length compared in vain is
    // counted, and a text that makes it grow out of proportion is left to the slower sure way.
    const std::size_t lastOffset = sought.size() - 1;
    const std::size_t end = text.size() - lastOffset;
    std::size_t comparedInVain = 0;
    for (std::size_t position = from; position < end; ++position) {
        const char* here = text.data() + position;
        if (end - position >= blockSize) {
            const std::size_t step =
                firstPair(here, here + lastOffset, sought.front(), sought.back());
            if (step == blockSize) {
                position += blockSize - 1;
                continue;
            }
            position += step;
        } else if (here[0] != sought.front() || here[lastOffset] != sought.back()) {
            continue;
        }
        if (std::memcmp(text.data() + position, sought.data(), sought.size()) == 0)
            return position;
        comparedInVain += sought.size();
        if (comparedInVain > 8 * (position - from) + 1024)
            return findTwoWay(text, sought, position + 1);
    }
    return npos;
}

}  // namespace Sorvex
