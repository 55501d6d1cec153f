// WMI's methods, counted and made to fail.
#pragma once

namespace PalvoLab
{

// From now on the locator (IWbemLocator) and whatever comes of it are watched.
void WatchLocator(void* locator);

} // namespace PalvoLab
