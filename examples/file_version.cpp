// Prints the version of Windows images: the fixed numbers and the strings of every language.
#include <algorithm>
#include <cstddef>
#include <iomanip>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <sorvex/bstring.h>
#include <sorvex/hostinfo.h>

namespace {

constexpr const char* usage =
    "Usage: file_version IMAGE...\n"
    "\n"
    "Prints the version resource of each image: the fixed numbers, and in every\n"
    "language that the resource names (and the usual ones) those strings that it\n"
    "holds of the twelve that the platform defines, CompanyName to SpecialBuild.\n"
    "\n"
    "The exit code is 0 when every image had a version, 1 when one had none or could\n"
    "not be read, and 2 for a wrong command line.\n";

constexpr const char* stringNames[] = {"CompanyName",  "FileDescription", "FileVersion",
                                       "InternalName", "LegalCopyright",  "LegalTrademarks",
                                       "ProductName",  "ProductVersion",  "OriginalFilename",
                                       "PrivateBuild", "Comments",        "SpecialBuild"};

void printLine(const std::string& name, const std::string& value) {
    std::cout << "  " << std::left << std::setw(18) << name << value << '\n';
}

// Where the strings of a resource may stand, spelled as in "040904b0": the languages and code pages
// that it names itself, and the usual ones, since some images name others than they have.
std::vector<std::string> languagesOf(Sorvex::VersionInfo& info) {
    std::string translation;
    try {
        translation = info.value("\\VarFileInfo\\Translation");
    } catch (const std::runtime_error&) {
        // It names none.
    }
    const auto byte = [&translation](std::size_t index) {
        return static_cast<unsigned>(static_cast<unsigned char>(translation[index]));
    };
    std::vector<std::string> languages;
    for (std::size_t index = 0; index + 4 <= translation.size(); index += 4)
        languages.push_back(Sorvex::asString("%02x%02x%02x%02x", byte(index + 1), byte(index),
                                             byte(index + 3), byte(index + 2)));
    for (const char* usual : {"000004b0", "040904b0", "040904e4", "080904b0", "080904e4"})
        if (std::find(languages.begin(), languages.end(), usual) == languages.end())
            languages.emplace_back(usual);
    return languages;
}

void printStrings(Sorvex::VersionInfo& info, const std::string& language) {
    bool isFirst = true;
    for (const char* name : stringNames) {
        try {
            const std::string value =
                info.value(("\\StringFileInfo\\" + language + "\\" + name).c_str());
            if (isFirst)
                std::cout << "  strings of " << language << '\n';
            isFirst = false;
            // The terminating NUL is part of a value.
            printLine(name, value.substr(0, value.find('\0')));
        } catch (const std::runtime_error&) {
            // This language has no such string.
        }
    }
}

void printNumbers(const Sorvex::VersionInfo& info) {
    printLine("file version", info.fileVersion() + " (" + std::to_string(info.subBuild()) + ")");
    printLine("product version",
              info.productVersion() + " (" + std::to_string(info.productSubBuild()) + ")");
    printLine("system", Sorvex::asString("0x%x", info.fileOS()));
    printLine("type", Sorvex::asString("0x%x, 0x%x", info.fileType(), info.fileSubType()));
    printLine("flags", Sorvex::asString("0x%x of 0x%x", info.fileFlags(), info.fileFlagsMask()));
}

bool printVersion(const char* name) {
    if (!Sorvex::BPath::exists(name)) {
        std::cerr << "file_version: " << name << ": there is no such file\n";
        return false;
    }
    Sorvex::VersionInfo info(name);
    bool isComplete = true;
    try {
        info.getInfo();
    } catch (const std::runtime_error& failure) {
        // The strings may still be there.
        std::cerr << "file_version: " << failure.what() << '\n';
        isComplete = false;
    }
    if (!info.hasInfo()) {
        std::cerr << "file_version: " << name << ": no version resource can be read\n";
        return false;
    }
    std::cout << name << '\n';
    if (isComplete)
        printNumbers(info);
    for (const std::string& language : languagesOf(info))
        printStrings(info, language);
    return isComplete;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount == 2 && std::string(arguments[1]) == "--help") {
        std::cout << usage;
        return 0;
    }
    if (argumentCount < 2) {
        std::cerr << usage;
        return 2;
    }
    bool isComplete = true;
    for (int index = 1; index < argumentCount; ++index)
        isComplete = printVersion(arguments[index]) && isComplete;
    return isComplete ? 0 : 1;
}
