// Random texts over a small alphabet, which hold the awkward neighbourhoods that long texts of
// ordinary characters hardly ever do. Every run makes the same ones.
#ifndef SORVEX_TESTS_STRINGS_RANDOM_TEXTS_H
#define SORVEX_TESTS_STRINGS_RANDOM_TEXTS_H

#include <cstddef>
#include <random>
#include <string>
#include <string_view>

namespace Sorvex::testing {

class RandomTexts {
public:
    explicit RandomTexts(unsigned int seed) : engine(seed) {}

    /// A text of at most longest characters, each out of the alphabet.
    std::string next(std::string_view alphabet, std::size_t longest) {
        std::string text(below(longest + 1), ' ');
        for (char& c : text)
            c = alphabet[below(alphabet.size())];
        return text;
    }

    std::size_t below(std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(engine);
    }

private:
    std::mt19937 engine;
};

}  // namespace Sorvex::testing

#endif
