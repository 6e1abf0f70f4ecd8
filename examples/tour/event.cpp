// The tour's scene on events between processes.
//   event post NAME      posts the event and holds it until the process is killed
//   event wait NAME      waits for it
//   event look NAME      tells whether it is posted
#include <iostream>
#include <string>

#include <sorvex/bstring.h>
#include <sorvex/sync.h>

using namespace Sorvex;

int main(int count, char** arguments) {
    if (count != 3)
        return 2;
    const std::string task = arguments[1];
    const char* const name = arguments[2];
    BDelay delay;
    delay.event();
    if (task == "post") {
        std::cout << "one process posts" << std::endl;
        // The tour shows the lines from here
        EventSemaphore ready(name);  // the same event in every process that says this name
        ready.post();
        // to here,
        OSInterface::sleep(60000000);
    } else if (task == "wait") {
        // from here
        EventSemaphore ready(name);
        ready.wait(0);  // without limit
        // to here.
        std::cout << "another is let through" << std::endl;
    } else {
        EventSemaphore ready(name);
        ready.wait(200);
        std::cout << (delay.timePassed() < 200 ? "the event is posted\n"
                                               : "the event is new and not posted\n");
    }
}
