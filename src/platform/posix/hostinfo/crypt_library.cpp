#include "platform/posix/hostinfo/crypt_library.h"

#include <atomic>

#include <dlfcn.h>

#include "platform/posix/base/termination_shield.h"

namespace Sorvex::platform {

namespace {

constinit std::atomic<void*> openedLibrary = nullptr;

}  // namespace

CryptLibrary openCryptLibrary() {
    // The loader runs code of the library with its lock held.
    const TerminationShield shield;
    void* library = openedLibrary.load(std::memory_order_acquire);
    if (library == nullptr) {
        library = ::dlopen("libcrypt.so.1", RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr)
            return {};
        openedLibrary.store(library, std::memory_order_release);
    }
    return {true, reinterpret_cast<CryptLibrary::Hash*>(::dlsym(library, "crypt_r")),
            reinterpret_cast<CryptLibrary::MakeSetting*>(::dlsym(library, "crypt_gensalt_rn"))};
}

}  // namespace Sorvex::platform
