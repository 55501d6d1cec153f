#include "ProgramRun.h"
#include "ShippedFile.h"

#include <gtest/gtest.h>

// Which DLLs the program has loaded at its end, mode by mode. Nothing has a double: no user is
// logged on, the siblings are missing, and the services are what this machine has.

namespace
{
/// What a program has loaded that imports from the same three DLLs and loads `dlls`.
std::set<std::string> ModulesOfEmptyProgramWith(const std::wstring& dlls)
{
    const ProgramRun run = RunToItsEnd(TestFolder() + L"\\product\\EmptyProgram.exe", dlls);
    EXPECT_EQ(run.exitCode, 0U) << "one of these cannot be loaded: " << dlls;
    return run.modules;
}

std::set<std::string> ModulesOfShippedFile(const std::wstring& arguments)
{
    return RunToItsEnd(ShippedFilePath(), arguments).modules;
}

/// The switch that ends every run on this machine, for as long as the object lives.
class SwitchedOff
{
public:
    SwitchedOff()
    {
        constexpr DWORD Off = 0;
        EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, Key, Value, REG_DWORD, &Off, sizeof Off),
                  ERROR_SUCCESS);
    }
    ~SwitchedOff() { RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, Key, Value); }
    SwitchedOff(const SwitchedOff&) = delete;
    SwitchedOff& operator=(const SwitchedOff&) = delete;

private:
    static constexpr wchar_t Key[] = L"SOFTWARE\\Palvo\\PrinterDriver\\V6.0\\Options";
    static constexpr wchar_t Value[] = L"InstallAndRunEnhancedAutoConfigScheduledTasks";
};

struct ModeDlls
{
    const wchar_t* arguments;
    /// Loaded beside what the import table names; what these need in turn comes with them.
    const wchar_t* dlls;
};

// UXTHEME comes with the first window class that a system's DLL registers, TASKSCHD with the task
// scheduler's COM class.
constexpr ModeDlls Modes[] = {
    {L"-?", L"SHELL32.dll OLE32.dll"},
    {L"-x", L"SHELL32.dll OLE32.dll"},
    {L"-DL", L"SHELL32.dll OLE32.dll"},
    {L"-w", L"SHELL32.dll OLE32.dll"},
    {L"-IN", L"SHELL32.dll OLE32.dll"},
    {L"-UN", L"SHELL32.dll OLE32.dll"},
    {L"-APDI -i Driver", L"SHELL32.dll OLE32.dll WINSPOOL.DRV UXTHEME.dll"},
    {L"-IT", L"SHELL32.dll OLE32.dll WEVTAPI.dll OLEAUT32.dll TASKSCHD.dll UXTHEME.dll"},
    {L"-UT", L"SHELL32.dll OLE32.dll WEVTAPI.dll OLEAUT32.dll TASKSCHD.dll UXTHEME.dll"},
    {L"-c", L"SHELL32.dll OLE32.dll USERENV.dll WTSAPI32.dll"},
    {L"-c -i NewOrChangedTask", L"SHELL32.dll OLE32.dll WEVTAPI.dll USERENV.dll WTSAPI32.dll"},
    {L"-c -i UserLogonTask", L"SHELL32.dll OLE32.dll USERENV.dll WTSAPI32.dll"},
    {L"-r", L"SHELL32.dll OLE32.dll USERENV.dll WTSAPI32.dll"},
    {L"", L"SHELL32.dll OLE32.dll USERENV.dll WTSAPI32.dll"},
};

TEST(LoadedDlls, ARunThatIsSwitchedOffLoadsWhatItsImportTableNamesAndNothingElse)
{
    const SwitchedOff off;
    const std::set<std::string> modules = ModulesOfShippedFile(L"-r");
    EXPECT_EQ(modules, ModulesOfEmptyProgramWith(L""));
    for (const char* dll : {"KERNEL32.DLL", "ADVAPI32.DLL", "MSVCRT.DLL"})
    {
        EXPECT_TRUE(modules.contains(dll)) << dll;
    }
}

TEST(LoadedDlls, EveryModeLoadsWhatItNeedsAndNothingElse)
{
    for (const ModeDlls& mode : Modes)
    {
        EXPECT_EQ(ModulesOfShippedFile(mode.arguments), ModulesOfEmptyProgramWith(mode.dlls))
            << std::wstring(mode.arguments);
    }
}
} // namespace
