// The inventory of a directory tree.
#include <algorithm>
#include <iostream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <utility>

#include "inventory.h"

namespace inventory {

namespace {

using namespace Sorvex;

constexpr unsigned long readOnlyAttribute = 0x1;
constexpr unsigned long hiddenAttribute = 0x2;
constexpr unsigned long linkAttribute = 0x400;
constexpr unsigned long profileBatch = 16;
constexpr unsigned long progressInterval = 200;
constexpr std::size_t extensionsShown = 8;

// What the scanning thread shares with the one that shows the progress.
struct Progress {
    BMutex mutex;
    EventSemaphore done;
    unsigned files = 0;
    bool finished = false;
    std::string failure;
};

class Scan : public BThreadFn {
public:
    Scan(Tree& found, Progress& shared, std::string start, const char* profile)
        : tree(found), progress(shared), directory(std::move(start)), profileFile(profile) {}

    // No exception may leave a thread, so a failure is handed over as its text.
    void run() override {
        std::string failure;
        try {
            scan(directory);
        } catch (const std::exception& raised) {
            failure = raised.what();
        }
        {
            const BMutexLock lock(progress.mutex);
            progress.finished = true;
            progress.failure = failure;
        }
        progress.done.post();
    }

private:
    void scan(const std::string& name) {
        std::vector<std::string> folders;
        const std::size_t place = tree.folders.size();
        tree.folders.push_back({name, 0, 0});
        {
            const Profiler profile(profileFile, profileBatch);
            BPathCursor cursor(name, "*");
            for (cursor.first(); cursor; ++cursor)
                note(cursor, place, folders);
        }
        tree.folders[place].folders = static_cast<unsigned long>(folders.size());
        for (const std::string& folder : folders)
            scan(folder);
    }

    void note(const BPathCursor& cursor, std::size_t place, std::vector<std::string>& folders) {
        const std::string name = cursor.name();
        if (name == "." || name == "..")
            return;
        if (cursor.isDirectory()) {
            folders.push_back(cursor.fullName());
            return;
        }
        ++tree.folders[place].files;
        tree.hidden += cursor.hasAttribute(hiddenAttribute);
        tree.readOnly += cursor.hasAttribute(readOnlyAttribute);
        tree.links += cursor.hasAttribute(linkAttribute);
        tree.files.push_back({cursor.fullName(), cursor.size(), cursor.lastWriteTime()});
        const BMutexLock lock(progress.mutex);
        ++progress.files;
    }

    Tree& tree;
    Progress& progress;
    std::string directory;
    const char* profileFile;
};

void showExtensions(const std::vector<Entry>& files) {
    std::map<std::string, unsigned> counts;
    for (const Entry& file : files)
        ++counts[BPath::extension(file.name.c_str())];
    std::vector<std::pair<std::string, unsigned>> sorted(counts.begin(), counts.end());
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto& left, const auto& right) {
        return left.second > right.second;
    });
    sorted.resize(std::min(extensionsShown, sorted.size()));
    for (const auto& [extension, count] : sorted)
        std::cout << "  " << BString(extension.empty() ? "(none)" : extension).leftJustify(12, ' ')
                  << BString(count).rightJustify(8, ' ') << '\n';
}

}  // namespace

Tree scanTree(MessageFile& texts, const std::string& directory, const char* profileFile,
              bool showProgress) {
    std::cout << '\n' << texts.text("TREE", BPath::fullName(directory.c_str()).c_str()) << '\n';
    if (!BPath(directory).hasAttribute(BPath::directory))
        throw std::runtime_error(directory + " is no directory");
    Tree tree;
    Progress progress;
    BThread thread(new Scan(tree, progress, directory, profileFile), 0);
    for (bool finished = false; !finished;) {
        progress.done.wait(progressInterval);
        const BMutexLock lock(progress.mutex);
        finished = progress.finished;
        if (showProgress)
            std::cout << '\r' << texts.text("PROGRESS", progress.files) << std::flush;
    }
    thread.wait(0xFFFFFFFF);
    if (showProgress)
        std::cout << '\n';
    if (!progress.failure.empty())
        throw std::runtime_error(progress.failure);
    return tree;
}

void reportTree(MessageFile& texts, const Tree& tree) {
    double bytes = 0;
    for (const Entry& file : tree.files)
        bytes += static_cast<double>(file.size);
    std::cout << texts.text("FOUND", static_cast<int>(tree.files.size()),
                            static_cast<int>(tree.folders.size()), bytes,
                            static_cast<int>(tree.hidden), static_cast<int>(tree.readOnly),
                            static_cast<int>(tree.links))
              << '\n';
    if (tree.files.empty())
        return;
    const auto largest = std::max_element(
        tree.files.begin(), tree.files.end(),
        [](const Entry& left, const Entry& right) { return left.size < right.size; });
    const auto newest = std::max_element(
        tree.files.begin(), tree.files.end(),
        [](const Entry& left, const Entry& right) { return left.written < right.written; });
    std::cout << texts.text("LARGEST", largest->name.c_str(), static_cast<double>(largest->size))
              << '\n'
              << texts.text("NEWEST", newest->name.c_str(), newest->written.asString().c_str())
              << '\n'
              << texts.text("EXTENSION") << '\n';
    showExtensions(tree.files);
}

void reportProfile(MessageFile& texts, const std::string& profileFile) {
    if (!BFile::canAccess(profileFile.c_str(), BFile::accessRead))
        return;
    std::vector<unsigned long> samples;
    BFile file(profileFile);
    file.open("rb");
    while (!file.isEof()) {
        const BString line = file.getLine();
        if (!line.empty())
            samples.push_back(line.asUnsigned());
    }
    const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
    std::nth_element(samples.begin(), middle, samples.end());
    std::cout << texts.text("PROFILE", static_cast<int>(samples.size()), BString(*middle).c_str())
              << '\n';
}

}  // namespace inventory
