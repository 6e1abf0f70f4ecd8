#include "strings/text_search.h"

#include <algorithm>
#include <cstring>

namespace Sorvex {

namespace {

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

}  // namespace

// The two-way algorithm of Crochemore and Perrin ("Two-way string-matching", Journal of the ACM 38,
// 1991): the text is compared to the right of a critical position first, then to its left, which
// bounds the whole by a small multiple of the length.
std::size_t TextFinder::findSurely(std::string_view text, std::size_t from) const noexcept {
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
    return std::string_view::npos;
}

}  // namespace Sorvex
