// A test that works in a directory of its own.
#pragma once

#include <filesystem>
#include <initializer_list>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "support/full_name.h"
#include "support/temporary_directory.h"

namespace Sorvex::testing {

class DirectoryTest : public ::testing::Test {
protected:
    explicit DirectoryTest(
        const std::filesystem::path& parent = std::filesystem::temp_directory_path())
        : directory(parent) {}

    /// The full name of an entry as the library spells it.
    std::string in(const std::string& entry) const { return here + "\\" + entry; }

    std::filesystem::path host(const std::string& entry) const { return directory.path() / entry; }

    /// Makes files that hold their own name; what ends in a slash becomes a directory.
    void build(std::initializer_list<std::filesystem::path> entries) const {
        for (const std::filesystem::path& entry : entries) {
            std::filesystem::create_directories(directory.path() / entry.parent_path());
            if (entry.has_filename())
                directory.file(entry.string(), entry.generic_string());
        }
    }

    /// All that is below an entry, with slashes between the names.
    std::set<std::string> treeOf(const std::string& entry) const {
        std::set<std::string> names;
        for (const auto& found : std::filesystem::recursive_directory_iterator(host(entry)))
            names.insert(found.path().lexically_relative(host(entry)).generic_string());
        return names;
    }

    TemporaryDirectory directory;
    const std::string here = libraryNameOf(directory.path());
};

}  // namespace Sorvex::testing
