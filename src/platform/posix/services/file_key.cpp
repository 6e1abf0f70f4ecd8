#include "platform/posix/services/file_key.h"

#include "platform/posix/base/percent_encoding.h"

namespace Sorvex::platform::services {

namespace {

bool standsForItself(char character, std::size_t place) noexcept {
    return (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9') ||
           character == '-' || character == '_' || (character == '.' && place != 0);
}

}  // namespace

bool isServiceName(std::string_view name) noexcept {
    return !name.empty() && name.size() <= longestName &&
           name.find_first_of("/\\") == std::string_view::npos;
}

std::string foldCase(std::string_view text) {
    std::string folded(text);
    for (char& character : folded)
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character - 'A' + 'a');
    return folded;
}

std::string fileKey(std::string_view text) {
    constexpr std::size_t longestKey = 140;
    constexpr std::size_t keptOfLongKey = 100;
    const std::string folded = foldCase(text);
    std::string key = percentEncoded(folded, standsForItself);
    if (key.size() <= longestKey)
        return key;

    // The tilde is always escaped above, so a shortened key is no other text's whole one.
    const std::uint64_t first = hashOf(folded);
    return key.substr(0, keptOfLongKey) + "~" + asHexadecimal(first) +
           asHexadecimal(hashOf(folded, ~first));
}

std::uint64_t hashOf(std::string_view bytes, std::uint64_t basis) noexcept {
    constexpr std::uint64_t prime = 0x100000001B3ULL;
    std::uint64_t hash = basis;
    for (const char character : bytes) {
        hash ^= static_cast<unsigned char>(character);
        hash *= prime;
    }
    return hash;
}

std::string asHexadecimal(std::uint64_t number) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text(16, '0');
    for (std::size_t place = text.size(); place > 0; number >>= 4)
        text[--place] = digits[number & 15];
    return text;
}

}  // namespace Sorvex::platform::services
