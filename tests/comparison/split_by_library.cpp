#include <sorvex/bpath.h>

#include "split_name.h"

std::string splitName(const char* name) {
    return Sorvex::BPath::fileNameWithoutExtension(name) + '|' + Sorvex::BPath::extension(name);
}
