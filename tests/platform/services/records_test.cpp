// The forms on the disk, and the texts that are taken apart.
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/posix/services/command_line.h"
#include "platform/posix/services/configuration.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/refusal.h"
#include "support/temporary_directory.h"

namespace Sorvex::platform::services {
namespace {

using Texts = std::vector<std::string>;

Configuration awkwardConfiguration() {
    Configuration configuration;
    configuration.name = "a name\n\x01with%20 everything\xFF";
    configuration.displayName = " ";
    configuration.type = 0x120;
    configuration.startType = 4;
    configuration.errorControl = 0xFFFFFFFF;
    configuration.commandLine = "\"C:\\with blanks\\a.exe\" -x \"\"";
    configuration.dependencies = {"one", "+group", "depends"};
    return configuration;
}

DWORD errorOfText(const std::string& text) {
    try {
        fromText(text);
    } catch (const Refusal& refusal) {
        return refusal.error;
    }
    return 0;
}

TEST(ServiceConfiguration, ReadsBackWhatItWrites) {
    EXPECT_EQ(fromText(toText(Configuration())), Configuration());
    EXPECT_EQ(fromText(toText(awkwardConfiguration())), awkwardConfiguration());
    EXPECT_EQ(toText(Configuration()),
              "sorvex service 1\nname \ndisplay \ntype 0\nstart 0\nerror 0\ncommand \ngroup \n"
              "account \nhash 0b4ccdd151648ca6\n");
}

TEST(ServiceConfiguration, RefusesEveryDamagedText) {
    const std::string whole = toText(awkwardConfiguration());
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_EQ(errorOfText(whole.substr(0, length)), ERROR_INVALID_DATA) << length;
    for (std::size_t position = 0; position < whole.size(); ++position) {
        std::string damaged = whole;
        damaged[position] = static_cast<char>(damaged[position] ^ 1);
        EXPECT_EQ(errorOfText(damaged), ERROR_INVALID_DATA) << position;
    }
    EXPECT_EQ(errorOfText(whole + "\n"), ERROR_INVALID_DATA);
}

TEST(ServiceConfiguration, RefusesTextsThatNobodyWroteForAllTheirRightHashes) {
    const std::string numbers = "\nstart 0\nerror 0\ncommand \ngroup \naccount \n";
    const std::string end = "\ntype 0" + numbers;
    const Texts bodies = {"",
                          "name a\n",
                          "name a\ndisplay\n",
                          "name %4\ndisplay " + end,
                          "name %zz\ndisplay " + end,
                          "name \ndisplay \ntype -1" + numbers,
                          "name \ndisplay \ntype 4294967296" + numbers,
                          "name \ndisplay " + end + "depends \n",
                          "name \ndisplay " + end + "more a\n"};
    for (const std::string& body : bodies) {
        const std::string hashed = "sorvex service 1\n" + body;
        EXPECT_EQ(errorOfText(hashed + "hash " + asHexadecimal(hashOf(hashed)) + "\n"),
                  ERROR_INVALID_DATA)
            << body;
    }
}

TEST(ServiceFileKey, IsAFileNameOfItsOwnForEveryName) {
    EXPECT_EQ(fileKey("Clock"), "clock");
    EXPECT_EQ(fileKey("a b"), "a%20b");
    EXPECT_EQ(fileKey("."), "%2e");
    EXPECT_EQ(fileKey("a.b~c"), "a.b%7ec");
    EXPECT_EQ(fileKey("\xC3\x84"), "%c3%84");

    std::set<std::string> keys;
    std::size_t names = 0;
    for (const std::string& end : Texts{"", ".", "x", "y", "%", "~", "\x01", "\xFF"}) {
        for (const std::size_t length : {1U, 139U, 140U, 141U, 254U, 255U, 256U}) {
            const std::string key = fileKey(std::string(length, 'n') + end);
            EXPECT_LE(key.size(), 140U);
            EXPECT_EQ(key.find_first_of(std::string("/\0", 2)), std::string::npos);
            keys.insert(key);
            ++names;
        }
    }
    // 140 and "x" and the like make no name twice; 139 "n" and nothing more is one of its own.
    EXPECT_EQ(keys.size(), names);
    EXPECT_EQ(fileKey(std::string(256, 'A')), fileKey(std::string(256, 'a')));
}

TEST(ServiceCommandLine, SplitsArgumentsAsTheRuntimeDoes) {
    const struct {
        const char* text;
        Texts arguments;
    } cases[] = {
        {"", {}},
        {"  a\t b ", {"a", "b"}},
        {"\"a b\" c", {"a b", "c"}},
        {"\"\" x", {"", "x"}},
        {"a\"b c\"d", {"ab cd"}},
        {"a\\b c\\\\d", {"a\\b", "c\\\\d"}},
        {"\\\"a b", {"\"a", "b"}},
        {"\"a\\\\\" b", {"a\\", "b"}},
        {"\"a\\\\\\\" b", {"a\\\" b"}},
        {"\"open end", {"open end"}},
        {"end\\", {"end\\"}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(splitArguments(c.text), c.arguments) << c.text;
}

TEST(ServiceCommandLine, FindsAProgramWithBlanksInItsName) {
    const testing::TemporaryDirectory directory;
    const std::string program = directory.file("my tool");
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    std::string withDrive = "C:" + program;
    for (char& character : withDrive)
        if (character == '/')
            character = '\\';
    for (const std::string& name : {program, "\"" + program + "\"", withDrive}) {
        const Command command = findCommand(name + " -x \"1 2\"");
        EXPECT_EQ(command.program, program);
        ASSERT_EQ(command.arguments.size(), 3U);
        EXPECT_EQ(command.arguments[2], "1 2");
    }
}

}  // namespace
}  // namespace Sorvex::platform::services
