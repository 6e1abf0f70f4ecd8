// Prints what the platform's operations give for some thousand made-up inputs, a line each. Built
// once for each side, so that the layer can be held against an independent runtime.
//   comparison [IMAGE...]   images whose version resources are asked too
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sorvex/sorvex.h>

#include "platform/platform.h"
#include "split_name.h"

namespace {

using namespace Sorvex;

// The same numbers on every side (xorshift, Marsaglia 2003).
class Generator {
public:
    std::uint32_t next() {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state;
    }

    std::uint32_t below(std::size_t limit) { return next() % static_cast<std::uint32_t>(limit); }

    std::string text(const std::string& alphabet, std::size_t longest) {
        std::string result(below(longest + 1), ' ');
        for (char& character : result)
            character = alphabet[below(alphabet.size())];
        return result;
    }

private:
    std::uint32_t state = 2463534242U;
};

void print(const char* topic, const std::string& input, const std::string& result) {
    std::printf("%s [%s] [%s]\n", topic, input.c_str(), result.c_str());
}

void splitNames(Generator& generator) {
    for (int round = 0; round < 1500; ++round) {
        const std::string name = generator.text("ab.:/\\ 1", 14);
        print("splitpath", name, splitName(name.c_str()));
    }
}

void completeNames(Generator& generator) {
    for (int round = 0; round < 1500; ++round) {
        const std::string name = std::string("C:\\") + generator.text("ab../\\", 14);
        char buffer[260];
        const char* result = platform::_fullpath(buffer, name.c_str(), sizeof buffer);
        print("fullpath", name, result == nullptr ? "(none)" : result);
    }
    for (std::size_t length = 250; length < 270; ++length) {
        const std::string name = std::string("C:\\").append(length - 3, 'x');
        char buffer[260];
        const bool fits = platform::_fullpath(buffer, name.c_str(), sizeof buffer) != nullptr;
        print("fullpath", std::to_string(length) + " characters", fits ? "fits" : "(none)");
    }
}

// A directory of known files, named relative to the current one on every side.
class Listing {
public:
    Listing() {
        std::filesystem::create_directory(directory);
        for (const char* name : {"a", "ab", "abc", "a.b", "ab.c", "a.bc", "abc.txt", "b.txt", "b",
                                 "x.y", "readme", "a1.txt", "12", "1.2"})
            std::ofstream(directory / name).put('x');
    }

    ~Listing() { std::filesystem::remove_all(directory); }

    std::string matches(const std::string& pattern) const {
        std::vector<std::string> names;
        BPathCursor cursor(directory.string(), pattern);
        try {
            for (cursor.first(); cursor; ++cursor)
                names.push_back(cursor.name());
        } catch (const std::exception&) {
            return "(failure)";
        }
        std::sort(names.begin(), names.end());
        std::string result;
        for (const std::string& name : names)
            result += name + ' ';
        return result;
    }

private:
    const std::filesystem::path directory = "comparison.listing";
};

void findNames(Generator& generator) {
    const Listing listing;
    for (int round = 0; round < 1500; ++round) {
        std::string pattern = generator.text("aB*?.x", 6);
        if (pattern.empty())
            pattern += '*';
        print("find", pattern, listing.matches(pattern));
    }
}

void convertTimes(Generator& generator) {
    for (int round = 0; round < 1500; ++round) {
        platform::FILETIME time{};
        time.dwLowDateTime = generator.next();
        time.dwHighDateTime = generator.next() >> generator.below(8);
        platform::SYSTEMTIME calendar{};
        const std::string input = asString("%08x%08x", static_cast<unsigned>(time.dwHighDateTime),
                                           static_cast<unsigned>(time.dwLowDateTime));
        if (!platform::FileTimeToSystemTime(&time, &calendar)) {
            print("filetime", input, "(none)");
            continue;
        }
        platform::FILETIME back{};
        platform::SystemTimeToFileTime(&calendar, &back);
        print(
            "filetime", input,
            asString("%d-%d-%d %d %d:%d:%d.%d %08x", calendar.wYear, calendar.wMonth, calendar.wDay,
                     calendar.wDayOfWeek, calendar.wHour, calendar.wMinute, calendar.wSecond,
                     calendar.wMilliseconds, static_cast<unsigned>(back.dwLowDateTime)));
    }
}

void convertNumbers(Generator& generator) {
    for (int round = 0; round < 3000; ++round) {
        const BString text(generator.text("0123456789-+ xafz.e", 14));
        const int base = static_cast<int>(generator.below(36)) + 1;
        print("atol", text, asString("%ld", text.asLong()));
        if (base != 1)
            print("strtoul", text + asString(" base %d", base),
                  asString("%lu", text.asUnsigned(base)));
        print("strtod", text, asString("%.17g", text.asDouble()));
    }
    for (int round = 0; round < 1500; ++round) {
        const double value = static_cast<double>(static_cast<std::int32_t>(generator.next())) /
                             static_cast<double>(1U << generator.below(31));
        print("sprintf", asString("%.17g", value), BString(value));
    }
}

void useEvents(Generator& generator) {
    platform::HANDLE event = platform::CreateEventA(nullptr, TRUE, FALSE, nullptr);
    std::string history;
    for (int round = 0; round < 1500; ++round) {
        const std::uint32_t operation = generator.below(4);
        const bool isDone = operation == 0   ? platform::SetEvent(event) != 0
                            : operation == 1 ? platform::ResetEvent(event) != 0
                            : operation == 2
                                ? platform::PulseEvent(event) != 0
                                : platform::WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
        history += {"srpw"[operation], isDone ? '1' : '0'};
        if (history.size() == 60) {
            print("event", std::to_string(round), history);
            history.clear();
        }
    }
    platform::CloseHandle(event);
}

void nameEvents() {
    for (const std::string& name :
         {std::string("plain"), std::string("with blank"), std::string("a_b"),
          std::string(259, 'e'), std::string(260, 'e')}) {
        std::string results;
        platform::HANDLE events[2];
        platform::SetLastError(0);
        for (platform::HANDLE& event : events) {
            event = platform::CreateEventA(nullptr, TRUE, FALSE, name.c_str());
            results += asString("%d %u ", event != nullptr,
                                static_cast<unsigned>(platform::GetLastError()));
        }
        print("named event", std::to_string(name.size()) + name.substr(0, 12), results);
        for (platform::HANDLE event : events)
            platform::CloseHandle(event);
    }
}

void askVersions(int count, char** images) {
    for (int index = 1; index < count; ++index) {
        VersionInfo version(images[index]);
        version.getInfo();
        const std::string image = BPath::fileName(images[index]);
        print("version", image, version.fileVersion() + ' ' + version.productVersion());
        for (const char* block :
             {"\\", "\\VarFileInfo\\Translation", "\\StringFileInfo\\040904b0\\FileVersion",
              "\\stringfileinfo\\040904B0\\filedescription", "\\StringFileInfo\\040904b0\\Nothing",
              "\\StringFileInfo\\040904b0", "\\StringFileInfo", "", "\\\\", "StringFileInfo"}) {
            std::string result;
            try {
                for (const char byte : version.value(block))
                    result += asString("%02x", static_cast<unsigned char>(byte));
            } catch (const std::exception&) {
                result = "(failure)";
            }
            print("version", image + ' ' + block, result);
        }
    }
}

}  // namespace

int main(int count, char** arguments) {
    Generator generator;
    splitNames(generator);
    completeNames(generator);
    findNames(generator);
    convertTimes(generator);
    convertNumbers(generator);
    useEvents(generator);
    nameEvents();
    askVersions(count, arguments);
    return 0;
}
