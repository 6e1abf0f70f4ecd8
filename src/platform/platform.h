// The only door to the operating system: the platform's operations, under their own names, in the
// namespace Sorvex::platform. Its constants are written bare.
#ifndef SORVEX_PLATFORM_PLATFORM_H
#define SORVEX_PLATFORM_PLATFORM_H

#ifdef _WIN32
#include "platform/windows/locale.h"
#include "platform/windows/tree.h"
#include "platform/windows/windows.h"
#else
#include "platform/posix/accounts.h"
#include "platform/posix/copy.h"
#include "platform/posix/counter.h"
#include "platform/posix/errors.h"
#include "platform/posix/events.h"
#include "platform/posix/file_times.h"
#include "platform/posix/files.h"
#include "platform/posix/find.h"
#include "platform/posix/handles.h"
#include "platform/posix/host_path.h"
#include "platform/posix/locale.h"
#include "platform/posix/modules.h"
#include "platform/posix/paths.h"
#include "platform/posix/services.h"
#include "platform/posix/sync.h"
#include "platform/posix/threads.h"
#include "platform/posix/time.h"
#include "platform/posix/tree.h"
#include "platform/posix/unicode.h"
#include "platform/posix/version.h"
#endif

#endif
