// A process of its own for the tests of named events.
//
//   event_holder NAME               does what each letter on its input says, and answers with a
//   line event_holder NAME traced TEXT   stops, and then does what the letters of the text say
//   event_holder NAME storm SEED    does all that at random with four events until it is killed
//   event_holder NAME idle          answers "idle" and stays until its input ends
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <utility>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/platform.h"

namespace {

using namespace Sorvex;

class Holder {
public:
    explicit Holder(std::string eventName) : name(std::move(eventName)) {}

    std::string obey(char letter) {
        switch (letter) {
            case 'c':
                event = platform::CreateEventA(nullptr, TRUE, FALSE, name.c_str());
                return event == nullptr                ? "failed"
                       : platform::GetLastError() == 0 ? "new"
                                                       : "joined";
            case 'o':
                event = platform::OpenEventA(EVENT_ALL_ACCESS, FALSE, name.c_str());
                return event == nullptr ? "failed" : "joined";
            case 's':
                return result(platform::SetEvent(event));
            case 'r':
                return result(platform::ResetEvent(event));
            case 'p':
                return result(platform::PulseEvent(event));
            case 'x':
                return result(platform::CloseHandle(std::exchange(event, nullptr)));
            case '0':
                return std::to_string(platform::WaitForSingleObject(event, 0));
            case '1':
                return std::to_string(platform::WaitForSingleObject(event, 1));
            case 'w':
                return std::to_string(platform::WaitForSingleObject(event, 60000));
            case 'F':
                return forkHolder();
            case 'f':
                return forkCloser();
            default:
                return "unknown";
        }
    }

private:
    static std::string result(platform::BOOL success) { return success ? "done" : "failed"; }

    static std::string forkHolder() {
        const pid_t child = fork();
        if (child == 0)
            for (;;)
                pause();
        return std::to_string(child);
    }

    // A child that gives up what it inherited, and is gone when this returns.
    std::string forkCloser() const {
        const pid_t child = fork();
        if (child == 0)
            _exit(platform::CloseHandle(event) ? 0 : 1);
        int status = -1;
        return result(waitpid(child, &status, 0) == child && status == 0);
    }

    std::string name;
    platform::HANDLE event = nullptr;
};

void answer(const std::string& text) {
    std::puts(text.c_str());
    std::fflush(stdout);
}

[[noreturn]] void storm(const std::string& name, unsigned seed) {
    Holder holders[] = {Holder(name + "0"), Holder(name + "1"), Holder(name + "2"),
                        Holder(name + "3")};
    bool holding[4] = {};
    std::minstd_rand random(seed);
    answer("storming");
    for (;;) {
        const unsigned which = random() % 4;
        const char letter = holding[which] ? "ssrp11xx"[random() % 8] : 'c';
        holders[which].obey(letter);
        holding[which] = letter != 'x';
    }
}

// The tracer counts the system calls from the stop to the end.
[[noreturn]] void follow(const std::string& name, const char* letters) {
    Holder holder(name);
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
        _exit(1);
    raise(SIGSTOP);
    for (; *letters != '\0'; ++letters)
        holder.obey(*letters);
    _exit(0);
}

int obeyInput(char** arguments) {
    Holder holder(arguments[1]);
    for (int letter = std::getchar(); letter != EOF; letter = std::getchar()) {
        if (letter == 'e') {
            char idle[] = "idle";
            char* const next[] = {arguments[0], arguments[1], idle, nullptr};
            execv("/proc/self/exe", next);
        }
        answer(holder.obey(static_cast<char>(letter)));
    }
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    const std::string mode = count > 2 ? arguments[2] : "";
    if (mode == "traced")
        follow(arguments[1], arguments[3]);
    if (mode == "storm")
        storm(arguments[1], static_cast<unsigned>(std::strtoul(arguments[3], nullptr, 10)));
    if (mode.empty())
        return obeyInput(arguments);
    answer("idle");
    while (std::getchar() != EOF) {}
    return 0;
}
