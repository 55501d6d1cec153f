// Doubles of COM's security and texts, for the table of palvolab.dll.
#pragma once

#include "DoubleTable.h"

namespace PalvoLab
{

void AddComDoubles(DoubleList& list);

// How far the process lets services act for it that it told nothing else (RPC_C_IMP_LEVEL_*).
DWORD ProcessImpersonationLevel();

// To be called before COM is uninitialised for the last time: its security may be set anew after
// that, and no object of the scheduler may live on.
void EndCom();

} // namespace PalvoLab
