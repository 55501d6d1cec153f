#include "ProgramRun.h"
#include "ShippedFile.h"

#include <gtest/gtest.h>
#include <wtsapi32.h>

#include <algorithm>

// Which DLLs the program has loaded at its end, mode by mode. Nothing has a double: the siblings
// are missing, and the services are what this machine has.

namespace
{
/// What a program has loaded that imports from the same three DLLs and loads `dlls`.
std::set<std::string> ModulesOfEmptyProgramWith(const std::wstring& dlls)
{
    const ProgramRun run = RunToItsEnd(TestFolder() + L"\\product\\EmptyProgram.exe", dlls);
    EXPECT_EQ(run.exitCode, 0U) << "one of these cannot be loaded: " << dlls;
    return run.modules;
}

/// What the shipped file has loaded in a run that has to end so. Wine 8 unwinds a debug build's C++
/// exception under a debugger until the stack is used up, and gives 0 for that.
std::set<std::string> ModulesOfShippedFile(const std::wstring& arguments, DWORD exitCode)
{
    const ProgramRun run = RunToItsEnd(ShippedFilePath(), arguments);
    if (!PALVO_IS_DEBUG_BUILD)
    {
        EXPECT_EQ(run.exitCode, exitCode) << arguments;
    }
    EXPECT_TRUE(!run.exception || run.exception->isFirstChance) << "nobody took it: " << arguments;
    return run.modules;
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

/// Whether somebody is logged on: nobody is under Wine 8, but one user under Wine 10.
bool IsSomebodyLoggedOn()
{
    WTS_SESSION_INFOW* sessions = nullptr;
    DWORD count = 0;
    if (WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, &sessions, &count) == FALSE)
    {
        return false;
    }
    const bool found =
        std::any_of(sessions, sessions + count,
                    [](const WTS_SESSION_INFOW& session) { return session.State == WTSActive; });
    WTSFreeMemory(sessions);
    return found;
}

struct ModeDlls
{
    const wchar_t* arguments;
    DWORD exitCode;
    /// Loaded beside what the import table names; what these need in turn comes with them.
    const wchar_t* dlls;
    /// Whether the values of a user who is logged on are found out.
    bool asksForUser = false;
};

/// What is loaded for a user's identifiers, of what there is on this machine, and what comes with
/// it.
std::wstring UserDlls()
{
    std::wstring dlls = L" UXTHEME.dll";
    for (const wchar_t* dll :
         {L"SECUR32.dll", L"SSPICLI.dll", L"OLEAUT32.dll", L"CLBCATQ.dll", L"wbemcomn.dll",
          L"wbem\\wbemprox.dll", L"wbem\\wbemsvc.dll", L"wbem\\fastprox.dll", L"CRYPTSP.dll",
          L"CRYPTBASE.dll", L"BCRYPT.dll", L"BCRYPTPRIMITIVES.dll", L"RSAENH.dll"})
    {
        if (GetFileAttributesW((L"C:\\windows\\system32\\" + std::wstring(dll)).c_str()) !=
            INVALID_FILE_ATTRIBUTES)
        {
            dlls += L" " + std::wstring(dll);
        }
    }
    return dlls;
}

// UXTHEME comes with the first window class that a system's DLL registers, TASKSCHD with the task
// scheduler's COM class.
constexpr ModeDlls Modes[] = {
    {L"-?", 1, L"SHELL32.dll OLE32.dll"},
    {L"-x", 1, L"SHELL32.dll OLE32.dll"},
    {L"-DL", 0, L"SHELL32.dll OLE32.dll"},
    {L"-w", 1, L"SHELL32.dll OLE32.dll"},
    {L"-IN", 1, L"SHELL32.dll OLE32.dll"},
    {L"-UN", 1, L"SHELL32.dll OLE32.dll"},
    {L"-APDI -i Driver", 0x8007007F, L"SHELL32.dll OLE32.dll WINSPOOL.DRV UXTHEME.dll"},
    {L"-IT", 1, L"SHELL32.dll OLE32.dll WEVTAPI.dll OLEAUT32.dll TASKSCHD.dll UXTHEME.dll"},
    {L"-UT", 0, L"SHELL32.dll OLE32.dll WEVTAPI.dll OLEAUT32.dll TASKSCHD.dll UXTHEME.dll"},
    {L"-c", 0, L"SHELL32.dll OLE32.dll USERENV.dll WTSAPI32.dll", true},
    {L"-c -i NewOrChangedTask", 0, L"SHELL32.dll OLE32.dll WEVTAPI.dll USERENV.dll WTSAPI32.dll",
     true},
    {L"-c -i UserLogonTask", 0, L"SHELL32.dll OLE32.dll USERENV.dll WTSAPI32.dll", true},
    {L"-r", 0, L"SHELL32.dll OLE32.dll USERENV.dll WTSAPI32.dll", true},
    {L"", 0, L"SHELL32.dll OLE32.dll USERENV.dll WTSAPI32.dll", true},
};

TEST(LoadedDlls, ARunThatIsSwitchedOffLoadsWhatItsImportTableNamesAndNothingElse)
{
    const SwitchedOff off;
    const std::set<std::string> modules = ModulesOfShippedFile(L"-r", 0);
    EXPECT_EQ(modules, ModulesOfEmptyProgramWith(L""));
    for (const char* dll : {"KERNEL32.DLL", "ADVAPI32.DLL", "MSVCRT.DLL"})
    {
        EXPECT_TRUE(modules.contains(dll)) << dll;
    }
}

TEST(LoadedDlls, NothingIsLoadedWhileTheIdentifiersAreComputed)
{
    const std::wstring probe = TestFolder() + L"\\product\\IdentifierProbe.exe";
    const ProgramRun run = RunToItsEnd(probe, L"");
    EXPECT_EQ(run.exitCode, 0U);
    EXPECT_EQ(run.output, "");
    // Without the preparation something is.
    const std::string unprepared = RunToItsEnd(probe, L"unprepared").output;
    for (const char* dll : {"SECUR32.dll\n", "wbemprox.dll\n", "rsaenh.dll\n"})
    {
        EXPECT_NE(unprepared.find(dll), std::string::npos) << dll;
    }
}

TEST(LoadedDlls, NothingIsLoadedWhileUsersAreImpersonatedHoweverMany)
{
    const std::wstring probe = TestFolder() + L"\\product\\IdentifierProbe.exe";
    for (const wchar_t* users : {L"users 1", L"users 2", L"users 5"})
    {
        EXPECT_EQ(RunToItsEnd(probe, users).output, "") << std::wstring(users);
    }
}

TEST(LoadedDlls, NoRunLoadsAWindowSystemOrACryptographicProviderAtItsStart)
{
    const SwitchedOff off;
    for (const std::string& module : ModulesOfShippedFile(L"-r", 0))
    {
        for (const char* unwanted : {"RSAENH", "CRYPT", "BCRYPT", "USER32", "GDI32"})
        {
            EXPECT_FALSE(module.starts_with(unwanted)) << module;
        }
    }
}

TEST(LoadedDlls, EveryModeLoadsWhatItNeedsAndNothingElse)
{
    const bool loggedOn = IsSomebodyLoggedOn();
    for (const ModeDlls& mode : Modes)
    {
        const std::wstring dlls =
            mode.dlls + (loggedOn && mode.asksForUser ? UserDlls() : std::wstring());
        EXPECT_EQ(ModulesOfShippedFile(mode.arguments, mode.exitCode),
                  ModulesOfEmptyProgramWith(dlls))
            << std::wstring(mode.arguments);
    }
}
} // namespace
