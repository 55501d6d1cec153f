// Doubles of COM's security and texts, for the table of palvolab.dll.
#pragma once

#include "DoubleTable.h"

namespace PalvoLab
{

void AddComDoubles(DoubleList& list);

// To be called before COM is uninitialised for the last time: its security may be set anew after
// that, and no object of the scheduler may live on.
void EndCom();

} // namespace PalvoLab
