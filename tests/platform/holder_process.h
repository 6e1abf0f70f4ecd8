// Runs event_holder, and tells it what to do.
#ifndef SORVEX_TESTS_PLATFORM_HOLDER_PROCESS_H
#define SORVEX_TESTS_PLATFORM_HOLDER_PROCESS_H

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Sorvex::testing {

/// A process started by execution of event_holder, and killed at the end of the scope.
class HolderProcess {
public:
    explicit HolderProcess(std::string name, std::string mode = "", std::string argument = "") {
        int input[2];
        int output[2];
        if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
        char program[] = SORVEX_EVENT_HOLDER;
        char* const arguments[] = {program, name.data(), mode.empty() ? nullptr : mode.data(),
                                   argument.data(), nullptr};
        const int error = posix_spawn(&process, program, &actions, nullptr, arguments, environ);
        posix_spawn_file_actions_destroy(&actions);
        close(input[0]);
        close(output[1]);
        orders = fdopen(input[1], "w");
        answers = fdopen(output[0], "r");
        if (error != 0)
            throw std::runtime_error("event_holder can't be started");
    }

    ~HolderProcess() {
        kill();
        std::fclose(orders);
        std::fclose(answers);
    }

    HolderProcess(const HolderProcess&) = delete;
    HolderProcess& operator=(const HolderProcess&) = delete;

    pid_t id() const { return process; }

    void tell(char letter) {
        std::fputc(letter, orders);
        std::fflush(orders);
    }

    /// The next line that the process writes; empty when it has ended.
    std::string answer() {
        std::string line;
        for (int next = std::fgetc(answers); next != EOF && next != '\n';
             next = std::fgetc(answers))
            line += static_cast<char>(next);
        return line;
    }

    /// Gives orders and returns the answers with a blank behind each.
    std::string ask(const std::string& letters) {
        std::string lines;
        for (const char letter : letters) {
            tell(letter);
            lines += answer() + " ";
        }
        return lines;
    }

    /// Ends the process wherever it stands.
    void kill() {
        if (process <= 0)
            return;
        ::kill(process, SIGKILL);
        while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {}
        process = 0;
    }

private:
    pid_t process = 0;
    std::FILE* orders = nullptr;
    std::FILE* answers = nullptr;
};

}  // namespace Sorvex::testing

#endif
