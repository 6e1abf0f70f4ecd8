// Replaces the references in a message by the texts that they name.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace Sorvex::catalogue {

/// The text without blanks, tabs and line ends at its ends.
std::string_view stripped(std::string_view text);

/// The expansion of one message. Texts that name each other have no finite expansion, so depth,
/// replacements and work are bounded over the whole of it.
class ReferenceExpander {
public:
    explicit ReferenceExpander(const std::map<std::string, std::string>& catalogue)
        : texts(catalogue) {}

    /// A message with its references replaced, stripped at its ends. Its depth counts the texts
    /// that lead to it.
    std::string expand(std::string message, unsigned depth = 0);

private:
    std::string textFor(std::string_view reference, unsigned depth);
    bool mayGoOn() const { return replacementsLeft > 0 && workLeft > 0; }

    const std::map<std::string, std::string>& texts;
    unsigned replacementsLeft = 4096;
    std::size_t workLeft = std::size_t{32} * 1024 * 1024;
};

}  // namespace Sorvex::catalogue
