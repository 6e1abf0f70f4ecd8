// The only door to the operating system: the platform's operations, under their own names, in the
// namespace Sorvex::platform. Its constants are written bare.
#pragma once

#ifdef _WIN32
#include "platform/windows/conversions.h"
#include "platform/windows/find.h"
#include "platform/windows/locale.h"
#include "platform/windows/tree.h"
#include "platform/windows/windows.h"
#else
#include "platform/posix/base/errors.h"
#include "platform/posix/base/handles.h"
#include "platform/posix/events/events.h"
#include "platform/posix/files/copy.h"
#include "platform/posix/files/files.h"
#include "platform/posix/files/find.h"
#include "platform/posix/files/host_path.h"
#include "platform/posix/files/paths.h"
#include "platform/posix/files/tree.h"
#include "platform/posix/hostinfo/accounts.h"
#include "platform/posix/hostinfo/modules.h"
#include "platform/posix/hostinfo/version.h"
#include "platform/posix/services/services.h"
#include "platform/posix/strings/conversions.h"
#include "platform/posix/strings/locale.h"
#include "platform/posix/strings/unicode.h"
#include "platform/posix/threads/sync.h"
#include "platform/posix/threads/threads.h"
#include "platform/posix/time/file_times.h"
#include "platform/posix/time/time.h"
#endif
