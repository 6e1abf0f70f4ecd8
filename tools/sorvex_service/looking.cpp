#include <iostream>

#include "sorvex_service/commands.h"
#include "sorvex_service/forms.h"
#include "sorvex_service/graph.h"
#include "sorvex_service/log_file.h"

namespace Sorvex::tools {

namespace {

std::vector<ServiceFacts> everyService() {
    auto all = platform::services::allServices();
    if (!all)
        fail("the services can't be reached", platform::GetLastError());
    return std::move(*all);
}

constexpr std::size_t linesOfStatus = 5;

bool hasRun(const ServiceFacts& service) {
    return service.run.status.dwWin32ExitCode != ERROR_SERVICE_NEVER_STARTED;
}

bool hasEnded(const ServiceFacts& service) {
    return service.run.status.dwCurrentState == SERVICE_STOPPED && hasRun(service);
}

std::string stateOf(const ServiceFacts& service) {
    if (service.isDamaged)
        return "damaged";
    return service.run.isUnderstood ? stateName(service.run.status.dwCurrentState) : "unknown";
}

bool hasProcess(const ServiceFacts& service) {
    return service.run.isActive && service.run.isProcessKnown;
}

std::string exitCodeOf(const ServiceFacts& service) {
    const platform::SERVICE_STATUS& status = service.run.status;
    if (!hasEnded(service))
        return "-";
    if (status.dwWin32ExitCode == ERROR_SERVICE_SPECIFIC_ERROR)
        return std::to_string(status.dwServiceSpecificExitCode) + " (own)";
    return std::to_string(status.dwWin32ExitCode);
}

std::string processOf(const ServiceFacts& service) {
    return hasProcess(service) ? std::to_string(service.run.process.id) : "-";
}

void addTime(JsonObject& object, const char* name, const std::optional<std::time_t>& time) {
    if (time)
        object.text(name, universalTime(*time));
    else
        object.nothing(name);
}

// What both commands tell of a service.
void addFacts(JsonObject& object, const ServiceFacts& service) {
    const platform::services::Configuration& configuration = service.configuration;
    object.text("name", configuration.name)
        .text("displayName", configuration.displayName)
        .text("state", stateOf(service));
    if (hasProcess(service))
        object.number("pid", static_cast<std::uint64_t>(service.run.process.id));
    else
        object.nothing("pid");
    if (service.isDamaged)
        object.nothing("startType");
    else
        object.text("startType", startTypeName(configuration.startType));
    addTime(object, "since", sinceOf(service));
    if (hasEnded(service))
        object.number("exitCode", service.run.status.dwWin32ExitCode)
            .number("specificExitCode", service.run.status.dwServiceSpecificExitCode);
    else
        object.nothing("exitCode").nothing("specificExitCode");
}

struct Relations {
    std::vector<std::string> dependencies;  // each with its state
    std::vector<std::string> dependents;
};

Relations relationsOf(const std::vector<ServiceFacts>& all, const std::string& name,
                      bool withStates) {
    Relations relations;
    const Graph graph(all);
    const auto own = graph.find(name);
    if (!own)
        return relations;
    const auto told = [&](const std::string& text, std::size_t service) {
        return withStates ? text + " (" + stateOf(all[service]) + ")" : text;
    };
    for (const Dependency& dependency : graph.dependenciesOf(*own)) {
        if (!dependency.isGroup && !dependency.members.empty())
            relations.dependencies.push_back(told(dependency.name, dependency.members.front()));
        else
            relations.dependencies.push_back(
                dependency.name +
                (withStates && dependency.members.empty() ? " (does not exist)" : ""));
    }
    for (const std::size_t dependent : graph.dependentsOf(*own))
        relations.dependents.push_back(told(all[dependent].configuration.name, dependent));
    return relations;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string line;
    for (const std::string& text : texts)
        line += (line.empty() ? "" : ", ") + text;
    return line.empty() ? "-" : line;
}

std::string controlNames(DWORD accepted) {
    std::vector<std::string> names;
    for (const auto& [bit, name] : {std::pair(SERVICE_ACCEPT_STOP, "stop"),
                                    std::pair(SERVICE_ACCEPT_PAUSE_CONTINUE, "pause and continue"),
                                    std::pair(SERVICE_ACCEPT_SHUTDOWN, "shutdown"),
                                    std::pair(SERVICE_ACCEPT_PARAMCHANGE, "parameters changed"),
                                    std::pair(SERVICE_ACCEPT_NETBINDCHANGE, "bindings changed")})
        if ((accepted & bit) != 0)
            names.emplace_back(name);
    return joined(names);
}

void tellJson(const std::vector<ServiceFacts>& all, const ServiceFacts& service) {
    const platform::services::Configuration& configuration = service.configuration;
    const platform::SERVICE_STATUS& state = service.run.status;
    const Relations relations = relationsOf(all, configuration.name, false);
    JsonObject object;
    addFacts(object, service);
    object.text("command", configuration.commandLine)
        .text("type", serviceTypeName(configuration.type))
        .number("errorControl", configuration.errorControl)
        .text("group", configuration.group)
        .text("account", configuration.account)
        .texts("dependencies", relations.dependencies)
        .texts("dependents", relations.dependents)
        .number("controlsAccepted", state.dwControlsAccepted)
        .number("checkPoint", state.dwCheckPoint)
        .number("waitHint", state.dwWaitHint)
        .flag("markedForDeletion", service.isMarked)
        .text("log", service.log);
    std::cout << object.close() << '\n';
}

void tell(const std::vector<ServiceFacts>& all, const ServiceFacts& service) {
    const platform::services::Configuration& configuration = service.configuration;
    const platform::SERVICE_STATUS& state = service.run.status;
    std::vector<std::vector<std::string>> rows;
    const auto row = [&](const char* label, const std::string& value) {
        rows.push_back({std::string("  ") + label, onOneLine(value)});
    };
    row("display name", configuration.displayName);
    row("state", stateOf(service) + (service.isMarked ? ", is removed when it has stopped" : ""));
    if (hasEnded(service)) {
        const std::string reason = endText(state);
        row("ended with", reason.empty() ? "success" : reason);
    } else if (!hasRun(service)) {
        row("ended with", "-, it was not started since the machine was");
    }
    if (const auto since = sinceOf(service))
        row("since", localTime(*since) + ", " + durationText(std::time(nullptr) - *since));
    row("process", processOf(service));
    if (service.run.isActive) {
        if (const auto begin = platform::services::processStart(service.run))
            row("process up", durationText(std::time(nullptr) - *begin));
        row("takes", controlNames(state.dwControlsAccepted));
        row("check point", std::to_string(state.dwCheckPoint));
        row("wait hint", std::to_string(state.dwWaitHint) + " ms");
    }
    row("command", configuration.commandLine);
    row("start type", startTypeName(configuration.startType));
    row("type", serviceTypeName(configuration.type));
    row("group", configuration.group.empty() ? "-" : configuration.group);
    row("account", configuration.account);
    const Relations relations = relationsOf(all, configuration.name, true);
    row("depends on", joined(relations.dependencies));
    row("needed by", joined(relations.dependents));
    row("log", service.log);
    std::cout << onOneLine(configuration.name) << '\n'
              << asTable(rows) << LogPlace(service.log).linesBefore(linesOfStatus);
}

}  // namespace

int list(const Arguments& arguments) {
    const std::vector<ServiceFacts> all = everyService();
    if (arguments.has("--json")) {
        std::string objects;
        for (const ServiceFacts& service : all) {
            JsonObject object;
            addFacts(object, service);
            objects += (objects.empty() ? "\n" : ",\n") + object.close();
        }
        std::cout << "[" << objects << "\n]\n";
        return exitDone;
    }
    std::vector<std::vector<std::string>> rows{
        {"NAME", "STATE", "PID", "START", "SINCE", "EXIT CODE", "DISPLAY NAME"}};
    for (const ServiceFacts& service : all) {
        const auto since = sinceOf(service);
        rows.push_back({onOneLine(service.configuration.name), stateOf(service), processOf(service),
                        service.isDamaged ? "-" : startTypeName(service.configuration.startType),
                        since ? localTime(*since) : "-", exitCodeOf(service),
                        onOneLine(service.configuration.displayName)});
    }
    std::cout << asTable(rows);
    return exitDone;
}

int log(const Arguments& arguments) {
    constexpr unsigned long usualLines = 10;
    constexpr unsigned long mostLines = 1000000;
    const std::string& name = arguments.operand(0);
    const unsigned long lines = arguments.number("--lines", usualLines, mostLines);
    const auto service = platform::services::serviceNamed(name);
    if (!service)
        fail(name, platform::GetLastError());
    LogPlace place(service->log);
    place.showLinesBefore(lines);
    if (arguments.has("--follow"))
        place.follow();
    return exitDone;
}

int status(const Arguments& arguments) {
    const std::string& name = arguments.operand(0);
    const auto service = platform::services::serviceNamed(name);
    if (!service)
        fail(name, platform::GetLastError());
    const std::vector<ServiceFacts> all = everyService();
    if (arguments.has("--json"))
        tellJson(all, *service);
    else
        tell(all, *service);
    return exitDone;
}

}  // namespace Sorvex::tools
