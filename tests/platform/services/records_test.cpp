// The forms on the disk, and the texts that are taken apart.
#include <set>
#include <utility>

#include <gtest/gtest.h>

#include "platform/posix/services/command_line.h"
#include "platform/posix/services/configuration.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {
namespace {

using Texts = std::vector<std::string>;

TEST(ServiceConfiguration, ReadsBackWhatItWritesAndNothingElse) {
    const auto hashed = [](const std::string& body) {
        const std::string text = "sorvex service 1\n" + body;
        return text + "hash " + asHexadecimal(hashOf(text)) + "\n";
    };
    const std::string numbers = "\nstart 4\nerror 0\ncommand \"C:\\a b\" x\ngroup \naccount \n";
    const std::string whole = hashed("name a%0ab%25\xFF\ndisplay %7f\ntype 4294967295" + numbers +
                                     "depends one\ndepends +two\n");
    EXPECT_EQ(fromText(whole).name, "a\nb%\xFF");
    EXPECT_EQ(toText(fromText(whole)), whole);
    EXPECT_EQ(toText({}).substr(toText({}).find("hash")), "hash 0b4ccdd151648ca6\n");
    for (std::size_t position = 0; position < whole.size(); ++position) {
        std::string damaged = whole;
        damaged[position] = static_cast<char>(damaged[position] ^ 1);
        EXPECT_THROW(fromText(damaged), Refusal) << position;
        EXPECT_THROW(fromText(whole.substr(0, position)), Refusal) << position;
    }
    // The right hash makes nothing right that nobody would write.
    for (const std::string& body :
         {std::string("name a\ndisplay\n"), "name %4\ndisplay \ntype 0" + numbers,
          "name %zz\ndisplay \ntype 0" + numbers, "name \ndisplay \ntype -1" + numbers,
          "name \ndisplay \ntype 4294967296" + numbers,
          "name \ndisplay \ntype 0" + numbers + "depends \n",
          "name \ndisplay \ntype 0" + numbers + "more a\n"})
        EXPECT_THROW(fromText(hashed(body)), Refusal) << body;
}

TEST(ServiceFileKey, IsAFileNameOfItsOwnForEveryName) {
    EXPECT_EQ(fileKey("Clock a.b~c\xC3/"), "clock%20a.b%7ec%c3%2f");
    EXPECT_EQ(fileKey(".."), "%2e.");
    std::set<std::string> keys;
    for (const char* end : {"", ".", "x", "y", "%", "~", "\x01", "\xFF"}) {
        for (const std::size_t length : {1U, 139U, 140U, 141U, 254U, 255U, 256U}) {
            const std::string name = std::string(length, 'n') + end;
            keys.insert(fileKey(name));
            EXPECT_LE(fileKey(name).size(), 140U);
        }
    }
    EXPECT_EQ(keys.size(), 8U * 7U);
    EXPECT_EQ(fileKey(std::string(256, 'A')), fileKey(std::string(256, 'a')));
}

TEST(ServiceCommandLine, SplitsArgumentsAsTheRuntimeDoes) {
    const std::pair<const char*, Texts> cases[] = {{"", {}},
                                                   {"  a\t b ", {"a", "b"}},
                                                   {"\"a b\" c", {"a b", "c"}},
                                                   {"\"\" x", {"", "x"}},
                                                   {"a\"b c\"d", {"ab cd"}},
                                                   {"\"a\"\"b\" c", {"a\"b", "c"}},
                                                   {"a\\b c\\\\d", {"a\\b", "c\\\\d"}},
                                                   {"\\\"a b", {"\"a", "b"}},
                                                   {"\"a\\\\\" b", {"a\\", "b"}},
                                                   {"\"a\\\\\\\" b", {"a\\\" b"}},
                                                   {"\"open end\\", {"open end\\"}}};
    for (const auto& [text, arguments] : cases)
        EXPECT_EQ(splitArguments(text), arguments) << text;
}

}  // namespace
}  // namespace Sorvex::platform::services
