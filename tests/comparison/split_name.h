// How a side takes a name apart.
#pragma once

#include <string>

/// The file part and the extension of a name, with a bar between them.
std::string splitName(const char* name);
