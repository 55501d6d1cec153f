#include "GlobalObjects.h"
#include "RegistryPaths.h"
#include "ScarceMemory.h"

#include <gtest/gtest.h>

namespace
{
TEST(GlobalObjectNameTest, IsTheNameAfterGlobal)
{
    EXPECT_EQ(MakeGlobalObjectName(L"c:/x"), L"Global\\c:/x");
    EXPECT_EQ(MakeGlobalObjectName(L""), L"Global\\");
}

TEST(GlobalObjectNameTest, IsEmptyWithoutMemoryAndNamesNoMutex)
{
    const ScarceMemory memory;
    ScarceMemory::Allow(0);
    const std::wstring name = MakeGlobalObjectName(GlobalObjects::RefreshInstanceMutex);
    ScarceMemory::End();
    EXPECT_EQ(name, L"");
    EXPECT_FALSE(CreateGlobalMutex(name));
}

TEST(GlobalObjectsTest, NamesAreThoseThatEveryCopyUses)
{
    using namespace GlobalObjects;
    EXPECT_STREQ(ScanCheckMutex, L"{5B1F7C2A-94D3-4E6B-8A0C-3F7E2D9164B8}PPRCFGEVTCHK");
    EXPECT_STREQ(RefreshRequestEvent, L"{0C4E9A57-1D82-4F3B-B6E9-72A5D1C83F06}PalvoOrvela");
    EXPECT_STREQ(RefreshInstanceMutex, L"{D38A6F12-5E47-4C9D-81B2-9F0C6E4A27D5}PalvoOrvela");
    EXPECT_STREQ(NormalRequestEvent, L"{7E29B4C1-A605-4D78-9F3E-0B6D2C8A51E4}PalvoOrvela");
    EXPECT_STREQ(SpecialRequestEvent, L"{A14D8E63-2F9B-4A07-BC51-6E3F97D0248C}PalvoOrvela");
    EXPECT_STREQ(NewOrChangedInstanceMutex, L"{F6C02B9D-83E1-4B5A-A7D4-1C58E9F3062B}PalvoOrvela");
}

TEST(RegistryPathsTest, AreThoseOfTheSuite)
{
    using namespace RegistryPaths;
    EXPECT_STREQ(Options, L"SOFTWARE\\Palvo\\PrinterDriver\\V6.0\\Options");
    EXPECT_STREQ(RunSwitch, L"InstallAndRunEnhancedAutoConfigScheduledTasks");
    EXPECT_STREQ(OwnKey, L"Software\\Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration");
    EXPECT_STREQ(ScanPosition, L"LastEvtRecordProcessed");
    EXPECT_STREQ(DebuggerPrompt, L"Software\\Palvo\\PrinterDriver\\V6.0\\PromptToAttachDebugger");
    EXPECT_STREQ(PropertyBagFormat, "%s\\Software\\Classes\\Local Settings\\Printers\\PropertyBags"
                                    "\\Manufacturers\\Palvo");
    EXPECT_STREQ(DesktopAppGuids, L"DesktopAppGUIDs");
    EXPECT_STREQ(UserId, L"UserId");
    EXPECT_STREQ(DeviceId, L"DeviceId");
    EXPECT_STREQ(IsAdmin, L"IsAdmin");
}
} // namespace
