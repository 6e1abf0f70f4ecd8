#include "platform/posix/services/launch.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/posix/base/retried.h"
#include "platform/posix/services/refusal.h"
#include "platform/posix/services/service_user.h"

namespace Sorvex::platform::services {

namespace {

constexpr int firstOwnDescriptor = 3;
constexpr int failedChild = 127;

// A copy above the three streams, which the child replaces, even where the starter has closed its
// own.
Descriptor aboveStreams(const Descriptor& original) {
    Descriptor copy(fcntl(original.get(), F_DUPFD_CLOEXEC, firstOwnDescriptor));
    if (!copy)
        refuseWithErrno();
    return copy;
}

Pipe makePipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        refuseWithErrno();
    const Descriptor reading(ends[0]);
    const Descriptor writing(ends[1]);
    return {aboveStreams(reading), aboveStreams(writing)};
}

bool readWhole(int file, void* target, std::size_t size) {
    return retried([&] { return read(file, target, size); }) == static_cast<ssize_t>(size);
}

bool writeWhole(int file, const void* source, std::size_t size) {
    return retried([&] { return write(file, source, size); }) == static_cast<ssize_t>(size);
}

// The starter gives its words at once. When it dies, the end of the pipe may go unnoticed: children
// that other threads of it are just forking have the pipe too, and may wait for their own likewise.
bool awaitWord(int file) {
    constexpr int longestWait = 30000;  // ms
    pollfd watched{file, POLLIN, 0};
    char word = 0;
    return retried([&] { return poll(&watched, 1, longestWait); }) > 0 &&
           readWhole(file, &word, sizeof word);
}

void giveWord(const Pipe& pipe) {
    constexpr char word = 0;
    writeWhole(pipe.writing.get(), &word, sizeof word);
}

std::vector<std::string> environmentFor(const ServiceUser& user) {
    return {"PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
            "HOME=" + user.home, "USER=" + user.name, "LOGNAME=" + user.name,
            "SHELL=" + user.shell};
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// Everything that the children need, made before the fork: a child of a process with several
// threads may only make plain system calls.
struct ChildPlan {
    const char* program;
    char* const* arguments;
    char* const* environment;
    const ServiceUser* user;
    StreamsOf streams;
    int log;       // where the program writes, or a negative number
    int reports;   // tells the number of the process, then why its program can't be run
    int commands;  // gives the word to run the program
    int release;   // gives the word that the process has been seen
};

void closeAllFrom(unsigned first) {
#ifdef SYS_close_range
    if (syscall(SYS_close_range, first, UINT_MAX, 0) == 0)
        return;
#endif
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    for (rlim_t number = first; number < limit.rlim_cur; ++number)
        close(static_cast<int>(number));
}

void resetSignals() {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number)
        sigaction(number, &standard, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

bool openStreams(StreamsOf streams, int log) {
    if (streams == StreamsOf::starter)
        return true;
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (null < 0)
        return false;
    // The null device itself may have become one of the streams, and a copy onto itself would keep
    // the mark that closes it.
    for (int stream = 0; stream < firstOwnDescriptor; ++stream) {
        const int source = stream == STDIN_FILENO || log < 0 ? null : log;
        if (source == stream ? fcntl(source, F_SETFD, 0) < 0 : dup2(source, stream) < 0)
            return false;
    }
    return true;
}

// The C library's own functions for this would take its locks, whose holder may not have come along
// through the fork. On 32-bit hosts the calls of these names take 16 bits.
#ifdef SYS_setresuid32
constexpr long setUsersCall = SYS_setresuid32;
constexpr long setGroupCall = SYS_setresgid32;
constexpr long setGroupsCall = SYS_setgroups32;
constexpr long getGroupsCall = SYS_getgroups32;
#else
constexpr long setUsersCall = SYS_setresuid;
constexpr long setGroupCall = SYS_setresgid;
constexpr long setGroupsCall = SYS_setgroups;
constexpr long getGroupsCall = SYS_getgroups;
#endif

bool isGroupOf(const ServiceUser& user, gid_t group) {
    for (const gid_t own : user.groups)
        if (group == own)
            return true;
    // A group that a user namespace has no number for is seen as this one. It can't be given up
    // there, nor be told from the user's own. Where the number is a group's the call fails
    // otherwise or succeeds.
    constexpr gid_t unmapped = 65534;
    constexpr gid_t unchanged = static_cast<gid_t>(-1);
    return group == unmapped && syscall(setGroupCall, unchanged, unmapped, unchanged) != 0 &&
           errno == EINVAL;
}

// Whoever may not choose groups keeps those that he has, as long as they are the user's.
bool hasGroupsOf(const ServiceUser& user) {
    static gid_t present[NGROUPS_MAX];
    const long count = syscall(getGroupsCall, NGROUPS_MAX, present);
    for (long index = 0; index < count; ++index)
        if (!isGroupOf(user, present[index]))
            return false;
    return count >= 0;
}

bool takeGroup(gid_t group) {
    return syscall(setGroupCall, group, group, group) == 0;
}

// Makes the process the service user's altogether. A program with a set-user-id bit, or one of
// root's that has taken on the rights of a user for a while, has a second user in its real or saved
// ids; with that left, the service could change over to him. The rights of root are taken up once
// more where there are any, since it needs them to choose groups.
bool becomeUser(const ServiceUser& user) {
    constexpr uid_t unchanged = static_cast<uid_t>(-1);
    syscall(setUsersCall, unchanged, 0, unchanged);
    if (syscall(setGroupsCall, user.groups.size(), user.groups.data()) != 0 && !hasGroupsOf(user)) {
        errno = EPERM;
        return false;
    }
    const gid_t present = getgid();
    if (!takeGroup(user.groups.front()) && !(isGroupOf(user, present) && takeGroup(present)))
        return false;
    return syscall(setUsersCall, user.id, user.id, user.id) == 0;
}

[[noreturn]] void reportAndExit(int reports) {
    const int error = errno;
    writeWhole(reports, &error, sizeof error);
    _exit(failedChild);
}

[[noreturn]] void becomeProgram(const ChildPlan& plan) {
    if (!awaitWord(plan.commands))
        _exit(failedChild);
    setsid();
    resetSignals();
    umask(S_IWGRP | S_IWOTH);
    if (!becomeUser(*plan.user) || chdir("/") != 0 || !openStreams(plan.streams, plan.log))
        reportAndExit(plan.reports);

    // All else is closed, so this one is put where the gap can begin right behind it.
    const int reports = firstOwnDescriptor;
    if (plan.reports != reports && dup2(plan.reports, reports) < 0)
        reportAndExit(plan.reports);
    fcntl(reports, F_SETFD, FD_CLOEXEC);
    closeAllFrom(firstOwnDescriptor + 1);
    execve(plan.program, plan.arguments, plan.environment);
    reportAndExit(reports);
}

// The child of the starter: its only purpose is that its own child loses its parent (double fork).
// It stays until the starter has a hold on that, so that its number can't be another's by then.
[[noreturn]] void becomeParent(const ChildPlan& plan) {
    const pid_t program = fork();
    if (program == 0)
        becomeProgram(plan);
    const int told = program > 0 ? program : -errno;
    writeWhole(plan.reports, &told, sizeof told);
    awaitWord(plan.release);
    _exit(0);
}

// The end of the starter's child, at the end of a scope.
struct ParentEnd {
    pid_t parent;
    const Pipe& release;

    ~ParentEnd() {
        giveWord(release);
        // A program that ignores the ends of its children finds nothing to wait for, which is as
        // good.
        retried([this] { return waitpid(parent, nullptr, 0); });
    }
};

}  // namespace

Launch::Launch(const Command& command, StreamsOf streams, const Descriptor& log) {
    std::vector<std::string> argumentTexts = command.arguments;
    const ServiceUser user = serviceUser();
    std::vector<std::string> environmentTexts = environmentFor(user);
    const std::vector<char*> arguments = pointersTo(argumentTexts);
    const std::vector<char*> environment = pointersTo(environmentTexts);
    const Descriptor output = log ? aboveStreams(log) : Descriptor();
    Pipe report = makePipe();
    Pipe order = makePipe();
    Pipe release = makePipe();
    const ChildPlan plan{command.program.c_str(),
                         arguments.data(),
                         environment.data(),
                         &user,
                         streams,
                         output.get(),
                         report.writing.get(),
                         order.reading.get(),
                         release.reading.get()};

    const pid_t parent = fork();
    if (parent < 0)
        refuseWithErrno();
    if (parent == 0) {
        // With these open the death of the starter would go unnoticed.
        close(order.writing.get());
        close(release.writing.get());
        becomeParent(plan);
    }
    const ParentEnd end{parent, release};
    report.writing.close();

    int told = 0;
    if (!readWhole(report.reading.get(), &told, sizeof told))
        told = -EAGAIN;
    if (told < 0)
        refuse(errorFromErrno(-told));
    handle = watchProcess(told);
    identity = identityOf(told);
    reports = std::move(report.reading);
    commands = std::move(order);
}

Launch::~Launch() {
    if (!isLeftAlone)
        kill();
}

void Launch::go() const {
    giveWord(commands);
}

int Launch::programError() {
    int error = 0;
    if (!readWhole(reports.get(), &error, sizeof error))
        error = 0;
    reports.close();
    return error;
}

bool Launch::hasEnded() const {
    pollfd watched{handle.get(), POLLIN, 0};
    return handle ? poll(&watched, 1, 0) > 0 : identityOf(identity.id) != identity;
}

void Launch::kill() const noexcept {
#ifdef SYS_pidfd_send_signal
    if (handle && syscall(SYS_pidfd_send_signal, handle.get(), SIGKILL, nullptr, 0) == 0)
        return;
#endif
    try {
        if (identityOf(identity.id) == identity)
            ::kill(identity.id, SIGKILL);
    } catch (const Refusal&) {
        // It can't be told from a later one of its number.
    }
}

Descriptor watchProcess(pid_t process) noexcept {
#ifdef SYS_pidfd_open
    return Descriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
#else
    static_cast<void>(process);
    return {};
#endif
}

Descriptor watchProcess(const Observation& service) noexcept {
    return service.isProcessKnown ? watchProcess(service.process.id) : Descriptor();
}

}  // namespace Sorvex::platform::services
