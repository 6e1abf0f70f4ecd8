// event_holder NAME: another program for the tests of named events. It does what each letter on its
// input says, until that ends.
#include <csignal>
#include <cstdio>

#include <unistd.h>

#include "platform/platform.h"

int main(int /*count*/, char** arguments) {
    using namespace Sorvex;
    platform::HANDLE event = nullptr;
    for (int letter = std::getchar(); letter != EOF; letter = std::getchar()) {
        if (letter == 'c')
            event = platform::CreateEventA(nullptr, TRUE, FALSE, arguments[1]);
        else if (letter == 's')
            platform::SetEvent(event);
        else if (letter == 'w')
            platform::WaitForSingleObject(event, 120000);
        else if (letter == 'e')
            execv("/proc/self/exe", arguments);
        else
            std::raise(SIGKILL);
    }
    return platform::CloseHandle(event) ? 0 : 1;
}
