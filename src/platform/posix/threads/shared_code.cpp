#include "platform/posix/threads/shared_code.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>

#include <dlfcn.h>
#include <gnu/libc-version.h>
#include <link.h>
#include <pthread.h>
#include <sys/auxv.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>

#include "platform/posix/base/termination_shield.h"

namespace Sorvex::platform {

namespace {

// What a handler sees of a thread that was interrupted at or in a system call:
//
//                   x86-64           i386                aarch64
//     -> number     B8 n    mov      B8 n    mov         D28.. mov x8    about to call
//     -> call       0F 05   syscall  CD 80   int $0x80   D4000001 svc    about to call
//     -> after it   result in rax    in eax              in x0           back from the call
//
// Back with -EINTR it was asleep, and the signal has woken it. Back with any other result it gets
// on: who was woken by another thread (a futex) has a result, so no wake-up is lost with a sleeper.
// With SA_RESTART a sleeper would stand at the call like one that is only about to make it.
//
// i386 makes its calls in a page of the kernel's (the vdso), which saves three registers first:
// there the place that sleeps is the one it returns to.
#if defined(__x86_64__)

constexpr unsigned char systemCall[] = {0x0F, 0x05};

struct Interrupted {
    explicit Interrupted(const mcontext_t& registers) noexcept
        : place(static_cast<std::uintptr_t>(registers.gregs[REG_RIP])),
          result(static_cast<long>(registers.gregs[REG_RAX])) {}

    std::uintptr_t caller() const noexcept { return place; }

    const std::uintptr_t place;
    const long result;
};

#elif defined(__i386__)

constexpr unsigned char systemCall[] = {0xCD, 0x80};

struct Interrupted {
    explicit Interrupted(const mcontext_t& registers) noexcept
        : place(static_cast<std::uintptr_t>(registers.gregs[REG_EIP])),
          result(registers.gregs[REG_EAX]),
          stack(reinterpret_cast<const std::uintptr_t*>(registers.gregs[REG_ESP])) {}

    std::uintptr_t caller() const noexcept { return stack[3]; }

    const std::uintptr_t place;
    const long result;
    const std::uintptr_t* const stack;
};

#elif defined(__aarch64__)

constexpr unsigned char systemCall[] = {0x01, 0x00, 0x00, 0xD4};

struct Interrupted {
    explicit Interrupted(const mcontext_t& registers) noexcept
        : place(registers.pc), result(static_cast<long>(registers.regs[0])) {}

    std::uintptr_t caller() const noexcept { return place; }

    const std::uintptr_t place;
    const long result;
};

#else

constexpr unsigned char systemCall[] = {0};

// Nowhere.
struct Interrupted {
    explicit Interrupted(const mcontext_t& /*registers*/) noexcept {}

    std::uintptr_t caller() const noexcept { return place; }

    const std::uintptr_t place = 0;
    const long result = 0;
};

#endif

struct Range {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;

    bool holds(std::uintptr_t place) const noexcept { return place >= begin && place < end; }
};

// What is stored here can be read once the end of a thread was asked for.
constinit Range sharedCode[6];
constinit Range waitForOwnLock;  // of the C library, for one of its own locks
constinit Range loaderData;

struct Module {
    Range code;
    Range data;
};

// What the loader is asked for: the module with code at an address.
struct ModuleSearch {
    std::uintptr_t address;
    Module found;
};

int examineModule(dl_phdr_info* module, std::size_t /*size*/, void* wanted) {
    auto& search = *static_cast<ModuleSearch*>(wanted);
    Module seen{{UINTPTR_MAX, 0}, {UINTPTR_MAX, 0}};
    for (unsigned index = 0; index < module->dlpi_phnum; ++index) {
        const ElfW(Phdr)& segment = module->dlpi_phdr[index];
        if (segment.p_type != PT_LOAD || (segment.p_flags & (PF_X | PF_W)) == 0)
            continue;
        Range& range = (segment.p_flags & PF_X) != 0 ? seen.code : seen.data;
        const std::uintptr_t begin = module->dlpi_addr + segment.p_vaddr;
        range.begin = std::min(range.begin, begin);
        range.end = std::max<std::uintptr_t>(range.end, begin + segment.p_memsz);
    }
    if (!seen.code.holds(search.address))
        return 0;
    search.found = seen;
    return 1;
}

Module moduleAt(std::uintptr_t address) {
    ModuleSearch search{address, {}};
    dl_iterate_phdr(examineModule, &search);
    return search.found;
}

template <typename Function>
Module moduleAt(Function* function) {
    return moduleAt(reinterpret_cast<std::uintptr_t>(function));
}

// The one function in which glibc waits for its own locks, and for no others. It looks again when a
// signal wakes it.
Range ownLockWait() {
    void* const function = dlsym(RTLD_DEFAULT, "__lll_lock_wait_private");
    Dl_info module{};
    void* symbol = nullptr;
    if (function == nullptr || dladdr1(function, &module, &symbol, RTLD_DL_SYMENT) == 0 ||
        symbol == nullptr)
        return {};
    const auto begin = reinterpret_cast<std::uintptr_t>(function);
    return {begin, begin + static_cast<const ElfW(Sym)*>(symbol)->st_size};
}

// Whether the calling thread holds a lock of the loader, which keeps it while it runs constructors
// and destructors of modules: its locks are the recursive mutexes among its data.
bool holdsLockOfLoader() noexcept {
    const pid_t self = gettid();
    for (std::uintptr_t place = loaderData.begin; place + sizeof(pthread_mutex_t) <= loaderData.end;
         place += alignof(pthread_mutex_t)) {
        const auto& mutex = reinterpret_cast<const pthread_mutex_t*>(place)->__data;
        if (mutex.__owner == self && mutex.__kind == PTHREAD_MUTEX_RECURSIVE_NP &&
            mutex.__lock != 0 && mutex.__count != 0)
            return true;
    }
    return false;
}

}  // namespace

void findSharedCode() {
    // A thread that is ended meanwhile would leave the loader's lock.
    const TerminationShield shield;
    static const bool found = [] {
        const Module own = moduleAt(findSharedCode);
        // A program that is linked statically as a whole has no loader; the place where debuggers
        // stop the loader is in its own code then.
        const Module loader = moduleAt(_r_debug.r_brk);
        const Module all[] = {loader,
                              moduleAt(gnu_get_libc_version),
                              moduleAt(std::malloc),
                              moduleAt(_Unwind_Backtrace),
                              moduleAt(std::terminate),
                              moduleAt(static_cast<std::uintptr_t>(getauxval(AT_SYSINFO_EHDR)))};
        static_assert(std::size(all) == std::size(sharedCode));
        // What is linked into one program with this code can't be told from the application's.
        for (std::size_t index = 0; index < std::size(all); ++index)
            if (all[index].code.begin != own.code.begin)
                sharedCode[index] = all[index].code;
        if (loader.code.begin != own.code.begin)
            loaderData = loader.data;
        waitForOwnLock = ownLockWait();
        return true;
    }();
    static_cast<void>(found);
}

bool mayHoldSharedLock(const void* context) noexcept {
    const Interrupted thread(static_cast<const ucontext_t*>(context)->uc_mcontext);
    if (std::any_of(std::begin(sharedCode), std::end(sharedCode),
                    [&](const Range& code) { return code.holds(thread.place); })) {
        const bool wasAsleep =
            thread.result == -EINTR &&
            std::memcmp(reinterpret_cast<const unsigned char*>(thread.place) - sizeof systemCall,
                        systemCall, sizeof systemCall) == 0;
        if (!wasAsleep || waitForOwnLock.holds(thread.caller()))
            return true;
    }
    return holdsLockOfLoader();
}

}  // namespace Sorvex::platform
