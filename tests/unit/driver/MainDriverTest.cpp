#include "LegacyPlvException.h"
#include "MainDriverFixture.h"
#include "SpoolerPackages.h"

namespace
{
constexpr wchar_t OptionsKey[] = L"SOFTWARE\\Palvo\\PrinterDriver\\V6.0\\Options";
constexpr wchar_t SwitchName[] = L"InstallAndRunEnhancedAutoConfigScheduledTasks";

class MainDriverTest : public MainDriverFixture
{
protected:
    void SetSwitch(DWORD type, const std::vector<std::uint8_t>& bytes)
    {
        machine.Set(OptionsKey, SwitchName, type, bytes);
        journal.clear();
    }
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

TEST_F(MainDriverTest, BadCommandLinePrintsTheUsageAndIsOne)
{
    EXPECT_EQ(Program({L"-x"}), 1);
    EXPECT_TRUE(journal.back().starts_with(L"out: \nPalvoPrinterConfiguration"));
}

TEST_F(MainDriverTest, NativeImagesOrWarmupAloneStartTheWriterAndAreOne)
{
    for (const wchar_t* argument : {L"-IN", L"-UN", L"-w"})
    {
        journal.clear();
        EXPECT_EQ(Program({argument}), 1);
        EXPECT_EQ(journal.back(), BackgroundWriter(argument, L""));
    }
}

TEST_F(MainDriverTest, WriterThatCannotBeStartedLeavesNoLine)
{
    children.failing.insert(L"CreateProcessW");
    EXPECT_EQ(Program({L"-UN"}), 1);
    EXPECT_EQ(Messages(),
              (std::vector<std::wstring>{
                  L"# Called with 1 argument(s): -UN",
                  L"#\tResolved Args: UninstallNgen, NoWarmup, NoCmdLineOption, "
                  L"NotNewOrChangedEvent, -i ",
                  L"# Will removing NGEN-generated Native Images of the Desktop Orvela and related "
                  L"apps (-UN)",
                  L"# Spawn PalvoPrinterConfigurationWriter in the background with the arg(s): "
                  L"-UN"}));
}

TEST_F(MainDriverTest, WarmupIsDroppedFromTheWriterWithTheRemoval)
{
    EXPECT_EQ(Program({L"-UN", L"-w"}), 1);
    EXPECT_EQ(journal.back(), BackgroundWriter(L"-UN", L""));
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

TEST_F(MainDriverTest, RunWithoutItsOwnPathStartsNothingAndGoesOn)
{
    const Replaced<"KERNEL32", "GetModuleFileNameW", decltype(GetModuleFileNameW)> noPath(
        [](HMODULE, LPWSTR, DWORD) { return 0; });
    EXPECT_EQ(Program({L"-r", L"-IN"}), 0);
    EXPECT_EQ(Program({L"-c", L"-i", L"UserLogonTask"}), 0);
    EXPECT_EQ(Program({L"-w"}), 1);
    EXPECT_EQ(std::count_if(journal.begin(), journal.end(),
                            [](const std::wstring& line) { return line.starts_with(L"start"); }),
              0);
    EXPECT_EQ(Count(L"users' values"), 2);
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

TEST_F(MainDriverTest, ExceptionOutsideTheNewOrChangedModeReachesTheCaller)
{
    children.run = [](const std::wstring&) -> DWORD { throw 1; };
    EXPECT_THROW(Program({L"-r"}), int);
}

TEST_F(MainDriverTest, PositionThatThePreScanCannotStoreReachesTheCaller)
{
    AddEvent(1, L"x");
    using Set = Replaced<"ADVAPI32", "RegSetValueExW", decltype(RegSetValueExW)>;
    const Set set([](HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) -> LSTATUS
                  { return ERROR_ACCESS_DENIED; });
    EXPECT_THROW(Program({L"-c", L"-i", L"NewOrChangedTask"}), ExceptionRegistryRequest);
    EXPECT_EQ(objects.OpenHandles(), 0U);
}
} // namespace
