#include "platform/posix/hostinfo/modules.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <link.h>
#include <sys/auxv.h>
#include <unistd.h>
#include <climits>

#include "platform/posix/base/errors.h"
#include "platform/posix/base/termination_shield.h"
#include "platform/posix/files/host_path.h"

namespace Sorvex::platform {

namespace {

// Nothing is loaded into the upper half of 64-bit addresses, which belongs to the host's kernel,
// nor into the last page of 32-bit ones.
constexpr std::uintptr_t endOfAddresses = sizeof(std::uintptr_t) == 8
                                              ? std::numeric_limits<std::uintptr_t>::max() / 2 + 1
                                              : std::uintptr_t{0xFFFFF000};

std::size_t pageSize() {
    return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

std::uintptr_t pageOf(std::uintptr_t address) {
    return address & ~(std::uintptr_t{pageSize()} - 1);
}

// A part of a module that the loader has mapped by itself.
struct Segment {
    std::uintptr_t begin;
    std::uintptr_t end;
    std::size_t name;  // the place of the module's name; noName behind the module's first segment
};

constexpr std::size_t noName = std::numeric_limits<std::size_t>::max();

// How often modules have been loaded and unloaded since the process began.
struct LoaderState {
    unsigned long long loads = 0;
    unsigned long long unloads = 0;

    bool operator==(const LoaderState&) const = default;
};

int readState(dl_phdr_info* module, std::size_t /*size*/, void* state) {
    *static_cast<LoaderState*>(state) = {module->dlpi_adds, module->dlpi_subs};
    return 1;
}

// The modules that the loader lists, in the order of their addresses.
class Modules {
public:
    void refresh();

    const std::vector<Segment>& all() const { return segments; }
    const Segment* at(std::uintptr_t begin) const;
    const char* nameOf(const Segment& segment) const { return names.data() + segment.name; }

private:
    struct Listing;

    static int add(dl_phdr_info* module, std::size_t size, void* context);
    bool needsFullName(const Segment& segment) const;
    void nameByMap();

    LoaderState state;
    std::vector<Segment> segments;
    std::vector<char> names;  // one after the other, each with its NUL
};

// What one pass over the loader's list needs. The loader holds its lock meanwhile, so the pass
// itself allocates nothing: it fills what room there is and counts what it would take.
struct Modules::Listing {
    Modules* target;
    std::size_t segmentsNeeded = 0;
    std::size_t namesNeeded = 0;

    bool fits() const {
        return segmentsNeeded <= target->segments.capacity() &&
               namesNeeded <= target->names.capacity();
    }
};

int Modules::add(dl_phdr_info* module, std::size_t /*size*/, void* context) {
    auto& listing = *static_cast<Listing*>(context);
    Modules& target = *listing.target;
    target.state = {module->dlpi_adds, module->dlpi_subs};
    const std::string_view name = module->dlpi_name != nullptr ? module->dlpi_name : "";
    bool isFirst = true;
    for (std::size_t index = 0; index < module->dlpi_phnum; ++index) {
        const auto& header = module->dlpi_phdr[index];
        if (header.p_type != PT_LOAD)
            continue;
        const std::uintptr_t start = module->dlpi_addr + header.p_vaddr;
        const Segment segment{pageOf(start), pageOf(start + header.p_memsz + pageSize() - 1),
                              isFirst ? target.names.size() : noName};
        // The kernel's own page stands in the list and has no file.
        if (isFirst && segment.begin == ::getauxval(AT_SYSINFO_EHDR))
            return 0;
        ++listing.segmentsNeeded;
        listing.namesNeeded += isFirst ? name.size() + 1 : 0;
        if (listing.fits()) {
            target.segments.push_back(segment);
            if (isFirst)
                target.names.insert(target.names.end(), name.data(), name.data() + name.size() + 1);
        }
        isFirst = false;
    }
    return 0;
}

// Tells whether a name needs nothing more than to be spelled the library's way.
bool isFullName(std::string_view name) {
    return name.substr(0, 1) == "/" && name.find("//") == std::string_view::npos &&
           name.find("/./") == std::string_view::npos &&
           name.find("/../") == std::string_view::npos;
}

// The kernel marks the name of a file that has been removed.
void dropRemovalMark(std::string& name) {
    constexpr std::string_view mark = " (deleted)";
    if (std::string_view(name).ends_with(mark) && ::access(name.c_str(), F_OK) != 0)
        name.resize(name.size() - mark.size());
}

// Goes through the loader's list, which a thread that is ended meanwhile would leave locked.
void iterate(int (*visit)(dl_phdr_info*, std::size_t, void*), void* context) {
    const TerminationShield shield;
    ::dl_iterate_phdr(visit, context);
}

void Modules::refresh() {
    LoaderState present;
    iterate(readState, &present);
    if (present == state && !segments.empty())
        return;
    for (;;) {
        segments.clear();
        names.clear();
        Listing listing{this};
        iterate(add, &listing);
        if (listing.fits())
            break;
        segments.reserve(listing.segmentsNeeded);
        names.reserve(listing.namesNeeded);
    }
    std::sort(segments.begin(), segments.end(),
              [](const Segment& a, const Segment& b) { return a.begin < b.begin; });
    if (std::any_of(segments.begin(), segments.end(),
                    [this](const Segment& segment) { return needsFullName(segment); }))
        nameByMap();
}

const Segment* Modules::at(std::uintptr_t begin) const {
    const auto found = std::lower_bound(
        segments.begin(), segments.end(), begin,
        [](const Segment& s, std::uintptr_t address) { return s.begin < address; });
    return found != segments.end() && found->begin == begin ? &*found : nullptr;
}

// The program has no name in the list.
bool Modules::needsFullName(const Segment& segment) const {
    return segment.name != noName && *nameOf(segment) != '\0' && !isFullName(nameOf(segment));
}

struct FileRelease {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

struct LineRelease {
    void operator()(char* line) const { std::free(line); }
};

// The loader keeps the name that it was given, and the current directory may have changed since.
// The kernel knows the full name: one reading of its map serves all modules.
void Modules::nameByMap() {
    const std::unique_ptr<std::FILE, FileRelease> map(std::fopen("/proc/self/maps", "re"));
    if (map == nullptr)
        return;
    std::unique_ptr<char, LineRelease> line;
    std::size_t capacity = 0;
    for (;;) {
        char* text = line.release();
        const ssize_t length = ::getline(&text, &capacity, map.get());
        line.reset(text);
        if (length <= 0)
            return;
        const auto start = static_cast<std::uintptr_t>(std::strtoull(text, nullptr, 16));
        const Segment* segment = at(start);
        const char* path = std::strchr(text, '/');
        if (segment == nullptr || path == nullptr || !needsFullName(*segment))
            continue;
        std::string name(path, std::strcspn(path, "\n"));
        dropRemovalMark(name);
        segments[static_cast<std::size_t>(segment - segments.data())].name = names.size();
        names.insert(names.end(), name.c_str(), name.c_str() + name.size() + 1);
    }
}

std::string programName() {
    char target[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", target, sizeof target);
    if (length <= 0) {
        const auto started = ::getauxval(AT_EXECFN);
        return started != 0 ? reinterpret_cast<const char*>(started) : "";
    }
    std::string name(target, static_cast<std::size_t>(length));
    dropRemovalMark(name);
    return name;
}

// Set when the thread has given up its list; what still asks then makes one for each question.
constinit thread_local bool isListGone = false;

struct KeptModules {
    Modules modules;

    ~KeptModules() { isListGone = true; }
};

// The list of the calling thread as it is now; the given one serves a thread that has none any
// more.
Modules& presentModules(Modules& spare) {
    Modules* modules = &spare;
    if (!isListGone) {
        thread_local KeptModules kept;
        modules = &kept.modules;
    }
    modules->refresh();
    return *modules;
}

std::string fullName(const char* loaderName) {
    return libraryName(*loaderName == '\0' ? programName() : std::string(loaderName));
}

}  // namespace

std::size_t VirtualQuery(const void* address, MEMORY_BASIC_INFORMATION* information,
                         std::size_t size) {
    const auto asked = reinterpret_cast<std::uintptr_t>(address);
    if (asked >= endOfAddresses || size < sizeof *information)
        return failWith(ERROR_INVALID_PARAMETER);
    const std::uintptr_t page = pageOf(asked);
    Modules spare;
    const auto& segments = presentModules(spare).all();
    const auto next =
        std::upper_bound(segments.begin(), segments.end(), page,
                         [](std::uintptr_t begin, const Segment& s) { return begin < s.begin; });
    std::uintptr_t end = next == segments.end() ? endOfAddresses : next->begin;
    if (next != segments.begin() && std::prev(next)->end > page)
        end = std::min(end, std::prev(next)->end);
    *information = {reinterpret_cast<void*>(page), end - page};
    return sizeof *information;
}

DWORD GetModuleFileNameA(HMODULE module, char* name, DWORD size) {
    Modules spare;
    const Modules& modules = presentModules(spare);
    const Segment* segment = modules.at(reinterpret_cast<std::uintptr_t>(module));
    if (module != nullptr && (segment == nullptr || segment->name == noName))
        return failWith(ERROR_MOD_NOT_FOUND);
    const std::string full = fullName(module == nullptr ? "" : modules.nameOf(*segment));
    if (full.size() < size) {
        std::memcpy(name, full.c_str(), full.size() + 1);
        return static_cast<DWORD>(full.size());
    }
    if (size > 0) {
        std::memcpy(name, full.data(), size - 1);
        name[size - 1] = '\0';
    }
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
}

}  // namespace Sorvex::platform
