// The list of all statements, and how it is run.
#pragma once

#include "Check.h"

#include <string>
#include <vector>

namespace PalvoLab
{

struct Statement
{
    const char* name;
    const char* call;
    Caller caller;
    Place place;
    StatementFunction function;
};

const std::vector<Statement>& Statements();

// Checks one statement here and now, and writes what is wrong. True when it holds.
bool Holds(const Statement& statement);

// Against the doubles: all, or those whose names match one of the patterns. Exit code: 0 when all
// hold.
int RunInLab(const std::vector<std::string>& patterns);

// Those that need no lab against the Windows that this is, each in a process of its own. Exit code:
// 0 when all that could be asked hold.
int RunOnWindows();

} // namespace PalvoLab
