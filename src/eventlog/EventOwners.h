#pragma once

#include "Owners.h"

#include <winevt.h>

namespace GiveBack
{
inline void Event(EVT_HANDLE handle) noexcept
{
    EvtClose(handle);
}
} // namespace GiveBack

/// Result sets, events, render contexts and channel configurations.
using EventHandle = Owner<NullIsNothing<EVT_HANDLE, &GiveBack::Event>>;
