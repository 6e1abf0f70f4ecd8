// What a path keeps of the disk.
#ifndef SORVEX_FILES_PATH_INFORMATION_H
#define SORVEX_FILES_PATH_INFORMATION_H

#include <sorvex/bpath.h>

#include "platform/platform.h"

namespace Sorvex {

struct BPath::Information {
    platform::StatRecord record;
};

}  // namespace Sorvex

#endif
