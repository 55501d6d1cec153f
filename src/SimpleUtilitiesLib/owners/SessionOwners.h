#pragma once

#include "Owners.h"

#include <wtsapi32.h>

namespace GiveBack
{
inline void Wts(void* memory) noexcept
{
    WTSFreeMemory(memory);
}
} // namespace GiveBack

/// Memory from Remote Desktop Services (WTSFreeMemory), as `Type` (a pointer).
template <class Type> using WtsMemory = Owner<NullIsNothing<Type, &GiveBack::Wts>>;
