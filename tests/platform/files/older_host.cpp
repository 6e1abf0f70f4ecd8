// Takes from the host what older hosts and simpler file systems don't have: copying in the kernel,
// renaming without replacing, giving a name to a nameless file, times of birth, kinds in listings.
// It also interrupts every other listing, and a full disk takes nothing without saying why.
#include <cerrno>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
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
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
int linkat(int fromDirectory, const char* from, int toDirectory, const char* to,
           int flags) noexcept {
    if (flags != 0) {
        errno = ENOENT;
        return -1;
    }
    return static_cast<int>(syscall(SYS_linkat, fromDirectory, from, toDirectory, to, flags));
}

int statx(int directory, const char* name, int flags, unsigned mask, struct statx* facts) {
    const auto result = static_cast<int>(syscall(SYS_statx, directory, name, flags, mask, facts));
    facts->stx_mask &= ~STATX_BTIME;
    return result;
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
    const ssize_t count = syscall(SYS_write, descriptor, bytes, size);
    return count < 0 && errno == ENOSPC ? 0 : count;
}

ssize_t pwrite64(int descriptor, const void* bytes, size_t size, off64_t offset) {
    static const auto real = reinterpret_cast<decltype(&pwrite64)>(dlsym(RTLD_NEXT, "pwrite64"));
    const ssize_t count = real(descriptor, bytes, size, offset);
    return count < 0 && errno == EFBIG ? 0 : count;
}

ssize_t getdents64(int directory, void* block, size_t capacity) {
    thread_local bool isInterrupted = false;
    isInterrupted = !isInterrupted;
    errno = EINTR;
    const ssize_t size = isInterrupted ? -1 : syscall(SYS_getdents64, directory, block, capacity);
    for (ssize_t at = 0; at < size;) {
        auto* const entry = reinterpret_cast<dirent64*>(static_cast<char*>(block) + at);
        entry->d_type = DT_UNKNOWN;
        at += entry->d_reclen;
    }
    return size;
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
}
