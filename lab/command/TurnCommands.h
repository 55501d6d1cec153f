// Copies that are held before each call that others can notice, until they are told to go on.
#pragma once

#include "Launch.h"

namespace PalvoLab
{

// The pipe on which the program to be launched will be told; it learns the pipe's name by the
// request.
FileHandle MakeTurnPipe(LaunchRequest& request);

// Takes it over until its end.
void HoldInTurns(FileHandle pipe, Launched copy);

} // namespace PalvoLab
