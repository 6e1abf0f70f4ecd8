#include "platform/posix/strings/unicode.h"

#include <cstdint>
#include <string_view>

#include "platform/posix/base/errors.h"

namespace Sorvex::platform {

namespace {

constexpr char32_t replacementCharacter = 0xFFFD;

// A byte 0x80 to 0xFF that is part of no character travels as one of the lone surrogates 0xDC80 to
// 0xDCFF.
constexpr char32_t strayByteBase = 0xDC00;

constexpr bool isStrayByte(char32_t unit) noexcept {
    return unit >= strayByteBase + 0x80 && unit <= strayByteBase + 0xFF;
}

constexpr bool isSurrogate(char32_t character) noexcept {
    return character >= 0xD800 && character <= 0xDFFF;
}

struct Utf8Form {
    unsigned char leadMask;
    unsigned char lead;
    unsigned char length;
    char32_t least;  // anything below has a shorter form, and this one is refused
};

constexpr Utf8Form utf8Forms[] = {
    {0x80, 0x00, 1, 0x00},
    {0xE0, 0xC0, 2, 0x80},
    {0xF0, 0xE0, 3, 0x800},
    {0xF8, 0xF0, 4, 0x10000},
};

// Takes one character off the front of a text that is not empty, or one stray byte.
char32_t takeCharacter(std::string_view& text) noexcept {
    const auto byte = [&text](std::size_t index) {
        return static_cast<unsigned char>(text[index]);
    };
    const unsigned char lead = byte(0);
    for (const Utf8Form& form : utf8Forms) {
        if ((lead & form.leadMask) != form.lead || text.size() < form.length)
            continue;
        auto character = static_cast<char32_t>(lead & ~form.leadMask);
        std::size_t used = 1;
        while (used < form.length && (byte(used) & 0xC0) == 0x80)
            character = (character << 6) | (byte(used++) & 0x3FU);
        if (used < form.length || character < form.least || character > 0x10FFFF ||
            isSurrogate(character))
            break;
        text.remove_prefix(form.length);
        return character;
    }
    text.remove_prefix(1);
    return strayByteBase + lead;
}

// What both conversions ask of their arguments.
bool areValid(UINT codePage, const void* source, int length, const void* target, int capacity) {
    return codePage == CP_ACP && source != nullptr && (length == -1 || length > 0) &&
           capacity >= 0 && (capacity == 0 || target != nullptr);
}

}  // namespace

std::size_t encodeUtf8(char32_t character, char* out) noexcept {
    if (character > 0x10FFFF || isSurrogate(character))
        character = replacementCharacter;
    std::size_t length = 1;
    while (length < longestUtf8 && character >= utf8Forms[length].least)
        ++length;
    for (std::size_t index = length - 1; index > 0; --index, character >>= 6)
        out[index] = static_cast<char>(0x80 | (character & 0x3F));
    out[0] = static_cast<char>(utf8Forms[length - 1].lead | character);
    return length;
}

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int length, WCHAR* wide,
                        int capacity) noexcept {
    if (!areValid(codePage, text, length, wide, capacity) || (flags & ~MB_PRECOMPOSED) != 0)
        return failWith(ERROR_INVALID_PARAMETER);
    std::string_view rest(
        text, length == -1 ? std::string_view(text).size() + 1 : static_cast<std::size_t>(length));
    int count = 0;
    while (!rest.empty()) {
        const char32_t character = takeCharacter(rest);
        const int units = character > 0xFFFF ? 2 : 1;
        if (capacity != 0) {
            if (capacity - count < units)
                return failWith(ERROR_INSUFFICIENT_BUFFER);
            const char32_t offset = character - 0x10000;
            wide[count] = static_cast<WCHAR>(units == 2 ? 0xD800 + (offset >> 10) : character);
            if (units == 2)
                wide[count + 1] = static_cast<WCHAR>(0xDC00 + (offset & 0x3FF));
        }
        count += units;
    }
    return count;
}

int WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* wide, int length, char* text,
                        int capacity, const char* defaultCharacter, BOOL* usedDefault) noexcept {
    if (!areValid(codePage, wide, length, text, capacity) || flags != 0 ||
        defaultCharacter != nullptr || usedDefault != nullptr)
        return failWith(ERROR_INVALID_PARAMETER);
    const std::size_t units = length == -1 ? std::basic_string_view<WCHAR>(wide).size() + 1
                                           : static_cast<std::size_t>(length);
    int count = 0;
    for (std::size_t index = 0, taken = 0; index < units; index += taken) {
        const char32_t character =
            characterAt([wide](std::size_t at) { return wide[at]; }, index, units, taken);
        char bytes[longestUtf8] = {static_cast<char>(character - strayByteBase)};
        const int size =
            isStrayByte(character) ? 1 : static_cast<int>(encodeUtf8(character, bytes));
        if (capacity != 0) {
            if (capacity - count < size)
                return failWith(ERROR_INSUFFICIENT_BUFFER);
            std::string_view(bytes, static_cast<std::size_t>(size))
                .copy(text + count, static_cast<std::size_t>(size));
        }
        count += size;
    }
    return count;
}

}  // namespace Sorvex::platform
