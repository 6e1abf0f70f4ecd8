#include "platform/posix/threads/shared_code.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include <gnu/libc-version.h>
#include <link.h>
#include <sys/syscall.h>
#include <ucontext.h>

namespace Sorvex::platform {

namespace {

// The executable part of one loaded module.
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
        return place >= begin.load(std::memory_order_relaxed) &&
               place < end.load(std::memory_order_relaxed);
    }

private:
    std::atomic<std::uintptr_t> begin = 0;
    std::atomic<std::uintptr_t> end = 0;
};

constinit SharedCode library;
constinit SharedCode allocator;
constinit SharedCode loader;

// What the loader is asked for: the module that an address belongs to.
struct Search {
    std::uintptr_t address;
    Code found;
};

int examineModule(dl_phdr_info* module, std::size_t /*size*/, void* wanted) {
    auto& search = *static_cast<Search*>(wanted);
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
    Search search{address, {}};
    dl_iterate_phdr(examineModule, &search);
    return search.found;
}

template <typename Function>
Code codeAround(Function* function) {
    return codeAround(reinterpret_cast<std::uintptr_t>(function));
}

#if defined(__x86_64__) || defined(__aarch64__)

// Whether it is a call for memory, which the allocator makes with its lock held.
template <typename Register>
bool isForMemory(Register call) noexcept {
    constexpr Register calls[] = {SYS_brk,      SYS_madvise, SYS_mmap,
                                  SYS_mprotect, SYS_mremap,  SYS_munmap};
    return std::find(std::begin(calls), std::end(calls), call) != std::end(calls);
}

#endif

// Where a thread was interrupted, and whether that is at a system call, which either has returned
// or is about to be made, perhaps again.
#if defined(__x86_64__)

std::uintptr_t placeOf(const ucontext_t& thread) noexcept {
    return static_cast<std::uintptr_t>(thread.uc_mcontext.gregs[REG_RIP]);
}

bool isSystemCall(const unsigned char* place) noexcept {
    return place[0] == 0x0F && place[1] == 0x05;
}

// Whether the call before a place is for memory, as the instruction that loads its number tells:
// the register holds the result by then.
bool endsCallForMemory(const unsigned char* place) noexcept {
    constexpr unsigned char restOfNumber[] = {0, 0, 0};
    return place[-7] == 0xB8 && std::memcmp(place - 5, restOfNumber, sizeof restOfNumber) == 0 &&
           isForMemory(int{place[-6]});
}

bool standsAtSystemCall(const ucontext_t& thread) noexcept {
    const auto* const place = reinterpret_cast<const unsigned char*>(placeOf(thread));
    if (isSystemCall(place))
        return !isForMemory(thread.uc_mcontext.gregs[REG_RAX]);
    return isSystemCall(place - 2) && !endsCallForMemory(place);
}

#elif defined(__i386__)

std::uintptr_t placeOf(const ucontext_t& thread) noexcept {
    return static_cast<std::uintptr_t>(thread.uc_mcontext.gregs[REG_EIP]);
}

// The C library makes its calls in a page of the kernel's, outside its own code.
constexpr bool standsAtSystemCall(const ucontext_t& /*thread*/) noexcept {
    return false;
}

#elif defined(__aarch64__)

std::uintptr_t placeOf(const ucontext_t& thread) noexcept {
    return thread.uc_mcontext.pc;
}

// The call's number outlasts the call in its register.
bool standsAtSystemCall(const ucontext_t& thread) noexcept {
    constexpr std::uint32_t supervisorCall = 0xD4000001;  // svc #0
    constexpr int numberRegister = 8;
    const auto* const place = reinterpret_cast<const std::uint32_t*>(placeOf(thread));
    return (place[0] == supervisorCall || place[-1] == supervisorCall) &&
           !isForMemory(thread.uc_mcontext.regs[numberRegister]);
}

#else

// Not known: a place that belongs to nobody.
constexpr std::uintptr_t placeOf(const ucontext_t& /*thread*/) noexcept {
    return 0;
}

constexpr bool standsAtSystemCall(const ucontext_t& /*thread*/) noexcept {
    return false;
}

#endif

}  // namespace

void findSharedCode() {
    static const bool found = [] {
        const Code own = codeAround(findSharedCode);
        // What is linked into one program with this code can't be told from the application's.
        const auto store = [&own](SharedCode& shared, const Code& code) {
            shared.store(code.begin == own.begin ? Code{} : code);
        };
        store(library, codeAround(gnu_get_libc_version));
        store(allocator, codeAround(std::malloc));
        // Where debuggers stop the loader. A program that is linked statically as a whole has none,
        // and names its own code.
        store(loader, codeAround(_r_debug.r_brk));
        return true;
    }();
    static_cast<void>(found);
}

bool interruptsSharedCode(const void* context) noexcept {
    const auto& thread = *static_cast<const ucontext_t*>(context);
    const std::uintptr_t place = placeOf(thread);
    if (library.holds(place))
        return !standsAtSystemCall(thread);
    return allocator.holds(place) || loader.holds(place);
}

}  // namespace Sorvex::platform
