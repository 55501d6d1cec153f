// The task service, as COM asks for it.
#pragma once

#include "SchedulerResults.h"

namespace PalvoLab
{

// Hands out the asked-for interface of a new service, which is not connected yet. E_NOINTERFACE
// when the service has no such interface.
HRESULT MakeService(REFIID id, void** service);

} // namespace PalvoLab
