#include "NgenWarmupStep.h"

#include "RunFixture.h"

namespace
{
using Verify = Replaced<"KERNEL32", "VerifyVersionInfoW", decltype(VerifyVersionInfoW)>;

class NgenWarmupStepTest : public RunFixture
{
protected:
    /// True if the debugger prompt was offered.
    bool Step(NgenOptionEnum ngen, WarmupOptionEnum warmup)
    {
        NewRun(CmdLineOptionsEnum::NoCmdLineOption, NewOrChangedEventTypeEnum::NotNewOrChangedEvent,
               L"X");
        run.options.ngen = ngen;
        run.options.warmup = warmup;
        run.promptOffered = false;
        RunNgenWarmupStep(run);
        return run.promptOffered;
    }

    static std::wstring Writer(const std::wstring& arguments)
    {
        return L"start: C:\\P\\PalvoPrinterConfigurationWriter.exe " + arguments +
               L" -i \"PalvoPrinterConfiguration(X PID: 4711)\"";
    }

    bool printServer = false;
    DWORD typeMask = 0;
    WORD suiteMask = 0;
    DWORDLONG condition = 0;
    Verify verify{[this](LPOSVERSIONINFOEXW wanted, DWORD types, DWORDLONG conditions) -> BOOL
                  {
                      typeMask = types;
                      suiteMask = wanted->wSuiteMask;
                      condition = conditions;
                      return printServer;
                  }};
};

TEST_F(NgenWarmupStepTest, NothingAskedForIsSkipped)
{
    EXPECT_FALSE(Step(NgenOptionEnum::NoNgen, WarmupOptionEnum::NoWarmup));
    EXPECT_TRUE(journal.empty());
    EXPECT_EQ(typeMask, 0U);
}

TEST_F(NgenWarmupStepTest, InstallationAndWarmupInOrder)
{
    EXPECT_TRUE(Step(NgenOptionEnum::InstallNgen, WarmupOptionEnum::Warmup));
    EXPECT_EQ(journal,
              (Journal{L"log: # Will execute warmup of the Desktop Orvela (-w)",
                       L"log: # Will execute NGEN of Desktop Orvela and related apps (-IN)",
                       L"log: # Spawn PalvoPrinterConfigurationWriter in the background with the "
                       L"arg(s): -IN -w",
                       Writer(L" -IN -w")}));
}

TEST_F(NgenWarmupStepTest, InstallationAlone)
{
    EXPECT_TRUE(Step(NgenOptionEnum::InstallNgen, WarmupOptionEnum::NoWarmup));
    EXPECT_EQ(journal,
              (Journal{L"log: # Will execute NGEN of Desktop Orvela and related apps (-IN)",
                       L"log: # Spawn PalvoPrinterConfigurationWriter in the background with the "
                       L"arg(s): -IN",
                       Writer(L" -IN")}));
}

TEST_F(NgenWarmupStepTest, RemovalAlone)
{
    EXPECT_TRUE(Step(NgenOptionEnum::UninstallNgen, WarmupOptionEnum::NoWarmup));
    EXPECT_EQ(
        journal,
        (Journal{L"log: # Will removing NGEN-generated Native Images of the Desktop Orvela and "
                 L"related apps (-UN)",
                 L"log: # Spawn PalvoPrinterConfigurationWriter in the background with the "
                 L"arg(s): -UN",
                 Writer(L" -UN")}));
}

TEST_F(NgenWarmupStepTest, WarmupAlone)
{
    EXPECT_TRUE(Step(NgenOptionEnum::NoNgen, WarmupOptionEnum::Warmup));
    EXPECT_EQ(journal, (Journal{L"log: # Will execute warmup of the Desktop Orvela (-w)",
                                L"log: # Spawn PalvoPrinterConfigurationWriter in the background "
                                L"with the arg(s): -w",
                                Writer(L" -w")}));
}

TEST_F(NgenWarmupStepTest, PrintServerIsInstalledForButNotWarmedUp)
{
    printServer = true;
    EXPECT_TRUE(Step(NgenOptionEnum::InstallNgen, WarmupOptionEnum::Warmup));
    EXPECT_EQ(
        journal,
        (Journal{L"log: # Ignoring request to warmup the Desktop Orvela because we are running "
                 L"on a print server",
                 L"log: # Will execute NGEN of Desktop Orvela and related apps (-IN)",
                 L"log: # Spawn PalvoPrinterConfigurationWriter in the background with the "
                 L"arg(s): -IN",
                 Writer(L" -IN")}));
    EXPECT_EQ(run.options.warmup, WarmupOptionEnum::NoWarmup);
}

TEST_F(NgenWarmupStepTest, WarmupAloneOnAPrintServerStartsNothing)
{
    printServer = true;
    EXPECT_FALSE(Step(NgenOptionEnum::NoNgen, WarmupOptionEnum::Warmup));
    EXPECT_EQ(journal,
              Journal{L"log: # Ignoring request to warmup the Desktop Orvela because we are "
                      L"running on a print server"});
}

TEST_F(NgenWarmupStepTest, PrintServerIsASuiteOfSmallBusinessOrEnterprise)
{
    Step(NgenOptionEnum::NoNgen, WarmupOptionEnum::Warmup);
    EXPECT_EQ(typeMask, 0x40U);
    EXPECT_EQ(suiteMask, 3);
    EXPECT_EQ(condition, VerSetConditionMask(0, VER_SUITENAME, VER_OR));
}

TEST_F(NgenWarmupStepTest, PromptComesBeforeTheWriterStarts)
{
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wstring name = program;
    name = name.substr(name.rfind(L'\\') + 1);
    name = name.substr(0, name.rfind(L'.'));
    machine.SetString(L"Software\\Palvo\\PrinterDriver\\V6.0\\PromptToAttachDebugger", name,
                      L"always");
    using Box = Replaced<"USER32", "MessageBoxW", decltype(MessageBoxW)>;
    const Box box(
        [this](HWND, LPCWSTR text, LPCWSTR, UINT)
        {
            journal.push_back(std::wstring(L"box: ") + text);
            return IDOK;
        });
    journal.clear();
    Step(NgenOptionEnum::UninstallNgen, WarmupOptionEnum::NoWarmup);
    EXPECT_EQ(
        journal,
        (Journal{L"log: # Will removing NGEN-generated Native Images of the Desktop Orvela and "
                 L"related apps (-UN)",
                 L"users' values", // the prompt looks for sessions, too
                 L"box: Attach debugger now, if desired.",
                 L"log: # Spawn PalvoPrinterConfigurationWriter in the background with the "
                 L"arg(s): -UN",
                 Writer(L" -UN")}));
}

TEST_F(NgenWarmupStepTest, WriterThatCannotBeStartedIsPassedOverWithoutAWord)
{
    children.failing.insert(L"CreateProcessW");
    EXPECT_TRUE(Step(NgenOptionEnum::InstallNgen, WarmupOptionEnum::NoWarmup));
    EXPECT_EQ(journal,
              (Journal{L"log: # Will execute NGEN of Desktop Orvela and related apps (-IN)",
                       L"log: # Spawn PalvoPrinterConfigurationWriter in the background with the "
                       L"arg(s): -IN",
                       L"cannot start C:\\P\\PalvoPrinterConfigurationWriter.exe  -IN -i "
                       L"\"PalvoPrinterConfiguration(X PID: 4711)\""}));
}
} // namespace
