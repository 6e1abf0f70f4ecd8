// Parts of a test that need a process of their own.
#pragma once

#include <cstdio>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace Sorvex::testing {

/// Runs a part of a test in a child, where it may change what belongs to the whole process.
///
/// @return the child's status as the host gives it: 0 when it ended with all expectations met
template <typename Body>
int runInChild(Body body) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        body();
        std::fflush(nullptr);
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
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

}  // namespace Sorvex::testing
