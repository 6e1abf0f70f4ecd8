#include "platform/posix/hostinfo/modules.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <link.h>
#include <sys/auxv.h>

#include <gtest/gtest.h>
#include <sorvex/hostinfo.h>

#include "platform/posix/base/errors.h"
#include "platform/posix/files/host_path.h"
#include "support/temporary_directory.h"

namespace {

using namespace Sorvex;
using namespace Sorvex::testing;

using LoadedModule = std::unique_ptr<void, int (*)(void*)>;

LoadedModule load(const std::string& name) {
    LoadedModule module(::dlopen(name.c_str(), RTLD_NOW), ::dlclose);
    EXPECT_NE(module, nullptr) << ::dlerror();
    return module;
}

std::uintptr_t baseOf(const LoadedModule& module) {
    link_map* record = nullptr;
    EXPECT_EQ(::dlinfo(module.get(), RTLD_DI_LINKMAP, &record), 0);
    return record->l_addr;
}

std::string copyOfModule(const TemporaryDirectory& directory, const std::string& entry) {
    std::filesystem::copy_file(SORVEX_TEST_MODULE, directory.name(entry));
    return directory.name(entry);
}

// The names of all modules by their addresses, which have to come in rising order.
std::map<std::uintptr_t, std::string> walk() {
    std::map<std::uintptr_t, std::string> modules;
    DllFinder finder;
    for (finder.first(); finder; ++finder) {
        EXPECT_TRUE(modules.empty() || modules.rbegin()->first < finder.baseAddress());
        modules[finder.baseAddress()] = finder.fullName();
    }
    return modules;
}

TEST(ModuleWalk, FindsTheProgramAndAllThatTheLoaderHasLoaded) {
    auto modules = walk();
    int programs = 0;
    const std::string program =
        platform::libraryName(std::filesystem::read_symlink("/proc/self/exe").string());
    for (const auto& [base, name] : modules) {
        EXPECT_EQ(name.substr(0, 3), "C:\\");
        EXPECT_TRUE(std::filesystem::is_regular_file(platform::HostPath(name.c_str()).c_str()));
        programs += name == program ? 1 : 0;
    }
    EXPECT_EQ(programs, 1);
    ::dl_iterate_phdr(
        [](dl_phdr_info* module, std::size_t, void* found) {
            const auto* header = module->dlpi_phdr;
            while (header->p_type != PT_LOAD)
                ++header;
            const std::uintptr_t start = (module->dlpi_addr + header->p_vaddr) / 4096 * 4096;
            const std::size_t count = static_cast<decltype(modules)*>(found)->erase(start);
            EXPECT_EQ(count, start == ::getauxval(AT_SYSINFO_EHDR) ? 0U : 1U) << module->dlpi_name;
            return 0;
        },
        &modules);
    EXPECT_TRUE(modules.empty());
}

TEST(ModuleWalk, NamesTheFileThatWasLoadedInFullWhateverHasBecomeOfIt) {
    const TemporaryDirectory directory;
    const auto full = std::filesystem::canonical(directory.path());
    const std::string deep = std::string(200, 'd') + '/' + std::string(200, 'd') + '/';
    std::filesystem::create_directories(full / deep);
    // A file, and the name that the loader is given for it.
    const std::pair<std::string, std::string> cases[] = {
        {"deleted.so", full / "deleted.so"},
        {"replaced.so", full / "replaced.so"},
        {"relative.so", "./relative.so"},
        {"roundabout.so", full / deep / "../../roundabout.so"},
        {deep + std::string(200, 'f'), full / deep / std::string(200, 'f')},
    };
    std::vector<LoadedModule> loaded;
    const auto previous = std::filesystem::current_path();
    std::filesystem::current_path(full);
    for (const auto& [file, name] : cases) {
        copyOfModule(directory, file);
        loaded.push_back(load(name));
    }
    std::filesystem::current_path(previous);
    for (const char* file : {"deleted.so", "replaced.so", "relative.so"})
        std::filesystem::remove(full / file);
    directory.file("replaced.so", "no module");
    auto modules = walk();
    for (std::size_t index = 0; index < loaded.size(); ++index)
        EXPECT_EQ(modules[baseOf(loaded[index])],
                  platform::libraryName((full / cases[index].first).string()).substr(0, 511));
}

TEST(ModuleWalk, GoesOnWhenModulesComeAndGo) {
    const TemporaryDirectory directory;
    LoadedModule gone = load(copyOfModule(directory, "gone.so"));
    const std::uintptr_t base = baseOf(gone);
    DllFinder finder;
    while (finder.next() && finder.baseAddress() != base)
        continue;
    ASSERT_EQ(finder.baseAddress(), base);
    gone.reset();
    EXPECT_FALSE(walk().contains(base));
    // Takes the addresses that have become free, and so begins behind or before where the walk is.
    const LoadedModule other = load(copyOfModule(directory, "other.so"));
    for (std::uintptr_t last = base; finder.next(); last = finder.baseAddress())
        ASSERT_GT(finder.baseAddress(), last);
    EXPECT_EQ(walk()[baseOf(other)], platform::libraryName(directory.name("other.so")));
}

TEST(ModuleWalk, StandsItsGroundBesideAThreadThatLoads) {
    const TemporaryDirectory directory;
    // The thread sanitizer takes a name whose NUL starts an aligned word for a race in the loader.
    const bool isAligned = directory.name("busy.so").size() % 8 == 0;
    const std::string name = copyOfModule(directory, isAligned ? "busier.so" : "busy.so");
    const std::size_t usual = walk().size();
    std::atomic<bool> isOver = false;
    std::thread loader([&] {
        while (!isOver)
            load(name);
    });
    for (int round = 0; round < 100; ++round)
        EXPECT_LE(walk().size() - usual, 1U);
    isOver = true;
    loader.join();
}

TEST(ModuleWalk, WorksWhileItsThreadEnds) {
    std::size_t found = 0;
    std::thread([&found] {
        const auto walkAgain = [](std::size_t* size) { *size = walk().size(); };
        thread_local const std::unique_ptr<std::size_t, void (*)(std::size_t*)> last(&found,
                                                                                     walkAgain);
        walk();
    }).join();
    EXPECT_EQ(found, walk().size());
}

TEST(VirtualQuery, LaysRegionsEndToEndUpToTheLastAddress) {
    const char* address = nullptr;
    platform::MEMORY_BASIC_INFORMATION region{};
    while (platform::VirtualQuery(address, &region, sizeof region) != 0) {
        ASSERT_EQ(region.BaseAddress, address);
        ASSERT_GT(address + region.RegionSize, address);
        address += region.RegionSize;
    }
    EXPECT_EQ(platform::GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_GT(address, reinterpret_cast<char*>(&region));
}

TEST(GetModuleFileName, CutsWhatDoesNotFitAndTakesNoOtherAddress) {
    char name[4096];
    const platform::DWORD length = platform::GetModuleFileNameA(nullptr, name, sizeof name);
    const std::string whole(name, length);
    ASSERT_GT(length, 10U);
    for (const platform::DWORD size : {length, 10U, 1U}) {
        EXPECT_EQ(platform::GetModuleFileNameA(nullptr, name, size), size);
        EXPECT_EQ(name, whole.substr(0, size - 1));
        EXPECT_EQ(platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    }
    EXPECT_EQ(platform::GetModuleFileNameA(nullptr, name, length + 1), length);
    EXPECT_EQ(name, whole);
    EXPECT_EQ(platform::GetModuleFileNameA(name, name, sizeof name), 0U);
    EXPECT_EQ(platform::GetLastError(), ERROR_MOD_NOT_FOUND);
}

}  // namespace
