#include "platform/posix/services/configuration.h"

#include <charconv>
#include <cstring>
#include <utility>

#include <sorvex/service_record.h>

#include "platform/posix/base/percent_encoding.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

constexpr std::string_view heading = "sorvex service 1\n";
constexpr std::string_view hashLabel = "hash ";

std::string escaped(std::string_view text) {
    return percentEncoded(text, [](char character, std::size_t /*place*/) {
        return static_cast<unsigned char>(character) >= ' ' && character != 0x7F &&
               character != '%';
    });
}

std::string unescaped(std::string_view text) {
    auto result = percentDecoded(text);
    if (!result)
        refuse(ERROR_INVALID_DATA);
    return std::move(*result);
}

void appendLine(std::string& text, std::string_view label, std::string_view value) {
    text.append(label).append(" ").append(escaped(value)).append("\n");
}

// Takes labelled lines off the front of a text, in the order in which they were written.
class LineReader {
public:
    explicit LineReader(std::string_view text) : rest(text) {}

    bool isNext(std::string_view label) const noexcept {
        return rest.substr(0, label.size()) == label &&
               rest.substr(label.size(), 1) == std::string_view(" ");
    }

    std::string text(std::string_view label) {
        const std::size_t end = rest.find('\n');
        if (!isNext(label) || end == std::string_view::npos)
            refuse(ERROR_INVALID_DATA);
        const std::string_view value = rest.substr(label.size() + 1, end - label.size() - 1);
        rest.remove_prefix(end + 1);
        return unescaped(value);
    }

    DWORD number(std::string_view label) {
        const std::string digits = text(label);
        DWORD value = 0;
        const char* last = digits.data() + digits.size();
        const auto [end, error] = std::from_chars(digits.data(), last, value);
        if (error != std::errc() || end != last)
            refuse(ERROR_INVALID_DATA);
        return value;
    }

    bool isAtEnd() const noexcept { return rest.empty(); }

private:
    std::string_view rest;
};

// Checks heading and hash, and gives what stands between them.
std::string_view checkedBody(std::string_view text) {
    const std::size_t hashLine = hashLabel.size() + 16 + 1;
    if (text.size() < heading.size() + hashLine || text.substr(0, heading.size()) != heading)
        refuse(ERROR_INVALID_DATA);
    const std::string_view hashed = text.substr(0, text.size() - hashLine);
    const std::string expected = std::string(hashLabel) + asHexadecimal(hashOf(hashed)) + "\n";
    if (text.substr(hashed.size()) != expected)
        refuse(ERROR_INVALID_DATA);
    return hashed.substr(heading.size());
}

}  // namespace

bool Configuration::sharesProcess() const noexcept {
    return (type & SERVICE_WIN32_SHARE_PROCESS) != 0;
}

std::string toText(const Configuration& configuration) {
    std::string text(heading);
    appendLine(text, "name", configuration.name);
    appendLine(text, "display", configuration.displayName);
    appendLine(text, "type", std::to_string(configuration.type));
    appendLine(text, "start", std::to_string(configuration.startType));
    appendLine(text, "error", std::to_string(configuration.errorControl));
    appendLine(text, "command", configuration.commandLine);
    appendLine(text, "group", configuration.group);
    appendLine(text, "account", configuration.account);
    for (const std::string& dependency : configuration.dependencies)
        appendLine(text, "depends", dependency);
    const std::string hash = asHexadecimal(hashOf(text));
    return text.append(hashLabel).append(hash).append("\n");
}

Configuration fromText(std::string_view text) {
    LineReader reader(checkedBody(text));
    Configuration configuration;
    configuration.name = reader.text("name");
    configuration.displayName = reader.text("display");
    configuration.type = reader.number("type");
    configuration.startType = reader.number("start");
    configuration.errorControl = reader.number("error");
    configuration.commandLine = reader.text("command");
    configuration.group = reader.text("group");
    configuration.account = reader.text("account");
    while (reader.isNext("depends")) {
        configuration.dependencies.push_back(reader.text("depends"));
        if (configuration.dependencies.back().empty())
            refuse(ERROR_INVALID_DATA);
    }
    if (!reader.isAtEnd())
        refuse(ERROR_INVALID_DATA);
    return configuration;
}

std::vector<std::string> splitDependencies(const char* list) {
    std::vector<std::string> names;
    for (; list != nullptr && *list != '\0'; list += std::strlen(list) + 1)
        names.emplace_back(list);
    return names;
}

}  // namespace Sorvex::platform::services
