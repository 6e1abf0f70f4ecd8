// How a side takes a name apart.
#ifndef SORVEX_TESTS_COMPARISON_SPLIT_NAME_H
#define SORVEX_TESTS_COMPARISON_SPLIT_NAME_H

#include <string>

/// The file part and the extension of a name, with a bar between them.
std::string splitName(const char* name);

#endif
