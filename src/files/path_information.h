// What a path keeps of the disk.
#pragma once

#include <sorvex/bpath.h>

#include "platform/platform.h"

namespace Sorvex {

struct BPath::Information {
    platform::StatRecord record;
};

}  // namespace Sorvex
