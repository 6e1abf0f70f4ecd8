#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include <sorvex/bstring.h>

#include "strings/byte_blocks.h"
#include "strings/text_search.h"
#include "strings/text_view.h"

namespace Sorvex {

namespace {

constexpr std::size_t npos = std::string::npos;

/// Copies a piece that is mostly short, for which a call would cost more than the copy.
void copyPiece(char* target, const char* source, std::size_t length) noexcept {
    if (length > 16) {
        std::memcpy(target, source, length);
    } else if (length >= 8) {
        std::uint64_t ends[2];
        std::memcpy(&ends[0], source, 8);
        std::memcpy(&ends[1], source + length - 8, 8);
        std::memcpy(target, &ends[0], 8);
        std::memcpy(target + length - 8, &ends[1], 8);
    } else {
        for (std::size_t i = 0; i < length; ++i)
            target[i] = source[i];
    }
}

/// Writes a text with changed occurrences into a fresh one.
///
/// Occurrences are sought in batches before they are written, so that the room for them is known;
/// the first batch tells what more to expect.
class Changer {
public:
    Changer(std::string_view source, std::string_view from, std::string_view to) noexcept
        : text(source), finder(from), fromLength(from.size()), replacement(to) {}

    /// The first occurrence stands at first.
    std::string change(std::size_t first) {
        for (std::size_t next = first; next != npos;) {
            count = 0;
            for (; next != npos && count < found.size();
                 next = finder.find(text, next + fromLength))
                found[count++] = next;
            makeRoom(next == npos);
            writeBatch();
        }
        result.resize(written + text.size() - position);
        copyPiece(result.data() + written, text.data() + position, text.size() - position);
        return std::move(result);
    }

private:
    /// Makes room for the batch that was found and what stands behind it.
    ///
    /// The last batch asks for exactly what is needed. Any earlier one asks for more, so that
    /// hardly any later one has to move the text: the rest is taken to grow at the rate of this
    /// batch, and a sixteenth of that is added, since later occurrences may lie a little closer. A
    /// batch of neighbours would promise growth without end, so that no more than double the need
    /// is asked for; and no less than half as much again as there is, which keeps the moves linear
    /// where every batch is denser than the one before.
    ///
    /// Sums are taken in 64 bits, which they can't leave on any host; the string refuses what is
    /// beyond its maximum.
    void makeRoom(bool isLast) {
        const std::uint64_t end = found[count - 1] + fromLength;
        const std::uint64_t rest = text.size() - end;
        const std::uint64_t batch = end - position - count * std::uint64_t{fromLength} +
                                    count * std::uint64_t{replacement.size()};
        const std::uint64_t needed = written + batch + rest;
        if (needed <= result.size())
            return;
        std::uint64_t room = needed;
        if (!isLast) {
            const std::uint64_t length = end - position;
            const std::uint64_t likeThisBatch =
                batch > length ? rest / length * (batch - length) : 0;
            room += std::min(likeThisBatch + likeThisBatch / 16, needed);
            room = std::max<std::uint64_t>(room, result.size() + result.size() / 2);
            if (room > result.max_size())
                room = needed;
        }
        result.resize(static_cast<std::size_t>(std::min<std::uint64_t>(room, npos)));
    }

    void writeBatch() noexcept {
        char* const target = result.data();
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t kept = found[i] - position;
            copyPiece(target + written, text.data() + position, kept);
            written += kept;
            copyPiece(target + written, replacement.data(), replacement.size());
            written += replacement.size();
            position = found[i] + fromLength;
        }
    }

    const std::string_view text;
    const TextFinder finder;
    const std::size_t fromLength;
    const std::string_view replacement;

    std::array<std::size_t, 64> found;
    std::size_t count = 0;
    std::string result;
    std::size_t written = 0;
    std::size_t position = 0;
};

// The text closes up in place. An argument that is the text itself makes the first occurrence the
// whole text, behind which nothing is read any more.
void changeToNotLonger(std::string& text, const std::string& from, const std::string& to,
                       std::size_t first) {
    using Characters = std::char_traits<char>;
    const TextFinder finder(from);
    char* const data = text.data();
    std::size_t written = first;
    for (std::size_t found = first; found != npos;) {
        Characters::move(data + written, to.data(), to.size());
        written += to.size();
        const std::size_t position = found + from.size();
        found = finder.find(text, position);
        const std::size_t kept = (found == npos ? text.size() : found) - position;
        if (written != position)
            Characters::move(data + written, data + position, kept);
        written += kept;
    }
    text.resize(written);
}

}  // namespace

BString& BString::change(const std::string& from, const std::string& to) {
    const size_type first = from.empty() ? npos : TextFinder(from).find(*this, 0);
    if (first == npos)
        return *this;
    // A longer text is written afresh: the arguments can be this text, and a failure leaves it.
    if (to.size() > from.size())
        Changer(*this, from, to).change(first).swap(*this);
    else
        changeToNotLonger(*this, from, to, first);
    return *this;
}

BString BString::change(const std::string& text, const std::string& from, const std::string& to) {
    const std::string_view view = textView(text);
    const size_type first = from.empty() ? npos : TextFinder(from).find(view, 0);
    if (first == npos)
        return BString(text);
    // What was put in can hold NUL characters, which stay out of the result.
    return BString(Changer(view, from, to).change(first));
}

BString& BString::change(char from, char to) {
    transformCharacters(*this, [from, to](char c) { return c == from ? to : c; });
    return *this;
}

}  // namespace Sorvex
