#pragma once

#include "WindowsHeaders.h"

#include <winspool.h>

#ifdef __MINGW32__
// mingw-w64 has this function in its import library but not in its header.
extern "C" HRESULT WINAPI InstallPrinterDriverFromPackageW(LPCWSTR server, LPCWSTR infPath,
                                                           LPCWSTR driverName, LPCWSTR environment,
                                                           DWORD flags);
#endif
