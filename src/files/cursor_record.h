// The record that a cursor keeps of its present entry.
#pragma once

#include <sorvex/cursors.h>

#include "platform/platform.h"

namespace Sorvex {

struct BPathCursor::Record : platform::WIN32_FIND_DATAA {};

}  // namespace Sorvex
