// Doubles of COM's security and texts, for the table of palvolab.dll.
#pragma once

#include "DoubleTable.h"

namespace PalvoLab
{

void AddComDoubles(DoubleList& list);

// COM was uninitialised for the last time on this process's way: its security may be set anew.
void ForgetComSecurity();

} // namespace PalvoLab
