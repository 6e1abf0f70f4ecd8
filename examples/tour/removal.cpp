// The tour's scene on removals: a directory is exchanged for a link to precious files while it is
// being removed.
//   removal SCRATCH_DIRECTORY
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <thread>

#include <sorvex/bdirectory.h>
#include <sorvex/bfile.h>
#include <sorvex/bstring.h>
#include <sorvex/cursors.h>

using namespace Sorvex;

namespace {

void fill(const std::string& directory, int files) {
    BDirectory::create(directory.c_str(), true);
    for (int number = 0; number < files; ++number)
        BFile(directory + asString("\\file%d", number)).create("w") << "precious";
}

int filesIn(const std::string& directory) {
    int files = 0;
    for (BFileCursor file(directory, "*"); file; ++file)
        ++files;
    return files;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2)
        return 2;
    const std::string scratch = arguments[1];
    const std::string precious = scratch + "/precious";
    const std::string victim = scratch + "/victim";
    constexpr int rounds = 200;
    constexpr int files = 20;
    fill(precious, files);
    int refused = 0;
    for (int round = 0; round < rounds; ++round) {
        fill(victim + "/inner", files);
        std::thread attacker([&] {
            std::error_code ignored;
            std::filesystem::rename(victim + "/inner", scratch + "/aside", ignored);
            std::filesystem::create_directory_symlink(precious, victim + "/inner", ignored);
        });
        try {
            // The tour shows the lines from here
            BDirectory::remove(victim.c_str(), true);
            // to here.
        } catch (const std::exception&) {
            ++refused;
        }
        attacker.join();
        std::error_code ignored;
        std::filesystem::remove_all(scratch + "/aside", ignored);
        std::filesystem::remove_all(victim, ignored);
    }
    std::cout << rounds << " removals, " << refused
              << " of them ended where the directory was exchanged (as they should)\n"
              << "the linked directory still holds " << filesIn(precious) << " of " << files
              << " files\n";
    return filesIn(precious) == files ? 0 : 1;
}
