#include <sorvex/hostinfo.h>

#include "platform/platform.h"

namespace Sorvex {

bool DllFinder::next() {
    constexpr platform::DWORD nameCapacity = 512;
    valid = false;
    while (!valid) {
        platform::MEMORY_BASIC_INFORMATION region;
        if (platform::VirtualQuery(reinterpret_cast<const void*>(scanAddress), &region,
                                   sizeof region) == 0)
            return valid;
        if (scanAddress != 0) {
            char name[nameCapacity];
            const auto module = reinterpret_cast<platform::HMODULE>(scanAddress);
            if (platform::GetModuleFileNameA(module, name, nameCapacity) != 0) {
                valid = true;
                moduleName = name;
                moduleBase = scanAddress;
            }
        }
        scanAddress += region.RegionSize;
    }
    return valid;
}

bool DllFinder::first() {
    return next();
}

DllFinder& DllFinder::operator++() {
    next();
    return *this;
}

}  // namespace Sorvex
