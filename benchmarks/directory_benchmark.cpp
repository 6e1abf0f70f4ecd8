// Listings and whole directories beside the standard library, the host's own tree walk, the shell's
// commands, another toolkit and the bare host.
//
// All directories lie in the directory for temporary files, and what is asked is in the host's
// cache. Sizes are arguments: entries of a listing, files of a tree.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <fts.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#ifdef SORVEX_BENCH_POCO
#include <Poco/DirectoryIterator.h>
#include <Poco/File.h>
#endif

#include <sorvex/bdirectory.h>
#include <sorvex/cursors.h>

#include "workplace.h"

namespace {

using namespace benchmark_files;
using Sorvex::BDirectory;
using Sorvex::BDirectoryCursor;
using Sorvex::BFileCursor;
using Sorvex::BPathCursor;

// A directory of so many entries, each tenth of them a directory, each fourth with the
// extension ".txt".
std::string listing(std::int64_t entries) {
    const std::string top = workplace().name("listing" + std::to_string(entries));
    if (!fs::create_directory(top))
        return top;
    for (std::int64_t number = 0; number < entries; ++number) {
        const std::string entry =
            top + "/some entry " + std::to_string(number) + (number % 4 == 0 ? ".txt" : ".data");
        if (number % 10 == 0)
            fs::create_directory(entry);
        else
            std::ofstream(entry) << number;
    }
    return top;
}

// A tree of so many small files, a hundred in each directory, ten directories in each other.
std::string tree(std::int64_t files) {
    const std::string top = workplace().name("tree" + std::to_string(files));
    if (!fs::create_directory(top))
        return top;
    for (std::int64_t number = 0; number < files; number += 100) {
        const std::string place = top + "/part " + std::to_string(number / 1000) + "/folder " +
                                  std::to_string(number / 100);
        fs::create_directories(place);
        for (int file = 0; file < 100; ++file)
            std::ofstream(place + "/file " + std::to_string(file))
                << std::string(static_cast<std::size_t>(file) * 20, 'x');
    }
    return top;
}

// Runs a function that goes once through a listing and returns what it has added up.
template <typename List>
void list(benchmark::State& state, std::uint64_t expected, List through) {
    const std::string directory = listing(state.range(0));
    std::uint64_t found = 0;
    for ([[maybe_unused]] auto _ : state)
        found = through(directory);
    require(expected == 0 || found == expected, "listing");
}

std::uint64_t entriesOf(const benchmark::State& state) {
    return static_cast<std::uint64_t>(state.range(0));
}

template <typename Visit>
void eachOfTheHost(const std::string& directory, Visit visit) {
    DIR* const stream = opendir(directory.c_str());
    while (const dirent* entry = readdir(stream)) {
        const std::string_view name(entry->d_name);
        if (name != "." && name != "..")
            visit(dirfd(stream), *entry);
    }
    closedir(stream);
}

constexpr std::int64_t manyEntries = 50'000;

// Names --------------------------------------------------------------------------------------

void dirNamesSorvex(benchmark::State& state) {
    list(state, entriesOf(state) + 2, [](const std::string& directory) {
        std::uint64_t count = 0;
        BPathCursor entry(directory, "*");
        for (entry.first(); entry; ++entry)
            count += entry.name().empty() ? 0U : 1U;
        return count;
    });
}
BENCHMARK(dirNamesSorvex)->Arg(manyEntries)->Unit(benchmark::kMillisecond);

void dirNamesStd(benchmark::State& state) {
    list(state, entriesOf(state), [](const std::string& directory) {
        std::uint64_t count = 0;
        for (const auto& entry : fs::directory_iterator(directory))
            count += entry.path().filename().string().empty() ? 0U : 1U;
        return count;
    });
}
BENCHMARK(dirNamesStd)->Arg(manyEntries)->Unit(benchmark::kMillisecond);

void dirNamesReaddir(benchmark::State& state) {
    list(state, entriesOf(state), [](const std::string& directory) {
        std::uint64_t count = 0;
        eachOfTheHost(directory, [&](int, const dirent& entry) {
            count += std::string(entry.d_name).empty() ? 0U : 1U;
        });
        return count;
    });
}
BENCHMARK(dirNamesReaddir)->Arg(manyEntries)->Unit(benchmark::kMillisecond);

// Facts --------------------------------------------------------------------------------------

void dirNameSizeTimeSorvex(benchmark::State& state) {
    list(state, 0, [](const std::string& directory) {
        std::uint64_t sum = 0;
        BPathCursor entry(directory, "*");
        for (entry.first(); entry; ++entry)
            sum += entry.name().size() + entry.size() + entry.lastWriteTime().asMilliseconds();
        return sum;
    });
}
BENCHMARK(dirNameSizeTimeSorvex)->Arg(manyEntries)->Unit(benchmark::kMillisecond);

void dirNameSizeTimeStd(benchmark::State& state) {
    list(state, 0, [](const std::string& directory) {
        std::uint64_t sum = 0;
        for (const auto& entry : fs::directory_iterator(directory)) {
            const auto time = entry.last_write_time().time_since_epoch().count();
            sum += entry.path().filename().string().size() + static_cast<std::uint64_t>(time) +
                   (entry.is_regular_file() ? entry.file_size() : 0);
        }
        return sum;
    });
}
BENCHMARK(dirNameSizeTimeStd)->Arg(manyEntries)->Unit(benchmark::kMillisecond);

void dirNameSizeTimeFts(benchmark::State& state) {
    list(state, 0, [](const std::string& directory) {
        std::uint64_t sum = 0;
        std::string top = directory;
        char* const tops[] = {top.data(), nullptr};
        FTS* const walk = fts_open(tops, FTS_PHYSICAL | FTS_NOCHDIR, nullptr);
        while (FTSENT* const entry = fts_read(walk)) {
            if (entry->fts_level != 1 || entry->fts_info == FTS_DP)
                continue;
            sum += std::string(entry->fts_name).size() +
                   static_cast<std::uint64_t>(entry->fts_statp->st_size) +
                   static_cast<std::uint64_t>(entry->fts_statp->st_mtim.tv_sec);
            fts_set(walk, entry, FTS_SKIP);
        }
        fts_close(walk);
        return sum;
    });
}
BENCHMARK(dirNameSizeTimeFts)->Arg(manyEntries)->Unit(benchmark::kMillisecond);

void dirNameSizeTimeHost(benchmark::State& state) {
    list(state, 0, [](const std::string& directory) {
        std::uint64_t sum = 0;
        eachOfTheHost(directory, [&](int opened, const dirent& entry) {
            struct statx facts;
            statx(opened, entry.d_name, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &facts);
            sum += std::string(entry.d_name).size() + facts.stx_size +
                   static_cast<std::uint64_t>(facts.stx_mtime.tv_sec);
        });
        return sum;
    });
}
BENCHMARK(dirNameSizeTimeHost)->Arg(manyEntries)->Unit(benchmark::kMillisecond);

// Full names ---------------------------------------------------------------------------------

void dirFullNamesSorvex(benchmark::State& state) {
    list(state, 0, [](const std::string& directory) {
        std::uint64_t sum = 0;
        BPathCursor entry(directory, "*");
        for (entry.first(); entry; ++entry)
            sum += entry.fullName().size();
        return sum;
    });
}
BENCHMARK(dirFullNamesSorvex)->Arg(manyEntries)->Unit(benchmark::kMillisecond);

void dirFullNamesStd(benchmark::State& state) {
    list(state, 0, [](const std::string& directory) {
        std::uint64_t sum = 0;
        for (const auto& entry : fs::directory_iterator(directory))
            sum += fs::absolute(entry.path()).string().size();
        return sum;
    });
}
BENCHMARK(dirFullNamesStd)->Arg(manyEntries)->Unit(benchmark::kMillisecond);

#ifdef SORVEX_BENCH_POCO
void dirFullNamesPoco(benchmark::State& state) {
    list(state, 0, [](const std::string& directory) {
        std::uint64_t sum = 0;
        for (Poco::DirectoryIterator entry(directory), end; entry != end; ++entry)
            sum += entry.path().toString().size();
        return sum;
    });
}
BENCHMARK(dirFullNamesPoco)->Arg(manyEntries)->Unit(benchmark::kMillisecond);
#endif

// A choice of entries ------------------------------------------------------------------------

void dirSubdirsSorvex(benchmark::State& state) {
    list(state, entriesOf(state) / 10, [](const std::string& directory) {
        std::uint64_t count = 0;
        for (BDirectoryCursor entry(directory, "*"); entry; ++entry)
            ++count;
        return count;
    });
}
BENCHMARK(dirSubdirsSorvex)->Arg(manyEntries)->Unit(benchmark::kMillisecond);

void dirSubdirsStd(benchmark::State& state) {
    list(state, entriesOf(state) / 10, [](const std::string& directory) {
        std::uint64_t count = 0;
        for (const auto& entry : fs::directory_iterator(directory))
            count += entry.is_directory() ? 1U : 0U;
        return count;
    });
}
BENCHMARK(dirSubdirsStd)->Arg(manyEntries)->Unit(benchmark::kMillisecond);

void dirPatternSorvex(benchmark::State& state) {
    list(state, entriesOf(state) / 4, [](const std::string& directory) {
        std::uint64_t count = 0;
        BPathCursor entry(directory, "*.txt");
        for (entry.first(); entry; ++entry)
            ++count;
        return count;
    });
}
BENCHMARK(dirPatternSorvex)->Arg(manyEntries)->Unit(benchmark::kMillisecond);

void dirPatternGlob(benchmark::State& state) {
    list(state, entriesOf(state) / 4, [](const std::string& directory) {
        glob_t found{};
        glob((directory + "/*.txt").c_str(), GLOB_NOSORT, nullptr, &found);
        const std::uint64_t count = found.gl_pathc;
        globfree(&found);
        return count;
    });
}
BENCHMARK(dirPatternGlob)->Arg(manyEntries)->Unit(benchmark::kMillisecond);

void dirLookupOneSorvex(benchmark::State& state) {
    list(state, 1, [](const std::string& directory) {
        return BFileCursor(directory, "some entry 7.data").size();
    });
}
BENCHMARK(dirLookupOneSorvex)->Arg(manyEntries)->Unit(benchmark::kMicrosecond);

void dirLookupOneStd(benchmark::State& state) {
    list(state, 1, [](const std::string& directory) {
        return fs::directory_entry(fs::path(directory) / "some entry 7.data").file_size();
    });
}
BENCHMARK(dirLookupOneStd)->Arg(manyEntries)->Unit(benchmark::kMicrosecond);

void dirLookupOneLstat(benchmark::State& state) {
    list(state, 1, [](const std::string& directory) {
        struct stat facts {};
        lstat((directory + "/some entry 7.data").c_str(), &facts);
        return static_cast<std::uint64_t>(facts.st_size);
    });
}
BENCHMARK(dirLookupOneLstat)->Arg(manyEntries)->Unit(benchmark::kMicrosecond);

// Trees --------------------------------------------------------------------------------------

constexpr std::int64_t manyFiles = 20'000;

std::int64_t filesIn(const std::string& top) {
    const fs::recursive_directory_iterator entries(top);
    return std::count_if(begin(entries), end(entries),
                         [](const fs::directory_entry& entry) { return entry.is_regular_file(); });
}

void runCommand(const std::string& command) {
    require(std::system(command.c_str()) == 0, command.c_str());
}

void removeTree(const std::string& top) {
    fs::remove_all(top);
    // What the host has still to write would be charged to whoever is measured next.
    sync();
}

template <typename Copy>
void treeCopy(benchmark::State& state, Copy copy) {
    const std::string source = tree(state.range(0));
    const std::string target = workplace().name("copy");
    for ([[maybe_unused]] auto _ : state) {
        copy(source, target);
        state.PauseTiming();
        require(filesIn(target) == state.range(0), "copy");
        removeTree(target);
        state.ResumeTiming();
    }
}

void treeCopySorvex(benchmark::State& state) {
    treeCopy(state, [](const std::string& source, const std::string& target) {
        BDirectory::copy(source.c_str(), target.c_str(), false, true);
    });
}
void treeCopyStd(benchmark::State& state) {
    treeCopy(state, [](const std::string& source, const std::string& target) {
        fs::copy(source, target, fs::copy_options::recursive);
    });
}
void treeCopyCommand(benchmark::State& state) {
    treeCopy(state, [](const std::string& source, const std::string& target) {
        runCommand("cp -r '" + source + "' '" + target + "'");
    });
}

template <typename Remove>
void treeRemove(benchmark::State& state, Remove remove) {
    const std::string source = tree(state.range(0));
    const std::string top = workplace().name("doomed");
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        fs::copy(source, top, fs::copy_options::recursive);
        sync();
        state.ResumeTiming();
        remove(top);
        state.PauseTiming();
        require(!fs::exists(top), "remove");
        state.ResumeTiming();
    }
}

void treeRemoveSorvex(benchmark::State& state) {
    treeRemove(state, [](const std::string& top) { BDirectory::remove(top.c_str(), true); });
}
void treeRemoveStd(benchmark::State& state) {
    treeRemove(state, [](const std::string& top) { fs::remove_all(top); });
}
void treeRemoveCommand(benchmark::State& state) {
    treeRemove(state, [](const std::string& top) { runCommand("rm -rf '" + top + "'"); });
}

// A repetition takes seconds, so there is no more than one.
void forTrees(benchmark::internal::Benchmark* tree) {
    tree->Arg(manyFiles)
        ->Iterations(2)
        ->Repetitions(1)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
}

BENCHMARK(treeCopySorvex)->Apply(forTrees);
BENCHMARK(treeCopyStd)->Apply(forTrees);
BENCHMARK(treeCopyCommand)->Apply(forTrees);
BENCHMARK(treeRemoveSorvex)->Apply(forTrees);
BENCHMARK(treeRemoveStd)->Apply(forTrees);
BENCHMARK(treeRemoveCommand)->Apply(forTrees);

// Missing parents ----------------------------------------------------------------------------

template <typename Create>
void createParents(benchmark::State& state, Create create) {
    const std::string top = workplace().name("parents");
    const std::string deepest = top + "/a/b/c/d/e/f/g/h/i/j";
    for ([[maybe_unused]] auto _ : state) {
        create(deepest);
        state.PauseTiming();
        require(fs::is_directory(deepest), "create");
        fs::remove_all(top);
        state.ResumeTiming();
    }
}

void createParentsSorvex(benchmark::State& state) {
    createParents(state, [](const std::string& name) { BDirectory::create(name.c_str(), true); });
}
BENCHMARK(createParentsSorvex)->Unit(benchmark::kMicrosecond);

void createParentsStd(benchmark::State& state) {
    createParents(state, [](const std::string& name) { fs::create_directories(name); });
}
BENCHMARK(createParentsStd)->Unit(benchmark::kMicrosecond);

#ifdef SORVEX_BENCH_POCO
void createParentsPoco(benchmark::State& state) {
    createParents(state, [](const std::string& name) { Poco::File(name).createDirectories(); });
}
BENCHMARK(createParentsPoco)->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
