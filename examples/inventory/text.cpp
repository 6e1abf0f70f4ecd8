// The inventory of a text file.
#include <algorithm>
#include <iostream>
#include <map>
#include <utility>

#include "inventory.h"

namespace inventory {

namespace {

using namespace Sorvex;

constexpr std::size_t wordsShown = 10;
const char* const wordDelimiters = " \t.,;:!?()<>\"'`/-";
const char* const linePattern = "*freedom*";

struct TextFacts {
    unsigned lines = 0;
    unsigned words = 0;
    unsigned fields = 0;
    unsigned longest = 0;
    unsigned alike = 0;
    std::string firstAlike;
    std::map<std::string, unsigned> frequencies;
};

void countLine(TextFacts& facts, const BString& line) {
    ++facts.lines;
    facts.words += static_cast<unsigned>(line.numberOfWords());
    facts.longest = std::max(facts.longest, static_cast<unsigned>(line.size()));

    std::vector<BString> fields;
    facts.fields += static_cast<unsigned>(line.parseFields(fields, ","));

    std::vector<std::string> words;
    line.parseWords(words, wordDelimiters, "");
    for (const std::string& word : words)
        ++facts.frequencies[BString::lowerCase(word)];

    if (line.isLike(linePattern) && facts.alike++ == 0)
        facts.firstAlike = BString::stripBlanks(line);
}

TextFacts factsOf(const std::string& name) {
    TextFacts facts;
    BFile file(name);
    file.open("rb");
    while (!file.isEof()) {
        const BString line = file.getLine();
        if (!line.empty() || !file.isEof())
            countLine(facts, line);
    }
    return facts;
}

void showFrequent(const std::map<std::string, unsigned>& frequencies) {
    std::vector<std::pair<std::string, unsigned>> words(frequencies.begin(), frequencies.end());
    const std::size_t shown = std::min(wordsShown, words.size());
    std::partial_sort(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(shown),
                      words.end(), [](const auto& left, const auto& right) {
                          return left.second != right.second ? left.second > right.second
                                                             : left.first < right.first;
                      });
    for (std::size_t index = 0; index < shown; ++index)
        std::cout << "  " << BString(words[index].first).leftJustify(16, '.')
                  << BString(words[index].second).rightJustify(8, '.') << '\n';
}

}  // namespace

void reportText(MessageFile& texts, const std::string& file) {
    std::cout << '\n' << texts.text("TEXT", BPath::fullName(file.c_str()).c_str()) << '\n';
    const TextFacts facts = factsOf(file);
    std::cout << texts.text("COUNTS", facts.lines, facts.words, facts.fields, facts.longest) << '\n'
              << texts.text("FREQUENT") << '\n';
    showFrequent(facts.frequencies);
    std::cout << texts.text("LIKE", facts.alike, linePattern, facts.firstAlike.c_str()) << '\n';
}

void reportMissingFile(MessageFile& texts, const std::string& file) {
    std::cout << texts.text("MISSING") << '\n';
    try {
        BFile(file).open("rb");
    } catch (std::exception& failure) {
        Sorvex::operator<<(std::cout, failure);
    }
}

}  // namespace inventory
