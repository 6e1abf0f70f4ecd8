// Parts of a test that need a process of their own.
#pragma once

#include <cerrno>
#include <csignal>
#include <cstdio>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

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

/// Runs a part of a test in a child, where it may change what belongs to the whole process.
///
/// @return the child's status as the host gives it: 0 when it ended with all expectations met
template <typename Body>
int runInChild(Body body) {
    std::fflush(nullptr);
    const pid_t child = forked([&] {
        body();
        std::fflush(nullptr);
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    });
    int status = -1;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {}
    return status;
}

/// The same as a user without privileges; as the present one when that is not root.
template <typename Body>
int runUnprivileged(Body body) {
    return runInChild([&body] {
        constexpr unsigned nobody = 65534;
        if (geteuid() == 0 && (setgid(nobody) != 0 || setuid(nobody) != 0))
            _exit(2);
        body();
    });
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
