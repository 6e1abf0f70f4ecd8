#include "sorvex_service/forms.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace Sorvex::tools {

namespace {

using Name = std::pair<DWORD, const char*>;

constexpr std::array<Name, 7> stateNames{{{SERVICE_STOPPED, "stopped"},
                                          {SERVICE_START_PENDING, "starting"},
                                          {SERVICE_STOP_PENDING, "stopping"},
                                          {SERVICE_RUNNING, "running"},
                                          {SERVICE_CONTINUE_PENDING, "continuing"},
                                          {SERVICE_PAUSE_PENDING, "pausing"},
                                          {SERVICE_PAUSED, "paused"}}};

constexpr std::array<Name, 4> startTypeNames{{{SERVICE_AUTO_START, "automatic"},
                                              {SERVICE_DEMAND_START, "manual"},
                                              {SERVICE_DISABLED, "disabled"},
                                              {SERVICE_AUTO_START, "auto"}}};

constexpr std::array<Name, 2> typeNames{
    {{SERVICE_WIN32_OWN_PROCESS, "own"}, {SERVICE_WIN32_SHARE_PROCESS, "shared"}}};

template <typename Names>
std::string nameOf(const Names& names, DWORD number) {
    for (const Name& name : names)
        if (name.first == number)
            return name.second;
    return std::to_string(number);
}

template <typename Names>
std::optional<DWORD> numberOf(const Names& names, const std::string& text) {
    for (const Name& name : names)
        if (name.second == text)
            return name.first;
    return std::nullopt;
}

std::string timeText(const char* form, const std::tm& parts) {
    char text[64];
    return std::string(text, std::strftime(text, sizeof text, form, &parts));
}

constexpr bool isContinuation(char character) {
    return (static_cast<unsigned char>(character) & 0xC0) == 0x80;
}

// The length of the UTF-8 character that a text begins with; 0 when it begins with none.
std::size_t characterLength(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = lead < 0x80                   ? 1
                               : lead >= 0xC2 && lead < 0xE0 ? 2
                               : lead >= 0xE0 && lead < 0xF0 ? 3
                               : lead >= 0xF0 && lead < 0xF5 ? 4
                                                             : 0;
    if (length == 0 || text.size() < length ||
        !std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length),
                     isContinuation))
        return 0;
    const auto second = length > 1 ? static_cast<unsigned char>(text[1]) : 0;
    // Longer forms than needed, surrogates, and what lies above the last character.
    const bool isInvalid = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                           (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
    return isInvalid ? 0 : length;
}

std::size_t columnsOf(const std::string& text) {
    return text.size() -
           static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isContinuation));
}

}  // namespace

std::string stateName(DWORD state) {
    return nameOf(stateNames, state);
}

std::optional<DWORD> stateNamed(const std::string& name) {
    return numberOf(stateNames, name);
}

std::string startTypeName(DWORD startType) {
    return nameOf(startTypeNames, startType);
}

std::optional<DWORD> startTypeNamed(const std::string& name) {
    return numberOf(startTypeNames, name);
}

std::string serviceTypeName(DWORD type) {
    return nameOf(typeNames, type & ~SERVICE_INTERACTIVE_PROCESS);
}

std::optional<DWORD> serviceTypeNamed(const std::string& name) {
    return numberOf(typeNames, name);
}

std::string endText(const platform::SERVICE_STATUS& status) {
    if (status.dwWin32ExitCode == ERROR_SUCCESS)
        return "";
    if (status.dwWin32ExitCode == ERROR_SERVICE_SPECIFIC_ERROR)
        return "the service's own error " + std::to_string(status.dwServiceSpecificExitCode);
    return errorText(status.dwWin32ExitCode);
}

std::optional<std::time_t> sinceOf(const ServiceFacts& service) {
    constexpr std::uint64_t nanosecondsOfSecond = 1000000000;
    if (service.run.changed == 0)
        return std::nullopt;
    return static_cast<std::time_t>(service.run.changed / nanosecondsOfSecond);
}

std::string localTime(std::time_t time) {
    std::tm parts{};
    localtime_r(&time, &parts);
    return timeText("%Y-%m-%d %H:%M:%S", parts);
}

std::string universalTime(std::time_t time) {
    std::tm parts{};
    gmtime_r(&time, &parts);
    return timeText("%Y-%m-%dT%H:%M:%SZ", parts);
}

std::string durationText(std::time_t seconds) {
    constexpr std::array<std::pair<std::time_t, const char*>, 4> units{
        {{86400, " d"}, {3600, " h"}, {60, " min"}, {1, " s"}}};
    // The greatest unit that it fills, and the next.
    for (std::size_t index = 0; index < units.size(); ++index) {
        const auto [length, name] = units[index];
        if (seconds < length)
            continue;
        std::string text = std::to_string(seconds / length) + name;
        if (index + 1 < units.size()) {
            const auto [nextLength, nextName] = units[index + 1];
            text.append(" ").append(std::to_string(seconds % length / nextLength)).append(nextName);
        }
        return text;
    }
    return "0 s";
}

std::string onOneLine(const std::string& text) {
    std::string line;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= ' ' && byte != 0x7F) {
            line += character;
            continue;
        }
        char form[8];
        std::snprintf(form, sizeof form, "\\x%02X", byte);
        line += form;
    }
    return line;
}

std::string asTable(const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], columnsOf(row[column]));
    }
    std::string table;
    for (const auto& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            table += row[column];
            if (column + 1 < row.size())
                table.append(widths[column] - columnsOf(row[column]) + 2, ' ');
        }
        table += '\n';
    }
    return table;
}

JsonObject& JsonObject::text(const char* name, const std::string& value) {
    return member(name, quotedJson(value));
}

JsonObject& JsonObject::number(const char* name, std::uint64_t value) {
    return member(name, std::to_string(value));
}

JsonObject& JsonObject::flag(const char* name, bool value) {
    return member(name, value ? "true" : "false");
}

JsonObject& JsonObject::nothing(const char* name) {
    return member(name, "null");
}

JsonObject& JsonObject::texts(const char* name, const std::vector<std::string>& values) {
    std::string list;
    for (const std::string& value : values)
        list += (list.empty() ? "" : ", ") + quotedJson(value);
    return member(name, "[" + list + "]");
}

JsonObject& JsonObject::member(const char* name, const std::string& value) {
    members += (members.empty() ? "" : ", ") + quotedJson(name) + ": " + value;
    return *this;
}

std::string quotedJson(const std::string& text) {
    std::string quoted = "\"";
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t length = characterLength(rest);
        const auto byte = static_cast<unsigned char>(rest.front());
        if (length == 0) {
            quoted += "\xEF\xBF\xBD";
        } else if (byte < ' ' || byte == 0x7F) {
            char form[8];
            std::snprintf(form, sizeof form, "\\u%04x", byte);
            quoted += form;
        } else {
            if (byte == '"' || byte == '\\')
                quoted += '\\';
            quoted += rest.substr(0, length);
        }
        rest.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return quoted + '"';
}

}  // namespace Sorvex::tools
