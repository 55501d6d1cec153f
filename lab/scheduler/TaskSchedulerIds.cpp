// Where the identifiers of Task Scheduler's interfaces are defined, once for each program:
// mingw-w64 has no library of them.
#include "WindowsHeaders.h"

#include <initguid.h>
#include <ole2.h>
#include <taskschd.h>
