// The commands of the program.
#pragma once

#include <vector>

#include "sorvex_service/arguments.h"

namespace Sorvex::tools {

struct Command {
    std::string name;
    std::string synopsis;  // what stands behind the name
    std::string summary;   // a line, for the list of all commands
    std::string help;      // the rest of it
    Grammar grammar;
    int (*run)(const Arguments& arguments);
};

// Looking at services.
int list(const Arguments& arguments);
int status(const Arguments& arguments);

// What they were installed with.
int install(const Arguments& arguments);
int configure(const Arguments& arguments);
int removeService(const Arguments& arguments);

// Single services.
int start(const Arguments& arguments);
int stop(const Arguments& arguments);
int restart(const Arguments& arguments);
int pauseService(const Arguments& arguments);
int continueService(const Arguments& arguments);
int sendControl(const Arguments& arguments);
int waitFor(const Arguments& arguments);

int run(const Arguments& arguments);
int log(const Arguments& arguments);

// All of them.
int startAutomaticServices(const Arguments& arguments);
int stopAllServices(const Arguments& arguments);

}  // namespace Sorvex::tools
