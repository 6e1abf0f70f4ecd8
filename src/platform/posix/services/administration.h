// What those who administer services ask, and the platform's operations don't tell.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/services/configuration.h"
#include "platform/posix/services/run_state.h"

namespace Sorvex::platform::services {

/// All that is known of a service.
struct ServiceFacts {
    std::string key;              // what its files are called
    Configuration configuration;  // of a damaged service nothing but the key as its name
    bool isDamaged = false;
    bool isMarked = false;  // it goes when it has stopped and nobody has it open
    Observation run;
    std::string log;  // the full name of the file, whether there is one or not
};

/// The services of the calling user in the order of their keys; nothing, with the last error set,
/// when they can't be reached.
std::optional<std::vector<ServiceFacts>> allServices();

/// The service of a name; nothing, with the last error set, when there is none.
std::optional<ServiceFacts> serviceNamed(const std::string& name);

/// When the process of a service was started, by the clock that tells the time of day; nothing when
/// there is none, or its number means nothing here.
std::optional<std::time_t> processStart(const Observation& service);

/// Sends a signal to the process of a service, and to no later one of the same number.
BOOL signalService(const Observation& service, int signal);

/// Starts a service as StartServiceA does, with the streams of this process.
BOOL startInForeground(const std::string& name, const std::vector<std::string>& arguments);

/// Finds the program that a command line would run.
///
/// @return the error of a start; ERROR_SUCCESS when there is a program that may be run
DWORD checkCommand(const std::string& commandLine);

/// Whether blanks in a command line without quotes leave open where the program's name ends: it is
/// more than the first word, or a longer beginning of the line names a file as well.
bool isAmbiguousCommand(const std::string& commandLine);

}  // namespace Sorvex::platform::services
