// Images and version resources of any bytes. What begins as an image is one; anything else is put
// into an image of the usual kind as its resource, so that the fuzzer need not find its way there.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include <sorvex/hostinfo.h>

#include "support/memory_file.h"
#include "support/version_image.h"

namespace {

using namespace Sorvex::testing;

constexpr const char* subBlocks[] = {
    "\\",
    "\\VarFileInfo\\Translation",
    "\\StringFileInfo\\040904b0\\CompanyName",
    "\\StringFileInfo\\040904b0\\ProductName",
    "\\StringFileInfo\\040904b0\\V",
    "\\StringFileInfo\\000004b0",
    "\\a\\b\\c\\d",
};

std::string imageWith(const std::string& resource) {
    VersionImage image;
    image.resources = {{0, resource}};
    return image.bytes();
}

// A value is at most as long as the text of the largest resource.
void ask(Sorvex::VersionInfo& info, const char* subBlock) {
    constexpr std::size_t longestText = 0xFFFF / 2 * 3 + 1;
    try {
        if (info.value(subBlock).size() > longestText)
            std::abort();
    } catch (const std::runtime_error&) {
        // The resource doesn't hold it.
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const MemoryFile file(input.substr(0, 2) == "MZ" ? input : imageWith(input));
    Sorvex::VersionInfo info(file.name().c_str());
    try {
        info.getInfo();
    } catch (const std::runtime_error&) {
        // There are no fixed numbers; the values are asked for all the same.
    }
    for (const char* subBlock : subBlocks)
        ask(info, subBlock);
    return 0;
}
