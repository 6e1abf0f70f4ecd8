// The tour's scene on text and failures.
#include <iostream>
#include <vector>

#include <sorvex/bfile.h>
#include <sorvex/bstring.h>
#include <sorvex/timestamp.h>

using namespace Sorvex;

int main() {
    // The tour shows the lines from here
    std::vector<std::string> words;
    BString("order 12 'steel bolts' 4.50").parseWords(words, " ", "'");
    const double sum = BString(words[1]).asInt() * BString(words[3]).asDouble();
    std::cout << BString(words[2]).upperCase().leftJustify(20, '.') << asString("%8.2f", sum)
              << ", due " << TimeStamp(2024, 1, 31, 0, 0, 0, 0).dayAhead(30).asString("%Y-%m-%d");
    // to here,
    std::cout << '\n';
    try {
        // and from here
        BFile::copy("C:\\no such file", "C:\\tmp\\copy", false);
        // to here.
    } catch (std::exception& failure) {
        std::cout << "refused, as it has to be: " << failure.what() << '\n';
    }
}
