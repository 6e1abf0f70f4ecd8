#include <cstdlib>

#include "split_name.h"

std::string splitName(const char* name) {
    char drive[_MAX_DRIVE] = "";
    char directory[_MAX_DIR] = "";
    char file[_MAX_FNAME] = "";
    char extension[_MAX_EXT] = "";
    _splitpath(name, drive, directory, file, extension);
    return std::string(file) + '|' + extension;
}
