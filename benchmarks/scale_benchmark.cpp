// Time and memory against size, each beside the one peer that a program would use instead.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <latch>
#include <list>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include <fcntl.h>
#include <semaphore.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef SORVEX_BENCH_ABSL
#include <absl/strings/str_replace.h>
#include <absl/strings/str_split.h>
#endif

#include <sorvex/sorvex.h>

#include "scale.h"
#include "workplace.h"

namespace {

using namespace benchmark_files;
using namespace Sorvex;
using benchmark::State;
using scale::Contender;
using scale::measure;
using scale::sizeOf;

// Texts --------------------------------------------------------------------------------------

constexpr std::size_t wordsInKibibyte = 256;

template <std::uint64_t (*operation)(const std::string&)>
void onText(State& state) {
    std::string text;
    for (std::size_t word = 0; word < sizeOf(state) * wordsInKibibyte; ++word)
        text += word % 4 == 0 ? "fox " : "dog ";
    const std::uint64_t result = operation(text.substr(0, 1024)) * sizeOf(state);
    measure(state, result, [&] { return operation(text); });
}

std::uint64_t changeSorvex(const std::string& text) {
    return BString::change(text, "fox", "hound").size();
}

std::uint64_t parseSorvex(const std::string& text) {
    std::vector<std::string> words;
    return BString(text).parseWords(words, " ", "");
}

#ifdef SORVEX_BENCH_ABSL
std::uint64_t changeAbseil(const std::string& text) {
    return absl::StrReplaceAll(text, {{"fox", "hound"}}).size();
}

std::uint64_t parseAbseil(const std::string& text) {
    const std::vector<std::string> words = absl::StrSplit(text, ' ', absl::SkipEmpty());
    return words.size();
}
#endif

// Streams ------------------------------------------------------------------------------------

std::uint64_t sizeIn(BStreamBuffer& stream) {
    return stream.dataSize();
}

std::uint64_t sizeIn(std::stringstream& stream) {
    return static_cast<std::uint64_t>(stream.tellp());
}

template <typename Stream>
void growth(State& state) {
    const std::uint64_t total = sizeOf(state) * 1024;
    measure(state, total, [total] {
        const char block[64] = "some bytes";
        Stream stream;
        for (std::uint64_t written = 0; written < total; written += sizeof block)
            stream.write(block, sizeof block);
        return sizeIn(stream);
    });
}

// Directories --------------------------------------------------------------------------------

// Empty files: either all in one directory, or ten in each of a chain of directories.
constexpr std::uint64_t filesOfLevel = 10;

template <bool isDeep>
std::string tree(std::uint64_t size) {
    std::string top = workplace().name((isDeep ? "deep" : "flat") + std::to_string(size));
    if (fs::exists(top))
        return top;
    std::string place = top;
    for (std::uint64_t levels = isDeep ? size : 1; levels != 0; --levels, place += "/d") {
        fs::create_directory(place);
        for (std::uint64_t file = isDeep ? filesOfLevel : size; file != 0; --file)
            mknod((place + "/file " + std::to_string(file)).c_str(), S_IFREG | 0600, 0);
    }
    // What the host has still to write would be charged to whoever is measured next.
    if (size > 10'000)
        sync();
    return top;
}

std::uint64_t listSorvex(const std::string& directory) {
    std::uint64_t files = 0;
    BPathCursor entry(directory, "*");
    for (entry.first(); entry; ++entry) {
        const std::string name = entry.name();
        if (!entry.isDirectory())
            files += entry.lastWriteTime().julianDate() != 0 ? 1U : 0U;
        else if (name != "." && name != "..")
            files += listSorvex(entry.fullName());
    }
    return files;
}

std::uint64_t listStd(const std::string& directory) {
    std::uint64_t files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        const std::string name = entry.path().filename().string();
        if (!entry.is_directory() && !name.empty())
            files += entry.last_write_time() != fs::file_time_type{} ? 1U : 0U;
    }
    return files;
}

template <bool isDeep, std::uint64_t (*list)(const std::string&)>
void listing(State& state) {
    const std::string top = tree<isDeep>(sizeOf(state));
    measure(state, sizeOf(state) * (isDeep ? filesOfLevel : 1), [&] { return list(top); });
}

void removeSorvex(const std::string& top) {
    BDirectory::remove(top.c_str(), true);
}

void removeStd(const std::string& top) {
    fs::remove_all(top);
}

template <bool isDeep, void (*remove)(const std::string&)>
void removal(State& state) {
    std::string top;
    measure(
        state, 0,
        [&] {
            remove(top);
            return fs::exists(top) ? 1U : 0U;
        },
        [&] { top = tree<isDeep>(sizeOf(state)); });
}

// Named events -------------------------------------------------------------------------------

struct SorvexFlag {
    EventSemaphore event;
    explicit SorvexFlag(const std::string& name) : event(name.c_str()) {}
    void post() { event.post(); }
    void take() { event.wait(0).reset(); }
};

struct HostFlag {
    std::string name;
    sem_t* semaphore;
    explicit HostFlag(const std::string& base)
        : name('/' + base), semaphore(sem_open(name.c_str(), O_CREAT, 0600, 0)) {}
    ~HostFlag() {
        sem_close(semaphore);
        sem_unlink(name.c_str());
    }
    void post() { sem_post(semaphore); }
    void take() { sem_wait(semaphore); }
};

// Processes in a ring, each of which waits for its flag and posts that of the next one: the time
// is that of one round.
template <typename Flag>
void ring(State& state) {
    const std::uint64_t size = sizeOf(state);
    const auto nameOf = [size, owner = getpid()](std::uint64_t place) {
        return "sorvex_ring_" + std::to_string(owner) + '_' + std::to_string(place % size);
    };
    std::vector<std::unique_ptr<Flag>> flags;
    for (std::uint64_t place = 0; place < size; ++place)
        flags.push_back(std::make_unique<Flag>(nameOf(place)));
    std::vector<pid_t> others;
    for (std::uint64_t place = 1; place < size; ++place) {
        others.push_back(fork());
        if (others.back() != 0)
            continue;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        Flag own(nameOf(place));
        Flag next(nameOf(place + 1));
        for (;;) {
            own.take();
            next.post();
        }
    }
    const auto round = [&flags] {
        flags[1]->post();
        flags[0]->take();
        return std::uint64_t{0};
    };
    round();  // waits until all are there
    measure(state, 0, round);
    for (const pid_t other : others) {
        kill(other, SIGKILL);
        waitpid(other, nullptr, 0);
    }
}

// Threads ------------------------------------------------------------------------------------

class Arrival : public BThreadFn {
public:
    explicit Arrival(std::latch& gate) : all(&gate) {}
    void run() override { all->arrive_and_wait(); }

private:
    std::latch* all;
};

struct SorvexThread {
    BThread thread;
    explicit SorvexThread(std::latch& all) : thread(new Arrival(all), 0) {}
    void join() { thread.wait(0xFFFFFFFF); }
};

struct StdThread {
    std::thread thread;
    explicit StdThread(std::latch& all) : thread([&all] { all.arrive_and_wait(); }) {}
    void join() { thread.join(); }
};

// So many threads at once: the time is that from the first start to the last end.
template <typename Thread>
void threads(State& state) {
    measure(state, sizeOf(state), [&state] {
        std::latch all(state.range(0));
        std::list<Thread> started;
        while (started.size() < sizeOf(state))
            started.emplace_back(all);
        for (Thread& thread : started)
            thread.join();
        return started.size();
    });
}

// Catalogues ---------------------------------------------------------------------------------

std::string keyOf(std::uint64_t number) {
    return "MESSAGE_" + std::to_string(1000000000 + number);
}

std::string catalogueFile(std::uint64_t entries) {
    std::string name = workplace().name("catalogue" + std::to_string(entries));
    if (!fs::exists(name)) {
        std::ofstream stream(name);
        for (std::uint64_t number = 0; number < entries; ++number)
            stream << keyOf(number) << " = Item %s of order %d has not arrived in time\n";
    }
    return name;
}

class StdCatalogue {
public:
    explicit StdCatalogue(const char* file) {
        std::ifstream stream(file);
        for (std::string line; std::getline(stream, line);) {
            const std::size_t separator = line.find(" = ");
            texts[line.substr(0, separator)] = line.substr(separator + 3);
        }
    }

    std::string text(const char* key, const char* item, int order) const {
        char buffer[4096];
        std::snprintf(buffer, sizeof buffer, texts.at(key).c_str(), item, order);
        return buffer;
    }

private:
    std::unordered_map<std::string, std::string> texts;
};

constexpr std::string_view expectedText = "Item bolt of order 42 has not arrived in time";

template <typename Catalogue>
void catalogueRead(State& state) {
    const std::string file = catalogueFile(sizeOf(state));
    const std::string last = keyOf(sizeOf(state) - 1);
    measure(state, expectedText.size(),
            [&] { return Catalogue(file.c_str()).text(last.c_str(), "bolt", 42).size(); });
}

constexpr std::uint64_t lookups = 1000;

// The texts in no order: those of a large catalogue are mostly not in the processor's cache.
template <typename Catalogue>
void catalogueLookup(State& state) {
    Catalogue catalogue(catalogueFile(sizeOf(state)).c_str());
    std::vector<std::string> keys;
    for (std::uint64_t number = 0; number < lookups; ++number)
        keys.push_back(keyOf(number * 2654435761 % sizeOf(state)));
    measure(state, lookups * expectedText.size(), [&] {
        std::uint64_t sum = 0;
        for (const std::string& key : keys)
            sum += catalogue.text(key.c_str(), "bolt", 42).size();
        return sum;
    });
}

// Samples ------------------------------------------------------------------------------------

constexpr unsigned long batch = 1000;

class HandScope {
public:
    explicit HandScope(const std::string& name) : file(name) {}
    ~HandScope() {
        samples.push_back((Clock::now() - start).count());
        if (samples.size() < batch)
            return;
        std::ofstream stream(file, std::ios::app);
        for (const long sample : samples)
            stream << sample << '\n';
        samples.clear();
    }

private:
    using Clock = std::chrono::steady_clock;
    inline static std::vector<long> samples;

    const std::string& file;
    Clock::time_point start = Clock::now();
};

struct SorvexScope : Profiler {
    explicit SorvexScope(const std::string& file) : Profiler(file.c_str(), batch) {}
};

template <typename Scope>
void samples(State& state) {
    static const std::string file = workplace().name("samples");
    measure(
        state, 1,
        [&state] {
            for (std::uint64_t count = sizeOf(state); count != 0; --count)
                const Scope scope(file);
            return sizeOf(state) < batch || fs::exists(file) ? 1U : 0U;
        },
        [] { fs::remove(file); });
}

const scale::Sizes textSizes = {1, 8, 64, 512, 4096, 32768};
const scale::Sizes streamSizes = {1, 8, 64, 512, 4096, 32768, 262144};
const scale::Sizes decades = {10, 100, 1000, 10'000, 100'000, 1'000'000};

// The allocator keeps what is small for the next run; the peers' does so, too.
constexpr const char* freshMemory =
    "from some ten megabytes on all memory comes fresh from the host in each run, and to touch it"
    " first costs as much as the work or more";

void addAll() {
    using scale::add;
    add("TextChange", "KiB", textSizes,
        {{"sorvex", onText<changeSorvex>},
#ifdef SORVEX_BENCH_ABSL
         {"absl", onText<changeAbseil>}
#endif
        },
        freshMemory);
    add("TextWords", "KiB", textSizes,
        {{"sorvex", onText<parseSorvex>},
#ifdef SORVEX_BENCH_ABSL
         {"absl", onText<parseAbseil>}
#endif
        },
        freshMemory);
    add("StreamGrowth", "KiB", streamSizes,
        {{"sorvex", growth<BStreamBuffer>}, {"std_stringstream", growth<std::stringstream>}},
        freshMemory);
    add("ListDirectory", "entries", decades,
        {{"sorvex", listing<false, listSorvex>}, {"std_filesystem", listing<false, listStd>}});
    add("ListDeepTree", "levels", {1, 10, 100},
        {{"sorvex", listing<true, listSorvex>}, {"std_filesystem", listing<true, listStd>}});
    add("RemoveDirectory", "entries", decades,
        {{"sorvex", removal<false, removeSorvex>}, {"std_filesystem", removal<false, removeStd>}});
    add("RemoveDeepTree", "levels", {1, 10, 100},
        {{"sorvex", removal<true, removeSorvex>}, {"std_filesystem", removal<true, removeStd>}});
    add("EventRing", "processes", {2, 4, 8, 16, 32, 64},
        {{"sorvex", ring<SorvexFlag>}, {"sem_open", ring<HostFlag>}},
        "processes that have a processor each wait for a moment without giving it up; of more, the"
        " host lets one run after the other");
    add("ThreadsAtOnce", "threads", {1, 10, 100, 1000},
        {{"sorvex", threads<SorvexThread>}, {"std_thread", threads<StdThread>}},
        "the runtime keeps the stacks of some five ended threads, and maps a new one for each"
        " thread beyond");
    add("CatalogueRead", "texts", decades,
        {{"sorvex", catalogueRead<MessageFile>},
         {"std_unordered_map", catalogueRead<StdCatalogue>}},
        freshMemory);
    add("CatalogueLookups", "texts", decades,
        {{"sorvex", catalogueLookup<MessageFile>},
         {"std_unordered_map", catalogueLookup<StdCatalogue>}},
        "a thousand look-ups a point; the texts stand in order, in a tree that gets deeper and"
        " leaves the processor's caches");
    add("ProfilerSamples", "samples", {1, 10, 100, 1000, 10'000, 100'000, 1'000'000, 10'000'000},
        {{"sorvex", samples<SorvexScope>}, {"std_chrono_ofstream", samples<HandScope>}});
}

}  // namespace

int main(int argc, char** argv) {
    addAll();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
