// windows-contract: see docs/contract.md.
#include "List.h"

#include "Text.h"

#include <cstdio>

namespace
{

using namespace PalvoLab;

int RunOne(const std::string& name)
{
    for (const Statement& statement : Statements())
    {
        if (name == statement.name && statement.place != PalvoLab::Place::Lab)
        {
            return Holds(statement) ? 0 : 1;
        }
    }
    std::puts("there is no such statement, or it needs the lab");
    return 1;
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    // A statement that breaks off must not wait for somebody to press a button.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    if (GetModuleHandleW(L"palvolab.dll") != nullptr)
    {
        std::vector<std::string> patterns;
        for (int each = 1; each < count; ++each)
        {
            patterns.push_back(ToLine(arguments[each]));
        }
        return RunInLab(patterns);
    }
    return count == 2 ? RunOne(ToLine(arguments[1])) : RunOnWindows();
}
