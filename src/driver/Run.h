#pragma once

#include "CmdLineOptions.h"
#include "ProgramPaths.h"

#include <string>

class LogFile;

/// What the modes of one run work with. The log outlives the run.
struct Run
{
    LogFile& log;
    CmdLineOptions options;
    std::wstring invoker;
    ProgramPaths paths;
    bool promptOffered = false;
};

/// Offers the debugger prompt, once in a run.
void OfferDebuggerPrompt(Run& run);
