// Takes an inventory of a text file, a directory tree and the host: a tour through the library.
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

#include "inventory/inventory.h"

namespace {

using namespace Sorvex;

const char* const usage =
    "usage: inventory [option...] [DIRECTORY]\n"
    "\n"
    "Takes an inventory of DIRECTORY (default: C:\\usr\\include), of a text file and of the host.\n"
    "\n"
    "  --text FILE    the text file to count (default: a licence that every Debian system has)\n"
    "  --image FILE   an image whose version to show\n"
    "  --user NAME    a user whose groups to show\n"
    "  --progress     show progress while the tree is read\n"
    "  --trace        trace the steps on the standard error stream\n"
    "  --help         this text\n";

inventory::Options parse(int count, char** arguments) {
    inventory::Options options;
    options.directory = "C:\\usr\\include";
    options.textFile = "C:\\usr\\share\\common-licenses\\GPL-3";
    const auto valueOf = [&](int& index) -> std::string {
        if (++index == count)
            throw std::runtime_error(std::string(arguments[index - 1]) + " needs a value");
        return arguments[index];
    };
    for (int index = 1; index < count; ++index) {
        const std::string argument = arguments[index];
        if (argument == "--text")
            options.textFile = valueOf(index);
        else if (argument == "--image")
            options.image = valueOf(index);
        else if (argument == "--user")
            options.user = valueOf(index);
        else if (argument == "--progress")
            options.progress = true;
        else if (argument == "--trace")
            options.trace = true;
        else if (argument == "--help")
            options.help = true;
        else if (BString::isLike(argument, "--*"))
            throw std::runtime_error("unknown option " + argument);
        else
            options.directory = argument;
    }
    return options;
}

// A fresh directory beside the program; it goes, with all it holds, when the run ends.
class WorkDirectory {
public:
    explicit WorkDirectory(const std::string& programDirectory)
        : directoryName(BFile::safeFileName(programDirectory + "inventory.work")) {
        BDirectory::create(directoryName.c_str(), true);
    }

    ~WorkDirectory() {
        try {
            BDirectory::remove(directoryName.c_str(), true);
        } catch (std::exception& failure) {
            Sorvex::operator<<(std::cerr, failure);
        }
    }

    WorkDirectory(const WorkDirectory&) = delete;
    WorkDirectory& operator=(const WorkDirectory&) = delete;

    const std::string& name() const { return directoryName; }

private:
    std::string directoryName;
};

// Traces one step when asked to.
std::unique_ptr<BTrace> traced(const inventory::Options& options, const char* step) {
    return options.trace ? std::make_unique<BTrace>(step) : nullptr;
}

void run(const inventory::Options& options, const std::string& programDirectory) {
    const TimeStamp begin;
    MessageFile texts((programDirectory + "inventory.msg").c_str());
    std::cout << texts.text("TITLE", begin.asString("%Y-%m-%d %H:%M:%S").c_str()) << '\n';
    const WorkDirectory work(programDirectory);
    {
        const auto trace = traced(options, "text");
        inventory::reportText(texts, options.textFile);
        inventory::reportMissingFile(texts, work.name() + "\\missing.txt");
    }
    inventory::Tree tree;
    // A profile's name has to stay valid as long as the process lives.
    static const std::string profileFile = work.name() + "\\scan.profile";
    {
        const auto trace = traced(options, "tree");
        tree = inventory::scanTree(texts, options.directory, profileFile.c_str(), options.progress);
        inventory::reportTree(texts, tree);
        inventory::reportProfile(texts, profileFile);
    }
    {
        const auto trace = traced(options, "copies");
        inventory::mirrorSubtree(texts, tree, work.name());
        inventory::storeBinary(texts, tree, work.name());
        inventory::recordRun(texts, options, tree);
    }
    const auto trace = traced(options, "host");
    inventory::reportModules(texts);
    if (!options.user.empty())
        inventory::reportUser(texts, options.user);
    if (!options.image.empty())
        inventory::reportVersion(texts, options.image);
}

}  // namespace

int main(int count, char** arguments) {
    try {
        const inventory::Options options = parse(count, arguments);
        if (options.help) {
            std::cout << usage;
            return EXIT_SUCCESS;
        }
        run(options, BPath::parent(arguments[0]));
        return EXIT_SUCCESS;
    } catch (std::exception& failure) {
        Sorvex::operator<<(std::cerr, failure);
        return EXIT_FAILURE;
    }
}
