// WMI's methods, counted and made to fail.
#pragma once

#include "WindowsHeaders.h"

namespace PalvoLab
{

// From now on the locator (IWbemLocator) and whatever comes of it are watched.
void WatchLocator(void* locator);

// How far a proxy lets its service act for the caller (RPC_C_IMP_LEVEL_*, EOAC_*).
void SetBlanketOf(void* proxy, DWORD impersonation, DWORD capabilities);

} // namespace PalvoLab
