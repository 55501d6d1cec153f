// Windows Installer in the lab: the programs that a package starts run in the lab too.
//
// msiexec.exe itself hardly does anything; msi.dll starts the package's programs, so that DLL's
// import is led here. Nothing else of the installer is changed: what it does is Wine's.
#include "DoubleTable.h"

#include "CallRecord.h"
#include "ImportPatch.h"
#include "Launch.h"
#include "NewProcess.h"
#include "Text.h"

#include <vector>

namespace PalvoLab
{
namespace
{

// Of the DLL that this code is in.
std::wstring OwnPath()
{
    HMODULE own = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&OwnPath), &own);
    std::vector<wchar_t> path(32768);
    GetModuleFileNameW(own, path.data(), static_cast<DWORD>(path.size()));
    return path.data();
}

// Windows tells a former package's removal, by this property, that a newer package takes its place.
// Wine starts the removal as a process of its own and does not.
std::wstring AsWindowsStarts(const std::wstring& commandLine)
{
    const bool removes =
        commandLine.starts_with(L"msiexec ") && commandLine.find(L" REMOVE=") != std::wstring::npos;
    return commandLine +
           (removes ? L" UPGRADINGPRODUCTCODE={00000000-0000-0000-0000-000000000000}" : L"");
}

BOOL WINAPI CreateProcessInLab(LPCWSTR application, LPWSTR commandLine,
                               LPSECURITY_ATTRIBUTES processAttributes,
                               LPSECURITY_ATTRIBUTES threadAttributes, BOOL inherit, DWORD flags,
                               LPVOID environment, LPCWSTR directory, LPSTARTUPINFOW startup,
                               LPPROCESS_INFORMATION made)
{
    Call call(L"CreateProcessW", application, static_cast<LPCWSTR>(commandLine), inherit, flags);
    std::wstring line = AsWindowsStarts(commandLine == nullptr ? L"" : commandLine);
    if (!CreateProcessUnderWine(application, line.data(), processAttributes, threadAttributes,
                                inherit, flags | CREATE_SUSPENDED, environment, directory, startup,
                                made))
    {
        return call.Return(FALSE);
    }
    if (!Inject(made->hProcess, OwnPath()))
    {
        const DWORD error = GetLastError();
        TerminateProcess(made->hProcess, error);
        CloseHandle(made->hThread);
        CloseHandle(made->hProcess);
        return call.Fail(error);
    }
    if ((flags & CREATE_SUSPENDED) == 0)
    {
        ResumeThread(made->hThread);
    }
    call.Add(L"pid " + std::to_wstring(made->dwProcessId));
    return call.Return(TRUE);
}

} // namespace

void LeadInstallerIntoLab()
{
    std::vector<wchar_t> path(32768);
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    const std::wstring program = path.data();
    if (!EqualNoCase(program.substr(program.rfind(L'\\') + 1), L"msiexec.exe"))
    {
        return;
    }
    // As long as the process lives.
    static const ImportPatch patch(LoadLibraryW(L"msi.dll"), "KERNEL32", "CreateProcessW",
                                   reinterpret_cast<void*>(&CreateProcessInLab));
    if (!patch.IsApplied())
    {
        RecordCall(L"this Wine's msi.dll starts programs in a way that the lab does not know");
    }
}

} // namespace PalvoLab
