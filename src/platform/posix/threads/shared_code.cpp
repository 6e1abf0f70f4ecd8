#include "platform/posix/threads/shared_code.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include <gnu/libc-version.h>
#include <link.h>
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

#if defined(__x86_64__)

constexpr int instructionPointer = REG_RIP;

bool isSystemCall(const unsigned char* place) noexcept {
    return place[0] == 0x0F && place[1] == 0x05;
}

// Whether a call for memory, which the allocator makes with its lock held, stands before a place:
// the instruction that loads the call's number and the system call.
bool endsCallForMemory(const unsigned char* place) noexcept {
    constexpr unsigned char calls[] = {9, 10, 11, 12, 25, 28};
    constexpr unsigned char restOfNumber[] = {0, 0, 0};
    return place[-7] == 0xB8 && std::memcmp(place - 5, restOfNumber, sizeof restOfNumber) == 0 &&
           std::find(std::begin(calls), std::end(calls), place[-6]) != std::end(calls);
}

// An interrupted system call either has returned or is about to be made again.
bool standsAtSystemCall(std::uintptr_t address) noexcept {
    const auto* const place = reinterpret_cast<const unsigned char*>(address);
    return isSystemCall(place) || (isSystemCall(place - 2) && !endsCallForMemory(place));
}

#elif defined(__i386__)

constexpr int instructionPointer = REG_EIP;

// The C library makes its calls in a page of the kernel's, outside its own code.
constexpr bool standsAtSystemCall(std::uintptr_t /*address*/) noexcept {
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
#if defined(__x86_64__) || defined(__i386__)
    const auto place = static_cast<std::uintptr_t>(
        static_cast<const ucontext_t*>(context)->uc_mcontext.gregs[instructionPointer]);
    if (library.holds(place))
        return !standsAtSystemCall(place);
    return allocator.holds(place) || loader.holds(place);
#else
    static_cast<void>(context);
    return false;
#endif
}

}  // namespace Sorvex::platform
