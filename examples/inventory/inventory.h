// What the parts of the inventory program share.
#pragma once

#include <string>
#include <vector>

#include <sorvex/sorvex.h>

namespace inventory {

/// What the command line asks for.
struct Options {
    std::string directory;
    std::string textFile;
    std::string image;
    std::string user;
    bool progress = false;
    bool trace = false;
    bool help = false;
};

/// One file of a tree.
struct Entry {
    std::string name;
    unsigned long size = 0;
    Sorvex::TimeStamp written;
};

/// One directory of a tree and how many files it holds itself.
struct Folder {
    std::string name;
    unsigned long files = 0;
    unsigned long folders = 0;
};

/// What a walk through a tree found.
struct Tree {
    std::vector<Entry> files;
    std::vector<Folder> folders;
    unsigned long hidden = 0;
    unsigned long readOnly = 0;
    unsigned long links = 0;
};

/// Counts lines, words and fields of a text file and shows its most frequent words.
void reportText(Sorvex::MessageFile& texts, const std::string& file);

/// Shows how a failure reads, on a file that does not exist.
void reportMissingFile(Sorvex::MessageFile& texts, const std::string& file);

/// Walks a tree on a thread of its own while this one shows the progress.
Tree scanTree(Sorvex::MessageFile& texts, const std::string& directory, const char* profileFile,
              bool progress);

/// Shows counts, the largest and newest file and the extensions of a tree.
void reportTree(Sorvex::MessageFile& texts, const Tree& tree);

/// Copies a small directory of the tree into a working directory, compares and removes the copy.
void mirrorSubtree(Sorvex::MessageFile& texts, const Tree& tree, const std::string& workDirectory);

/// Stores the tree in a file in the library's binary form and reads it back.
void storeBinary(Sorvex::MessageFile& texts, const Tree& tree, const std::string& workDirectory);

/// Stores a record of this run in memory, reads it back and compares.
void recordRun(Sorvex::MessageFile& texts, const Options& options, const Tree& tree);

/// Shows number and median of the samples in a profile file.
void reportProfile(Sorvex::MessageFile& texts, const std::string& profileFile);

/// Lists the modules loaded into this program.
void reportModules(Sorvex::MessageFile& texts);

/// Lists the groups of a user, as far as the host's group list names them.
void reportUser(Sorvex::MessageFile& texts, const std::string& user);

/// Shows the version resource of an image.
void reportVersion(Sorvex::MessageFile& texts, const std::string& image);

}  // namespace inventory
