#include "MainDriver.h"

#include "RunFixture.h"
#include "SpoolerPackages.h"

#include <aclapi.h>
#include <combaseapi.h>
#include <shlobj.h>

#include <cstring>

namespace
{
constexpr wchar_t OptionsKey[] = L"SOFTWARE\\Palvo\\PrinterDriver\\V6.0\\Options";
constexpr wchar_t SwitchName[] = L"InstallAndRunEnhancedAutoConfigScheduledTasks";

/// ProgramData of all tests: the log of a process is built once.
const TemporaryFolder& ProgramData()
{
    static const TemporaryFolder folder;
    return folder;
}

/// Whole runs, from the arguments to the exit code.
class MainDriverTest : public RunFixture
{
protected:
    MainDriverTest()
    {
        DeleteFileW(LogPath().c_str());
        journal.clear();
    }

    static std::wstring LogPath()
    {
        return ProgramData().Of(
            L"Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration\\PalvoOrvela\\"
            L"PalvoPrinterConfiguration.log");
    }

    int Program(std::vector<const wchar_t*> arguments)
    {
        arguments.insert(arguments.begin(), L"PalvoPrinterConfiguration");
        const int count = static_cast<int>(arguments.size());
        arguments.push_back(nullptr);
        return RunProgram(count, arguments.data());
    }

    static std::vector<std::wstring> Messages()
    {
        std::vector<std::wstring> messages;
        for (const std::wstring& line : LinesOf(FileBytes(LogPath())))
        {
            messages.push_back(MessageOf(line));
        }
        return messages;
    }

    void SetSwitch(DWORD type, const std::vector<std::uint8_t>& bytes)
    {
        machine.Set(OptionsKey, SwitchName, type, bytes);
        journal.clear();
    }

    void AskForDebugger() const
    {
        machine.SetString(L"Software\\Palvo\\PrinterDriver\\V6.0\\PromptToAttachDebugger",
                          L"PalvoPrinterConfiguration", L"always");
    }

    std::ptrdiff_t Count(const std::wstring& line) const
    {
        return std::count(journal.begin(), journal.end(), line);
    }

    std::ptrdiff_t Position(const std::wstring& line) const
    {
        return std::find(journal.begin(), journal.end(), line) - journal.begin();
    }

    static constexpr wchar_t Box[] = L"box: Attach debugger now, if desired.";

    Replaced<"KERNEL32", "GetModuleFileNameW", decltype(GetModuleFileNameW)> moduleName{
        [](HMODULE, LPWSTR buffer, DWORD size)
        {
            const std::wstring path = L"C:\\P\\PalvoPrinterConfiguration.exe";
            wcsncpy(buffer, path.c_str(), size);
            return static_cast<DWORD>(path.size());
        }};
    Replaced<"SHELL32", "SHGetKnownFolderPath", decltype(SHGetKnownFolderPath)> knownFolder{
        [this](REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path)
        {
            journal.push_back(L"ProgramData");
            const std::wstring& folderPath = ProgramData().Path();
            const std::size_t size = (folderPath.size() + 1) * sizeof(wchar_t);
            *path = static_cast<wchar_t*>(CoTaskMemAlloc(size));
            std::memcpy(*path, folderPath.c_str(), size);
            return S_OK;
        }};
    Replaced<"USER32", "MessageBoxW", decltype(MessageBoxW)> messageBox{
        [this](HWND, LPCWSTR text, LPCWSTR, UINT)
        {
            journal.push_back(std::wstring(L"box: ") + text);
            return IDOK;
        }};
};

TEST_F(MainDriverTest, SwitchedOffMachineDoesNothing)
{
    SetSwitch(REG_DWORD, {0, 0, 0, 0});
    EXPECT_EQ(Program({L"-c", L"-i", L"NewOrChangedTask"}), 0);
    EXPECT_TRUE(journal.empty());
    EXPECT_TRUE(Messages().empty());
}

TEST_F(MainDriverTest, SwitchIsReadAsA32BitNumberWhateverItsType)
{
    std::vector<std::uint8_t> megabyte(1048576, 0);
    megabyte[4] = 1;
    SetSwitch(REG_BINARY, megabyte);
    EXPECT_EQ(Program({L"-w"}), 0);
    EXPECT_TRUE(journal.empty());
}

TEST_F(MainDriverTest, SwitchThatCannotBeReadCountsAsOn)
{
    EXPECT_EQ(Program({L"-?"}), 1) << "no key";
    SetSwitch(REG_BINARY, {0, 0, 0});
    EXPECT_EQ(Program({L"-?"}), 1) << "too short";
    SetSwitch(REG_DWORD, {});
    EXPECT_EQ(Program({L"-?"}), 1) << "empty";
}

TEST_F(MainDriverTest, SwitchOnLetsTheProgramRun)
{
    SetSwitch(REG_DWORD, {1, 0, 0, 0});
    EXPECT_EQ(Program({L"-?"}), 1);
    SetSwitch(REG_DWORD, {0, 0, 0, 1});
    EXPECT_EQ(Program({L"-?"}), 1);
}

TEST_F(MainDriverTest, StartUpInOrder)
{
    Program({L"-?"}); // the log is there from now on
    journal.clear();
    using Explicit = Replaced<"ADVAPI32", "BuildExplicitAccessWithNameW",
                              decltype(BuildExplicitAccessWithNameW)>;
    const Explicit grant(
        [this](PEXPLICIT_ACCESSW access, LPWSTR trustee, DWORD rights, ACCESS_MODE mode,
               DWORD inheritance)
        {
            journal.push_back(std::wstring(L"grant ") + trustee);
            Explicit::Original(access, trustee, rights, mode, inheritance);
        });
    EXPECT_EQ(Program({L"-?"}), 1);
    ASSERT_EQ(journal.size(), 6U);
    EXPECT_EQ(
        Journal(journal.begin(), journal.end() - 1),
        (Journal{L"ProgramData", L"grant NT AUTHORITY\\LOCAL SERVICE",
                 L"grant NT AUTHORITY\\Authenticated Users",
                 L"log: # Called with 1 argument(s): -?",
                 L"log: #\tResolved Args: NoNgen, NoWarmup, DisplayHelp, NotNewOrChangedEvent, "
                 L"-i "}));
    EXPECT_TRUE(journal[5].starts_with(L"out: \nPalvoPrinterConfiguration"));
}

TEST_F(MainDriverTest, BadCommandLinePrintsTheUsageAndIsOne)
{
    EXPECT_EQ(Program({L"-x"}), 1);
    EXPECT_TRUE(journal.back().starts_with(L"out: \nPalvoPrinterConfiguration"));
}

TEST_F(MainDriverTest, WarmupAloneStartsTheWriterAndIsOne)
{
    EXPECT_EQ(Program({L"-UN"}), 1);
    EXPECT_EQ(journal.back(), L"start: C:\\P\\PalvoPrinterConfigurationWriter.exe  -UN -i "
                              L"\"PalvoPrinterConfiguration(4711)\"");
}

TEST_F(MainDriverTest, WarmupIsDroppedFromTheWriterWithTheRemoval)
{
    EXPECT_EQ(Program({L"-UN", L"-w"}), 1);
    EXPECT_EQ(journal.back(), L"start: C:\\P\\PalvoPrinterConfigurationWriter.exe  -UN -i "
                              L"\"PalvoPrinterConfiguration(4711)\"");
    EXPECT_EQ(Messages()[0], L"ERROR: Can't specify -w with -UN. Ignoring -w.");
}

TEST_F(MainDriverTest, PrinterEventWithoutASupportedPrinterEndsAfterTheScan)
{
    AddEvent(1, L"x");
    AddEvent(2, L"y");
    EXPECT_EQ(Program({L"-c", L"-i", L"NewOrChangedTask"}), 0);
    EXPECT_EQ(Messages().back(), L"- No supported printers need to be processed. Done. Exiting.");
    EXPECT_EQ(Count(L"CreateEventW NormalRequestEvent not signalled"), 0);
}

TEST_F(MainDriverTest, PrinterEventWithASupportedPrinterIsProcessed)
{
    AddSupportedPrinter(L"P");
    AddEvent(1, L"x");
    AddEvent(2, L"P");
    EXPECT_EQ(Program({L"-c", L"-i", L"NewOrChangedTask"}), 0);
    EXPECT_EQ(Count(L"start: C:\\P\\PalvoPrinterQuery.exe -e \"P\""), 1);
    EXPECT_EQ(Count(L"scan"), 2);
    EXPECT_LT(Position(L"ReleaseMutex ScanCheckMutex"),
              Position(L"log: -Processing NewOrChanged event: NewOrChangedTask"));
}

TEST_F(MainDriverTest, LogonIsProcessedWithoutAScan)
{
    EXPECT_EQ(Program({L"-c", L"-i", L"UserLogonTask"}), 0);
    EXPECT_EQ(Count(L"scan"), 0);
    EXPECT_EQ(Count(L"log: # Procesing a special NewOrChanged event."), 1);
}

TEST_F(MainDriverTest, RedundantCopiesAreOne)
{
    objects.mutexWaits = {{L"NewOrChangedInstanceMutex", WAIT_TIMEOUT},
                          {L"RefreshInstanceMutex", WAIT_TIMEOUT}};
    EXPECT_EQ(Program({L"-c"}), 1);
    EXPECT_EQ(Program({L"-r"}), 1);
    EXPECT_EQ(Program({}), 1);
}

TEST_F(MainDriverTest, SchemesDoNotExcludeEachOther)
{
    objects.mutexWaits = {{L"NewOrChangedInstanceMutex", WAIT_TIMEOUT}};
    EXPECT_EQ(Program({L"-r"}), 0);
}

TEST_F(MainDriverTest, RefreshesRun)
{
    EXPECT_EQ(Program({L"-r", L"-i", L"PeriodicRefreshTask"}), 0);
    EXPECT_EQ(Count(L"log: # Processing a periodic refresh event: PeriodicRefreshTask"), 1);
    EXPECT_EQ(Program({}), 0);
    EXPECT_EQ(Count(L"log: # Processing on-demand auto-configuration: "), 1);
}

TEST_F(MainDriverTest, DeletedLogHoldsTheLastLineAlone)
{
    EXPECT_EQ(Program({L"-DL"}), 0);
    EXPECT_EQ(Messages(),
              std::vector<std::wstring>{L"# Invoked to delete log file. Done...exiting."});
}

TEST_F(MainDriverTest, DriverOfTheStoreGivesTheSpoolersResult)
{
    const Replaced<"WINSPOOL.DRV", "InstallPrinterDriverFromPackageW",
                   decltype(InstallPrinterDriverFromPackageW)>
        install([](LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR, DWORD) { return E_ACCESSDENIED; });
    EXPECT_EQ(static_cast<unsigned>(Program({L"-APDI", L"-i", L"D"})), 0x80070005U);
    EXPECT_EQ(Messages().back(),
              L"ERROR: Failed to add driver instance for 'D': HRESULT=0x80070005");
}

TEST_F(MainDriverTest, PromptComesAfterThePreScan)
{
    AskForDebugger();
    AddSupportedPrinter(L"P");
    AddEvent(1, L"x");
    AddEvent(2, L"P");
    journal.clear();
    Program({L"-c", L"-i", L"NewOrChangedTask"});
    EXPECT_EQ(Count(Box), 1);
    EXPECT_GT(Position(Box), Position(L"CloseHandle ScanCheckMutex"));
    EXPECT_LT(Position(Box), Position(L"log: -Processing NewOrChanged event: NewOrChangedTask"));
}

TEST_F(MainDriverTest, PromptIsOfferedOnceThoughTheWriterStartsInTheBackground)
{
    AskForDebugger();
    Program({L"-r", L"-IN"});
    EXPECT_EQ(Count(Box), 1);
    EXPECT_LT(Position(Box), Position(L"log: # Spawn PalvoPrinterConfigurationWriter in the "
                                      L"background with the arg(s): -IN"));
}

TEST_F(MainDriverTest, RunThatThePreScanEndsOffersNoPrompt)
{
    AskForDebugger();
    AddEvent(1, L"x");
    EXPECT_EQ(Program({L"-c", L"-i", L"NewOrChangedTask"}), 0);
    EXPECT_EQ(Count(Box), 0);
}

TEST_F(MainDriverTest, HelpOffersThePromptToo)
{
    AskForDebugger();
    Program({L"-?"});
    EXPECT_EQ(Count(Box), 1);
}

TEST_F(MainDriverTest, ExceptionOutsideTheNewOrChangedModeReachesTheCaller)
{
    children.run = [](const std::wstring&) -> DWORD { throw 1; };
    EXPECT_THROW(Program({L"-r"}), int);
}
} // namespace
