// The record that a cursor keeps of its present entry.
#ifndef SORVEX_FILES_CURSOR_RECORD_H
#define SORVEX_FILES_CURSOR_RECORD_H

#include <sorvex/cursors.h>

#include "platform/platform.h"

namespace Sorvex {

struct BPathCursor::Record : platform::WIN32_FIND_DATAA {};

}  // namespace Sorvex

#endif
