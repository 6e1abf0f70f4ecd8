#include <iostream>

#include "sorvex_service/commands.h"
#include "sorvex_service/control.h"

namespace Sorvex::tools {

namespace {

constexpr unsigned long deleteRight = 0x10000;

const char* pointerTo(const std::optional<std::string>& text) {
    return text ? text->c_str() : nullptr;
}

DWORD startTypeOf(const Arguments& arguments, DWORD otherwise) {
    const auto word = arguments.value("--start");
    const auto startType = word ? startTypeNamed(*word) : otherwise;
    if (!startType)
        arguments.refuse("needs auto, manual or disabled behind --start");
    return *startType;
}

DWORD typeOf(const Arguments& arguments, DWORD otherwise) {
    const auto word = arguments.value("--type");
    const auto type = word ? serviceTypeNamed(*word) : otherwise;
    if (!type)
        arguments.refuse("needs own or shared behind --type");
    return *type;
}

// The names between the commas, each with a NUL behind it, and one more at the end.
std::optional<std::string> dependenciesOf(const Arguments& arguments) {
    const auto names = arguments.value("--depends");
    if (!names)
        return std::nullopt;
    std::string list;
    std::size_t begin = 0;
    while (begin < names->size()) {
        const std::size_t end = std::min(names->find(',', begin), names->size());
        if (end == begin)
            arguments.refuse("needs a name on both sides of each comma behind --depends");
        list.append(*names, begin, end - begin).push_back('\0');
        begin = end + 1;
    }
    if (!names->empty() && names->back() == ',')
        arguments.refuse("needs a name on both sides of each comma behind --depends");
    return list + '\0';
}

void warnOfCommand(const std::string& name, const std::string& command) {
    if (platform::services::isAmbiguousCommand(command))
        std::cerr << "sorvex-service: warning: " << name
                  << ": the program's name holds blanks and should stand in double quotes\n";
    if (const DWORD error = platform::services::checkCommand(command); error != ERROR_SUCCESS)
        std::cerr << "sorvex-service: warning: " << name
                  << ": the program can't be run: " << errorText(error) << '\n';
}

}  // namespace

int install(const Arguments& arguments) {
    const std::string& name = arguments.operand(0);
    const auto command = arguments.value("--command");
    if (!command)
        arguments.refuse("needs --command");
    const auto displayName = arguments.value("--display-name");
    const auto group = arguments.value("--group");
    const auto dependencies = dependenciesOf(arguments);
    const DWORD startType = startTypeOf(arguments, SERVICE_DEMAND_START);
    const DWORD type = typeOf(arguments, SERVICE_WIN32_OWN_PROCESS);
    const DWORD error = errorOf([&] {
        BServiceControlManager manager;
        const BServiceControl service(manager, name.c_str(), pointerTo(displayName),
                                      command->c_str(), startType, type, SERVICE_ERROR_NORMAL,
                                      SERVICE_QUERY_STATUS, pointerTo(group),
                                      pointerTo(dependencies), nullptr, nullptr);
    });
    if (error != ERROR_SUCCESS)
        fail(name + " can't be installed", error);
    warnOfCommand(name, *command);
    std::cout << name << " is installed\n";
    return exitDone;
}

int configure(const Arguments& arguments) {
    if (!arguments.hasAny())
        arguments.refuse("needs at least one option");
    const auto command = arguments.value("--command");
    const auto displayName = arguments.value("--display-name");
    const auto group = arguments.value("--group");
    const auto dependencies = dependenciesOf(arguments);
    const DWORD startType = startTypeOf(arguments, SERVICE_NO_CHANGE);
    const DWORD type = typeOf(arguments, SERVICE_NO_CHANGE);
    OpenedService service(arguments.operand(0), SERVICE_CHANGE_CONFIG);
    const DWORD error = errorOf([&] {
        service->changeConfig(pointerTo(displayName), pointerTo(command), startType, type,
                              SERVICE_NO_CHANGE, pointerTo(group), pointerTo(dependencies), nullptr,
                              nullptr);
    });
    if (error != ERROR_SUCCESS)
        fail(service.name() + " can't be configured", error);
    if (command)
        warnOfCommand(service.name(), *command);
    std::cout << service.name() << " is configured\n";
    return exitDone;
}

int removeService(const Arguments& arguments) {
    const std::string& name = arguments.operand(0);
    {
        // Nothing but this right opens a damaged service.
        OpenedService service(name, deleteRight);
        if (const DWORD error = errorOf([&] { service->deleteService(); }); error != ERROR_SUCCESS)
            fail(name + " can't be removed", error);
    }
    const bool remains = platform::services::serviceNamed(name).has_value();
    std::cout << name
              << (remains ? " is removed as soon as it has stopped and nobody has it open\n"
                          : " is removed\n");
    return exitDone;
}

}  // namespace Sorvex::tools
