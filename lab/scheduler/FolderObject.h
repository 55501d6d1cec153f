// The scheduler's root folder, the only one that the lab has.
#pragma once

#include "SchedulerResults.h"

namespace PalvoLab
{

// One reference, which is the caller's.
ITaskFolder* MakeRootFolder();

// What Windows says to a folder's path: success for the root, in its spellings.
HRESULT CheckFolderPath(BSTR path);

} // namespace PalvoLab
