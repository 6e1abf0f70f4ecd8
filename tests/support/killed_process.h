// Children that are killed, between any two system calls if need be.
#pragma once

#include <csignal>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Sorvex::testing {

/// Runs a part of a test in a child, and leaves it to the caller to wait for it.
template <typename Body>
pid_t forked(Body body) {
    const pid_t child = fork();
    if (child != 0)
        return child;
    body();
    _exit(0);
}

/// Kills a child and gives the status that it ended with.
inline int killed(pid_t child) {
    kill(child, SIGKILL);
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

/// Runs a part of a test in a child, and kills it after a number of begins and ends of system
/// calls. Tells whether it ended before; at once where processes can't be traced.
template <typename Body>
bool endsWithin(int steps, Body body) {
    const pid_t child = forked([&] {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 && raise(SIGSTOP) == 0)
            body();
    });
    int status = 0;
    for (waitpid(child, &status, 0); WIFSTOPPED(status) && steps > 0; --steps) {
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
    }
    return !WIFSTOPPED(status) || killed(child) != SIGKILL;
}

}  // namespace Sorvex::testing
