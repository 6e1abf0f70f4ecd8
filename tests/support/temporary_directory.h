// A directory of a test's own.
#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>

namespace Sorvex::testing {

/// A fresh directory that goes, with all its contents, at the end of the scope.
class TemporaryDirectory {
public:
    explicit TemporaryDirectory(
        const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        std::random_device random;
        for (int attempt = 0; attempt < 100; ++attempt) {
            directory = parent / ("sorvex_" + std::to_string(random()) + std::to_string(random()));
            if (std::filesystem::create_directory(directory))
                return;
        }
        throw std::runtime_error("no temporary directory can be made");
    }

    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }

    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return directory; }

    /// The name of an entry of this directory as the host spells it.
    std::string name(const std::string& entry = "") const {
        return (entry.empty() ? directory : directory / entry).string();
    }

    /// Makes a file with these contents and returns its name.
    std::string file(const std::string& entry, const std::string& contents = "") const {
        std::ofstream stream(directory / entry, std::ios::binary);
        stream << contents;
        if (!stream.flush())
            throw std::runtime_error("can't write " + entry);
        return name(entry);
    }

private:
    std::filesystem::path directory;
};

/// All bytes of a file; a failure when it can't be read.
inline std::string contentsOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw std::runtime_error("can't read " + file.string());
    std::ostringstream contents;
    contents << stream.rdbuf();
    return contents.str();
}

}  // namespace Sorvex::testing
