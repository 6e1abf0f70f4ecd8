#include "platform/posix/modules.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <link.h>
#include <sys/auxv.h>
#include <sys/mman.h>

#include <gtest/gtest.h>
#include <sorvex/hostinfo.h>

#include "platform/posix/errors.h"
#include "platform/posix/host_path.h"
#include "support/temporary_directory.h"

namespace {

using namespace Sorvex;
using namespace Sorvex::testing;

// A copy of the module for tests, loaded as long as this object lives.
class LoadedCopy {
public:
    explicit LoadedCopy(const std::string& copyName) : name(copyName), module(load()) {}

    std::uintptr_t base() const {
        const void* symbol = ::dlsym(module.get(), "loadedModuleAnswer");
        Dl_info information{};
        EXPECT_NE(::dladdr(symbol, &information), 0);
        return reinterpret_cast<std::uintptr_t>(information.dli_fbase);
    }

private:
    struct Unload {
        void operator()(void* handle) const { ::dlclose(handle); }
    };

    std::unique_ptr<void, Unload> load() const {
        std::unique_ptr<void, Unload> loaded(::dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL));
        EXPECT_NE(loaded, nullptr) << ::dlerror();
        return loaded;
    }

    std::string name;
    std::unique_ptr<void, Unload> module;
};

std::string copyOfModule(const TemporaryDirectory& directory, const std::string& entry) {
    std::filesystem::copy_file(SORVEX_TEST_MODULE, directory.name(entry));
    return directory.name(entry);
}

struct Module {
    std::uintptr_t base;
    std::string name;
};

std::vector<Module> walk() {
    std::vector<Module> modules;
    DllFinder finder;
    for (finder.first(); finder; ++finder)
        modules.push_back({finder.baseAddress(), finder.fullName()});
    return modules;
}

// The name of the module at an address; empty for none, "twice" for more than one.
std::string nameAt(const std::vector<Module>& modules, std::uintptr_t base) {
    std::string name;
    for (const Module& module : modules)
        if (module.base == base)
            name = name.empty() ? module.name : "twice";
    return name;
}

TEST(ModuleWalk, FindsWhatTheLoaderHasLoadedInRisingOrder) {
    std::set<std::uintptr_t> expected;
    ::dl_iterate_phdr(
        [](dl_phdr_info* module, std::size_t, void* bases) {
            for (int index = 0; index < module->dlpi_phnum; ++index) {
                const auto& header = module->dlpi_phdr[index];
                const std::uintptr_t start = (module->dlpi_addr + header.p_vaddr) / 4096 * 4096;
                if (header.p_type != PT_LOAD || start == ::getauxval(AT_SYSINFO_EHDR))
                    continue;
                static_cast<std::set<std::uintptr_t>*>(bases)->insert(start);
                break;
            }
            return 0;
        },
        &expected);
    std::vector<std::uintptr_t> found;
    for (const Module& module : walk())
        found.push_back(module.base);
    EXPECT_EQ(found, std::vector<std::uintptr_t>(expected.begin(), expected.end()));
}

TEST(ModuleWalk, NamesTheProgramAndItsLibrariesInFull) {
    const auto modules = walk();
    const std::string program =
        platform::libraryName(std::filesystem::read_symlink("/proc/self/exe").string());
    EXPECT_EQ(std::count_if(modules.begin(), modules.end(),
                            [&program](const Module& module) { return module.name == program; }),
              1);
    for (const Module& module : modules) {
        EXPECT_EQ(module.name.substr(0, 3), "C:\\");
        EXPECT_TRUE(
            std::filesystem::is_regular_file(platform::HostPath(module.name.c_str()).c_str()))
            << module.name;
    }
}

TEST(ModuleWalk, KeepsTheNamesOfFilesThatWereDeletedOrReplaced) {
    const TemporaryDirectory directory;
    const std::string deleted = copyOfModule(directory, "deleted.so");
    const std::string replaced = copyOfModule(directory, "replaced.so");
    const LoadedCopy first(deleted);
    const LoadedCopy second(replaced);
    std::filesystem::remove(deleted);
    std::filesystem::remove(replaced);
    directory.file("replaced.so", "no module");
    const auto modules = walk();
    EXPECT_EQ(nameAt(modules, first.base()), platform::libraryName(deleted));
    EXPECT_EQ(nameAt(modules, second.base()), platform::libraryName(replaced));
}

TEST(ModuleWalk, GivesTheFullNameOfWhatWasLoadedByAShorterOne) {
    const TemporaryDirectory directory;
    const std::string plain = copyOfModule(directory, "plain.so");
    const std::string removed = copyOfModule(directory, "removed.so");
    std::filesystem::create_directory(directory.path() / "sub");
    const auto previous = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    const LoadedCopy relative("./removed.so");
    std::filesystem::current_path(previous);
    std::filesystem::remove(removed);
    const LoadedCopy roundabout(directory.name("sub/../plain.so"));
    const auto modules = walk();
    const auto full = std::filesystem::canonical(directory.path());
    EXPECT_EQ(nameAt(modules, relative.base()),
              platform::libraryName((full / "removed.so").string()));
    EXPECT_EQ(nameAt(modules, roundabout.base()),
              platform::libraryName((full / "plain.so").string()));
}

TEST(ModuleWalk, PassesOverFilesThatAreMappedAsData) {
    const std::string name = std::filesystem::read_symlink("/proc/self/exe").string();
    std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(name.c_str(), "re"), std::fclose);
    ASSERT_NE(file, nullptr);
    void* mapping = ::mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE, ::fileno(file.get()), 0);
    ASSERT_NE(mapping, MAP_FAILED);
    EXPECT_EQ(nameAt(walk(), reinterpret_cast<std::uintptr_t>(mapping)), "");
    ::munmap(mapping, 4096);
}

// Walks to the given module, which then goes, and to the end; nothing is met twice.
TEST(ModuleWalk, GoesOnWhenModulesComeAndGo) {
    const TemporaryDirectory directory;
    const std::string name = copyOfModule(directory, "gone.so");
    auto gone = std::make_unique<LoadedCopy>(name);
    const std::uintptr_t base = gone->base();
    DllFinder finder;
    while (finder.next() && finder.baseAddress() != base)
        continue;
    ASSERT_EQ(finder.baseAddress(), base);
    gone.reset();
    // Takes the addresses that have become free, and so begins behind or before where the walk is.
    EXPECT_EQ(nameAt(walk(), base), "");
    const LoadedCopy other(copyOfModule(directory, "other.so"));
    std::uintptr_t previous = base;
    while (finder.next()) {
        EXPECT_GT(finder.baseAddress(), previous);
        previous = finder.baseAddress();
    }
    EXPECT_EQ(nameAt(walk(), other.base()), platform::libraryName(directory.name("other.so")));
}

TEST(ModuleWalk, StandsItsGroundBesideAThreadThatLoads) {
    const TemporaryDirectory directory;
    const std::string name = copyOfModule(directory, "busy.so");
    const std::size_t usual = walk().size();
    std::atomic<bool> isOver = false;
    std::thread loader([&] {
        while (!isOver)
            const LoadedCopy module(name);
    });
    for (int round = 0; round < 100; ++round) {
        const auto modules = walk();
        EXPECT_GE(modules.size(), usual);
        EXPECT_LE(modules.size(), usual + 1);
        EXPECT_TRUE(
            std::is_sorted(modules.begin(), modules.end(),
                           [](const Module& a, const Module& b) { return a.base <= b.base; }));
    }
    isOver = true;
    loader.join();
}

struct WalkAtTheEnd {
    std::size_t* found;

    ~WalkAtTheEnd() { *found = walk().size(); }
};

TEST(ModuleWalk, WorksWhileItsThreadEnds) {
    std::size_t found = 0;
    std::thread([&found] {
        thread_local const WalkAtTheEnd last{&found};
        EXPECT_EQ(last.found, &found);
        walk();
    }).join();
    EXPECT_EQ(found, walk().size());
}

TEST(VirtualQuery, LaysRegionsEndToEndUpToTheLastAddress) {
    std::uintptr_t address = 0;
    platform::MEMORY_BASIC_INFORMATION region{};
    std::size_t regions = 0;
    for (;; ++regions) {
        const void* asked = reinterpret_cast<const void*>(address);
        if (platform::VirtualQuery(asked, &region, sizeof region) == 0)
            break;
        ASSERT_EQ(region.BaseAddress, asked);
        ASSERT_NE(region.RegionSize, 0U);
        ASSERT_EQ(region.RegionSize % 4096, 0U);
        ASSERT_GT(address + region.RegionSize, address);
        address += region.RegionSize;
    }
    EXPECT_EQ(platform::GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_GT(regions, 2 * walk().size());
    EXPECT_GT(address, reinterpret_cast<std::uintptr_t>(&region));
}

TEST(GetModuleFileName, CutsWhatDoesNotFitAndTakesNoOtherAddress) {
    char whole[4096];
    const platform::DWORD length = platform::GetModuleFileNameA(nullptr, whole, sizeof whole);
    ASSERT_GT(length, 10U);
    EXPECT_EQ(std::string(whole), std::string(whole, length));
    const std::string name = whole;
    for (const platform::DWORD size : {length, 10U, 1U}) {
        char cut[4096] = "untouched";
        EXPECT_EQ(platform::GetModuleFileNameA(nullptr, cut, size), size);
        EXPECT_EQ(cut, name.substr(0, size - 1));
        EXPECT_EQ(platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    }
    char exact[4096];
    EXPECT_EQ(platform::GetModuleFileNameA(nullptr, exact, length + 1), length);
    EXPECT_EQ(exact, name);
    EXPECT_EQ(platform::GetModuleFileNameA(exact, exact, sizeof exact), 0U);
    EXPECT_EQ(platform::GetLastError(), ERROR_MOD_NOT_FOUND);
}

}  // namespace
