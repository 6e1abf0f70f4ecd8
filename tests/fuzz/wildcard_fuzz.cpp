// Compares the wildcards of search texts with a plain recursive matcher. The input is the pattern,
// a NUL and the name.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/posix/files/wildcard.h"

namespace {

char lowerCase(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character | 0x20) : character;
}

bool matches(std::string_view pattern, std::string_view name, bool endsInDot) {
    if (pattern.empty())
        return name.empty();
    const std::string_view rest = pattern.substr(1);
    if (pattern[0] == '*') {
        const bool takes = !name.empty() && (name[0] != '.' || rest != "." || endsInDot);
        return matches(rest, name, endsInDot) ||
               (takes && matches(pattern, name.substr(1), endsInDot));
    }
    const bool isQuestion = pattern[0] == '?';
    const bool isTaken =
        !name.empty() && (isQuestion || lowerCase(pattern[0]) == lowerCase(name[0]));
    if (isTaken && matches(rest, name.substr(1), endsInDot))
        return true;
    const bool mayBeNothing = isQuestion ? name.empty() || name[0] == '.'
                                         : pattern[0] == '.' && name.empty() &&
                                               (rest.empty() || rest[0] == '*' || rest[0] == '?');
    return mayBeNothing && matches(rest, name, endsInDot);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The recursion takes exponential time.
    if (size > 20)
        return 0;
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string pattern = input.substr(0, input.find('\0'));
    const std::string name = input.substr(std::min(pattern.size() + 1, size));
    const bool isExpected = pattern == "*" || pattern == "*.*" ||
                            matches(pattern, name, !name.empty() && name.back() == '.');
    if (Sorvex::platform::Wildcard(pattern).matches(name) != isExpected)
        std::abort();
    return 0;
}
