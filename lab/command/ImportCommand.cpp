#include "Command.h"

#include "FaultPlan.h"
#include "ImportPatch.h"
#include "LabState.h"
#include "Owners.h"
#include "Text.h"

namespace PalvoLab
{
namespace
{

// Whether a call can fail at all. What Wine does not have is a function that the lab has.
std::wstring KindOf(const ImportedFunction& import)
{
    const HMODULE dll = LoadLibraryA(import.dll.c_str());
    const auto* address = reinterpret_cast<const void*>(GetProcAddress(dll, import.name.c_str()));
    if (address != nullptr && !IsCode(address))
    {
        return L"variable";
    }
    return StyleOf(import.name) == FailureStyle::CannotFail ? L"cannot fail" : L"can fail";
}

} // namespace

int RunImports(const Arguments& arguments)
{
    if (!arguments.empty())
    {
        return Misused(L"imports");
    }
    // Mapped as a program would be, and never run.
    const HMODULE program =
        LoadLibraryExW((ProgramFolder() + kProgram).c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES);
    if (program == nullptr)
    {
        return Complain(L"the program cannot be loaded: error " + std::to_wstring(GetLastError()));
    }
    for (const ImportedFunction& import : EnumerateImports(program))
    {
        Print(Widen(import.dll) + L"\t" + Widen(import.name) + L"\t" +
              (import.delayed ? L"late" : L"at start") + L"\t" + KindOf(import));
    }
    FreeLibrary(program);
    return kDone;
}

} // namespace PalvoLab
