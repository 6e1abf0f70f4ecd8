// A mirror of a subtree, and the inventory in the library's binary form.
#include <algorithm>
#include <array>
#include <iostream>
#include <stdexcept>

#include "inventory.h"

namespace inventory {

namespace {

using namespace Sorvex;

constexpr unsigned long mostFilesMirrored = 200;

bool sameContents(const std::string& left, const std::string& right) {
    BFile leftFile(left);
    BFile rightFile(right);
    leftFile.open("rb");
    rightFile.open("rb");
    std::array<char, 4096> leftBlock{};
    std::array<char, 4096> rightBlock{};
    for (;;) {
        const unsigned long read = leftFile.read(leftBlock.data(), leftBlock.size());
        if (rightFile.read(rightBlock.data(), rightBlock.size()) != read ||
            !std::equal(leftBlock.begin(), leftBlock.begin() + static_cast<std::ptrdiff_t>(read),
                        rightBlock.begin()))
            return false;
        if (read < leftBlock.size())
            return true;
    }
}

// A directory that is quickly copied: some files, and no directories.
const Folder* chooseFolder(const Tree& tree) {
    const Folder* chosen = nullptr;
    for (const Folder& folder : tree.folders)
        if (folder.folders == 0 && folder.files > 0 && folder.files <= mostFilesMirrored &&
            (chosen == nullptr || folder.files > chosen->files))
            chosen = &folder;
    return chosen;
}

void writeInventory(BStream& stream, const Tree& tree) {
    stream << static_cast<unsigned long>(tree.files.size());
    for (const Entry& file : tree.files)
        stream << file.name << file.size << file.written;
}

bool readsBackEqual(BStream& stream, const Tree& tree) {
    unsigned long count = 0;
    stream >> count;
    if (count != tree.files.size())
        return false;
    return std::all_of(tree.files.begin(), tree.files.end(), [&stream](const Entry& file) {
        Entry read;
        stream >> read.name >> read.size >> read.written;
        return read.name == file.name && read.size == file.size && read.written == file.written;
    });
}

}  // namespace

void mirrorSubtree(MessageFile& texts, const Tree& tree, const std::string& workDirectory) {
    const Folder* source = chooseFolder(tree);
    if (source == nullptr)
        return;
    std::cout << '\n' << texts.text("MIRROR", source->name.c_str()) << '\n';
    BDirectory mirror((workDirectory + "\\mirror").c_str());
    BDirectory::copy(source->name.c_str(), mirror, false, true);
    int compared = 0;
    int unequal = 0;
    for (BFileCursor cursor(source->name, "*"); cursor; ++cursor, ++compared)
        unequal += !sameContents(cursor.fullName(), mirror.name() + "\\" + cursor.name());
    std::cout << (unequal == 0 ? texts.text("MIRRORED", compared)
                               : texts.text("UNEQUAL", unequal, compared))
              << '\n';
    mirror.remove(true);
    if (!mirror.exists())
        std::cout << texts.text("REMOVED") << '\n';
}

void storeBinary(MessageFile& texts, const Tree& tree, const std::string& workDirectory) {
    BFile file(workDirectory + "\\inventory.bin");
    file.create("wb");
    writeInventory(file, tree);
    file.close().open("rb");
    if (!readsBackEqual(file, tree))
        throw std::runtime_error(texts.text("DAMAGED"));
    std::cout << '\n'
              << texts.text("BINARY", static_cast<int>(tree.files.size()),
                            static_cast<int>(file.size()))
              << '\n';
}

void recordRun(MessageFile& texts, const Options& options, const Tree& tree) {
    const TimeStamp end;
    const auto files = static_cast<unsigned long>(tree.files.size());
    BStreamBuffer record;
    record << end << options.directory << files;
    const auto size = static_cast<int>(record.dataSize());

    TimeStamp readEnd;
    std::string readDirectory;
    unsigned long readFiles = 0;
    record >> readEnd;
    record >> readDirectory >> readFiles;
    if (readEnd != end || readDirectory != options.directory || readFiles != files)
        throw std::runtime_error(texts.text("DAMAGED"));
    std::cout << texts.text("RUN", size) << '\n';
}

}  // namespace inventory
