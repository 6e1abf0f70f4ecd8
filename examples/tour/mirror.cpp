// The tour's scene on copies: mirrors a tree, and is killed meanwhile.
//   mirror SOURCE TARGET
#include <iostream>

#include <sorvex/bdirectory.h>
#include <sorvex/bstring.h>

using namespace Sorvex;

int main(int count, char** arguments) try {
    if (count != 3)
        return 2;
    const char* const source = arguments[1];
    const char* const target = arguments[2];
    // The tour shows the lines from here
    BDirectory mirrored(source);
    mirrored.copy(target, true, true);  // overwriting what is there, with all subdirectories
    std::cout << mirrored.fullName() << " is mirrored\n";
    // to here.
} catch (std::exception& failure) {
    std::cout << failure;
    return 1;
}
