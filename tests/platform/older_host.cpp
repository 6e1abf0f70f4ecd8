// Takes from the host what older hosts and simpler file systems don't have: copying in the kernel,
// renaming without replacing, giving a name to a nameless file.
#include <cerrno>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" {

ssize_t copy_file_range(int /*from*/, off64_t* /*fromOffset*/, int /*to*/, off64_t* /*toOffset*/,
                        size_t /*size*/, unsigned /*flags*/) {
    errno = ENOSYS;
    return -1;
}

int renameat2(int /*fromDirectory*/, const char* /*from*/, int /*toDirectory*/, const char* /*to*/,
              unsigned /*flags*/) noexcept {
    errno = EINVAL;
    return -1;
}

// The host's own names for the parameters are reserved ones.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
int linkat(int fromDirectory, const char* from, int toDirectory, const char* to,
           int flags) noexcept {
    if (flags != 0) {
        errno = ENOENT;
        return -1;
    }
    return static_cast<int>(syscall(SYS_linkat, fromDirectory, from, toDirectory, to, flags));
}
}
