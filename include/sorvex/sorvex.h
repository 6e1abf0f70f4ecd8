// Every public header of the library.
#ifndef SORVEX_SORVEX_H
#define SORVEX_SORVEX_H

#include <sorvex/bdirectory.h>
#include <sorvex/bfile.h>
#include <sorvex/bpath.h>
#include <sorvex/bstream.h>
#include <sorvex/bstring.h>
#include <sorvex/bthread.h>
#include <sorvex/cursors.h>
#include <sorvex/diagnostics.h>
#include <sorvex/hostinfo.h>
#include <sorvex/messagefile.h>
#include <sorvex/services.h>
#include <sorvex/sync.h>
#include <sorvex/timestamp.h>
#include <sorvex/version.h>

#endif
