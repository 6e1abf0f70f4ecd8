#include "platform/posix/threads/shared_code.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>

#include <dlfcn.h>
#include <gnu/libc-version.h>
#include <link.h>
#include <sys/auxv.h>
#include <ucontext.h>
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

// A run of addresses with code.
struct Code {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;

    bool holds(std::uintptr_t place) const noexcept { return place >= begin && place < end; }
};

// The same, as signal handlers of other threads read it. They run after it was stored: the signal
// that they answer is sent later.
class SharedCode {
public:
    void store(const Code& code) noexcept {
        begin.store(code.begin, std::memory_order_relaxed);
        end.store(code.end, std::memory_order_relaxed);
    }

    bool holds(std::uintptr_t place) const noexcept {
        return Code{begin.load(std::memory_order_relaxed), end.load(std::memory_order_relaxed)}
            .holds(place);
    }

private:
    std::atomic<std::uintptr_t> begin = 0;
    std::atomic<std::uintptr_t> end = 0;
};

constinit SharedCode modules[6];
constinit SharedCode waitForOwnLock;  // of the C library, for one of its own locks

// What the loader is asked for: the module that an address belongs to.
struct ModuleSearch {
    std::uintptr_t address;
    Code found;
};

int examineModule(dl_phdr_info* module, std::size_t /*size*/, void* wanted) {
    auto& search = *static_cast<ModuleSearch*>(wanted);
    Code code{UINTPTR_MAX, 0};
    for (unsigned index = 0; index < module->dlpi_phnum; ++index) {
        const ElfW(Phdr)& segment = module->dlpi_phdr[index];
        if (segment.p_type != PT_LOAD || (segment.p_flags & PF_X) == 0)
            continue;
        const std::uintptr_t begin = module->dlpi_addr + segment.p_vaddr;
        code.begin = std::min(code.begin, begin);
        code.end = std::max<std::uintptr_t>(code.end, begin + segment.p_memsz);
    }
    if (!code.holds(search.address))
        return 0;
    search.found = code;
    return 1;
}

Code codeAround(std::uintptr_t address) {
    ModuleSearch search{address, {}};
    dl_iterate_phdr(examineModule, &search);
    return search.found;
}

template <typename Function>
Code codeAround(Function* function) {
    return codeAround(reinterpret_cast<std::uintptr_t>(function));
}

// The one function in which glibc waits for its own locks, and for no others. It looks again when a
// signal wakes it.
Code ownLockWait() {
    void* const function = dlsym(RTLD_DEFAULT, "__lll_lock_wait_private");
    Dl_info module{};
    void* symbol = nullptr;
    if (function == nullptr || dladdr1(function, &module, &symbol, RTLD_DL_SYMENT) == 0 ||
        symbol == nullptr)
        return {};
    const auto begin = reinterpret_cast<std::uintptr_t>(function);
    return {begin, begin + static_cast<const ElfW(Sym)*>(symbol)->st_size};
}

}  // namespace

void findSharedCode() {
    // A thread that is ended meanwhile would leave the loader's lock.
    const TerminationShield shield;
    static const bool found = [] {
        const Code own = codeAround(findSharedCode);
        // A program that is linked statically as a whole has no loader; the place where debuggers
        // stop the loader is in its own code then.
        const Code all[] = {codeAround(gnu_get_libc_version),
                            codeAround(std::malloc),
                            codeAround(_r_debug.r_brk),
                            codeAround(_Unwind_Backtrace),
                            codeAround(std::terminate),
                            codeAround(static_cast<std::uintptr_t>(getauxval(AT_SYSINFO_EHDR)))};
        static_assert(std::size(all) == std::size(modules));
        // What is linked into one program with this code can't be told from the application's.
        for (std::size_t index = 0; index < std::size(all); ++index)
            modules[index].store(all[index].begin == own.begin ? Code{} : all[index]);
        waitForOwnLock.store(ownLockWait());
        return true;
    }();
    static_cast<void>(found);
}

bool interruptsSharedCode(const void* context) noexcept {
    const Interrupted thread(static_cast<const ucontext_t*>(context)->uc_mcontext);
    if (std::none_of(std::begin(modules), std::end(modules),
                     [&](const SharedCode& code) { return code.holds(thread.place); }))
        return false;
    const bool wasAsleep =
        thread.result == -EINTR &&
        std::memcmp(reinterpret_cast<const unsigned char*>(thread.place) - sizeof systemCall,
                    systemCall, sizeof systemCall) == 0;
    return !wasAsleep || waitForOwnLock.holds(thread.caller());
}

}  // namespace Sorvex::platform
