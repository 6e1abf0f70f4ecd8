// Versions of images, the walk over the modules, and membership in groups, beside what a program
// would use instead. The peers trust what they read.
//
// The image is one MiB, of which a version takes a few pages. The walk is measured in this process
// as it is and with 200 more modules. Ours makes a step for every part of a module and every gap;
// the loader's list alone is the limit, and neither names nor sorts anything.
//
// The peer of a membership asks for two records by name, ours has to ask for whole lists by
// contract. Where the host has more services for names than its files, such a list costs many times
// one record (systemd's: 8 times), and then ours does too; with files alone it is 1.5 times.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <link.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sorvex/hostinfo.h>

#include "support/temporary_directory.h"
#include "support/version_image.h"

namespace {

using Sorvex::testing::TemporaryDirectory;

// Versions --------------------------------------------------------------------------------------

constexpr std::size_t imageSize = std::size_t{1} << 20;

class Image {
public:
    Image() : file(directory.file("image.dll", contents())) {}
    const std::string& name() const { return file; }

private:
    static std::string contents() {
        std::string bytes = imageOf(Sorvex::testing::usualVersion()).bytes();
        bytes.resize(imageSize);
        return bytes;
    }

    TemporaryDirectory directory;
    std::string file;
};

template <typename Number>
Number numberAt(const char* bytes, std::size_t offset) {
    Number number;
    std::memcpy(&number, bytes + offset, sizeof number);
    return number;
}

// The major version of a well-formed 64-bit image: headers, first section, three directories.
unsigned majorVersionOf(const char* bytes) {
    const auto header = numberAt<std::uint32_t>(bytes, 0x3C);
    const auto resources = numberAt<std::uint32_t>(bytes, header + 24 + 112 + 16);
    std::size_t section = header + 24 + numberAt<std::uint16_t>(bytes, header + 20);
    while (numberAt<std::uint32_t>(bytes, section + 12) > resources)
        section += 40;
    const auto address = numberAt<std::uint32_t>(bytes, section + 12);
    const auto offset = numberAt<std::uint32_t>(bytes, section + 20);
    const std::size_t root = offset + resources - address;
    std::size_t entry = root;
    for (int level = 0; level < 3; ++level)
        entry = root + (numberAt<std::uint32_t>(bytes, entry + 20) & 0x7FFFFFFF);
    const std::size_t resource = offset + numberAt<std::uint32_t>(bytes, entry) - address;
    return numberAt<std::uint16_t>(bytes, resource + 40 + 10);
}

void versionReadSorvex(benchmark::State& state) {
    const Image image;
    for ([[maybe_unused]] auto _ : state) {
        Sorvex::VersionInfo info(image.name().c_str());
        if (info.getInfo().majorVersion() != 1) {
            state.SkipWithError("wrong version");
            return;
        }
    }
}
BENCHMARK(versionReadSorvex);

void versionReadWholeFile(benchmark::State& state) {
    const Image image;
    for ([[maybe_unused]] auto _ : state) {
        std::ifstream stream(image.name(), std::ios::binary);
        std::vector<char> bytes(imageSize);
        stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (majorVersionOf(bytes.data()) != 1) {
            state.SkipWithError("wrong version");
            return;
        }
    }
}
BENCHMARK(versionReadWholeFile);

void versionReadMapped(benchmark::State& state) {
    const Image image;
    for ([[maybe_unused]] auto _ : state) {
        const int descriptor = ::open(image.name().c_str(), O_RDONLY | O_CLOEXEC);
        struct stat status {};
        ::fstat(descriptor, &status);
        const auto size = static_cast<std::size_t>(status.st_size);
        void* bytes = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
        if (majorVersionOf(static_cast<const char*>(bytes)) != 1) {
            state.SkipWithError("wrong version");
            return;
        }
        ::munmap(bytes, size);
        ::close(descriptor);
    }
}
BENCHMARK(versionReadMapped);

// Modules ---------------------------------------------------------------------------------------

// So many copies of a module, loaded as long as this object lives.
class LoadedCopies {
public:
    explicit LoadedCopies(std::int64_t count) {
        for (std::int64_t index = 0; index < count; ++index) {
            const auto name = directory.path() / ("module" + std::to_string(index) + ".so");
            std::filesystem::copy_file(SORVEX_BENCH_MODULE, name);
            modules.emplace_back(::dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL));
        }
    }

private:
    struct Unload {
        void operator()(void* module) const { ::dlclose(module); }
    };

    TemporaryDirectory directory;
    std::vector<std::unique_ptr<void, Unload>> modules;
};

struct Module {
    std::uintptr_t base;
    std::string name;
};

std::vector<Module> walk() {
    std::vector<Module> modules;
    for (Sorvex::DllFinder finder; finder.next();)
        modules.push_back({finder.baseAddress(), finder.fullName()});
    return modules;
}

// Each file once, with the lowest address that it is mapped at.
std::vector<Module> readMap() {
    std::vector<Module> modules;
    std::ifstream map("/proc/self/maps");
    for (std::string line; std::getline(map, line);) {
        const std::size_t path = line.find('/');
        if (path != std::string::npos &&
            (modules.empty() || modules.back().name != line.substr(path)))
            modules.push_back({std::stoul(line, nullptr, 16), line.substr(path)});
    }
    return modules;
}

template <typename List>
void moduleWalk(benchmark::State& state, List list) {
    const LoadedCopies copies(state.range(0));
    const std::size_t expected = walk().size();
    std::size_t found = 0;
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(found = list().size());
    if (found < expected)
        state.SkipWithError("modules are missing");
    state.counters["modules"] = static_cast<double>(expected);
}

void moduleWalkSorvex(benchmark::State& state) {
    moduleWalk(state, walk);
}
BENCHMARK(moduleWalkSorvex)->Arg(0)->Arg(200);

void moduleWalkMapOnce(benchmark::State& state) {
    moduleWalk(state, readMap);
}
BENCHMARK(moduleWalkMapOnce)->Arg(0)->Arg(200);

void moduleWalkLimitLoaderList(benchmark::State& state) {
    moduleWalk(state, [] {
        std::vector<std::uintptr_t> bases;
        ::dl_iterate_phdr(
            [](dl_phdr_info* module, std::size_t, void* found) {
                static_cast<std::vector<std::uintptr_t>*>(found)->push_back(module->dlpi_addr);
                return 0;
            },
            &bases);
        return bases;
    });
}
BENCHMARK(moduleWalkLimitLoaderList)->Arg(0)->Arg(200);

// Groups ----------------------------------------------------------------------------------------

constexpr std::size_t recordSize = 65536;

struct Membership {
    std::string user;
    std::string group;
};

// The first user of the host who is listed by a group; the one who runs this with the primary group
// where there is none.
Membership someMembership() {
    Membership membership;
    ::setgrent();
    for (const struct group* group = ::getgrent(); group != nullptr && membership.user.empty();
         group = ::getgrent())
        if (*group->gr_mem != nullptr)
            membership = {*group->gr_mem, group->gr_name};
    ::endgrent();
    if (membership.user.empty() || ::getpwnam(membership.user.c_str()) == nullptr) {
        const struct passwd* user = ::getpwuid(::getuid());
        membership.user = user->pw_name;
        membership.group = ::getgrgid(user->pw_gid)->gr_name;
    }
    return membership;
}

bool isMember(const Membership& membership) {
    std::vector<char> buffer(2 * recordSize);
    struct passwd user {};
    struct passwd* foundUser = nullptr;
    struct group group {};
    struct group* foundGroup = nullptr;
    ::getpwnam_r(membership.user.c_str(), &user, buffer.data(), recordSize, &foundUser);
    ::getgrnam_r(membership.group.c_str(), &group, buffer.data() + recordSize, recordSize,
                 &foundGroup);
    if (foundUser == nullptr || foundGroup == nullptr)
        return false;
    if (group.gr_gid == user.pw_gid)
        return true;
    for (char** member = group.gr_mem; *member != nullptr; ++member)
        if (membership.user == *member)
            return true;
    return false;
}

bool isAmongGroups(const Membership& membership) {
    std::vector<char> buffer(recordSize);
    struct passwd user {};
    struct passwd* foundUser = nullptr;
    ::getpwnam_r(membership.user.c_str(), &user, buffer.data(), recordSize, &foundUser);
    if (foundUser == nullptr)
        return false;
    gid_t groups[1024];
    int count = static_cast<int>(std::size(groups));
    ::getgrouplist(membership.user.c_str(), user.pw_gid, groups, &count);
    for (int index = 0; index < count; ++index) {
        struct group group {};
        struct group* foundGroup = nullptr;
        ::getgrgid_r(groups[index], &group, buffer.data(), recordSize, &foundGroup);
        if (foundGroup != nullptr && membership.group == group.gr_name)
            return true;
    }
    return false;
}

bool isMemberSorvex(const Membership& membership) {
    Sorvex::WindowsUserProperties user(membership.user.c_str());
    return user.isMemberOfGroup(membership.group.c_str());
}

template <typename Ask>
void askForGroup(benchmark::State& state, const Membership& membership, bool expected, Ask ask) {
    for ([[maybe_unused]] auto _ : state)
        if (ask(membership) != expected) {
            state.SkipWithError("wrong answer");
            return;
        }
}

void groupMemberSorvex(benchmark::State& state) {
    askForGroup(state, someMembership(), true, isMemberSorvex);
}
BENCHMARK(groupMemberSorvex);

void groupMemberTwoRecords(benchmark::State& state) {
    askForGroup(state, someMembership(), true, isMember);
}
BENCHMARK(groupMemberTwoRecords);

void groupNotMemberSorvex(benchmark::State& state) {
    askForGroup(state, {someMembership().user, "no such group"}, false, isMemberSorvex);
}
BENCHMARK(groupNotMemberSorvex);

void groupNotMemberGroupList(benchmark::State& state) {
    askForGroup(state, {someMembership().user, "no such group"}, false, isAmongGroups);
}
BENCHMARK(groupNotMemberGroupList);

}  // namespace
