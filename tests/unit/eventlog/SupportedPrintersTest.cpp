#include "SupportedPrinters.h"

#include "FakeSpooler.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

namespace
{
class SupportedPrintersTest : public ::testing::Test
{
protected:
    /// A printer whose driver has a manifest with this content.
    void AddPrinter(const std::wstring& name, const std::string& manifest)
    {
        const std::wstring file =
            folder.WriteFile(std::to_wstring(++count) + L"-manifest.ini", manifest);
        spooler.printers[name] = {4, {{L"C:\\driver.dll", file}}};
    }

    bool IsSupported(const std::string& manifest)
    {
        AddPrinter(L"P", manifest);
        printers.Examine(L"P");
        return printers.Names().contains(L"P");
    }

    static constexpr char Manifest[] = "[PV-Private]\r\nDriverPlatform=PV6P2.0\r\n";

    TemporaryFolder folder;
    FakeSpooler spooler;
    SupportedPrinters printers;
    unsigned count = 0;
};

TEST(IsSupportedPlatformTest, ThePlatformItself)
{
    EXPECT_TRUE(IsSupportedPlatform(L"PV6P2.0"));
}

TEST(IsSupportedPlatformTest, CaseDoesNotMatter)
{
    EXPECT_TRUE(IsSupportedPlatform(L"pv6p2.0"));
}

TEST(IsSupportedPlatformTest, NothingElseIsSupported)
{
    for (const wchar_t* other : {L"", L"PV6P2", L"PV6P2.00", L" PV6P2.0", L"PV6P2.1", L"PV6P2.0.0"})
    {
        EXPECT_FALSE(IsSupportedPlatform(other)) << other;
    }
}

TEST_F(SupportedPrintersTest, ManifestThatNamesThePlatformIsSupported)
{
    EXPECT_TRUE(IsSupported(Manifest));
}

TEST_F(SupportedPrintersTest, PlatformInLowerCaseIsSupported)
{
    EXPECT_TRUE(IsSupported("[PV-Private]\r\nDriverPlatform=pv6p2.0\r\n"));
}

TEST_F(SupportedPrintersTest, LongerPlatformIsNotSupported)
{
    EXPECT_FALSE(IsSupported("[PV-Private]\r\nDriverPlatform=PV6P2.0xx\r\n"));
}

TEST_F(SupportedPrintersTest, PlatformIsReadIntoTenCharacters)
{
    DWORD size = 0;
    std::wstring asked;
    using Profile =
        Replaced<"KERNEL32", "GetPrivateProfileStringW", decltype(GetPrivateProfileStringW)>;
    const Profile profile(
        [&](LPCWSTR section, LPCWSTR key, LPCWSTR missing, LPWSTR text, DWORD length, LPCWSTR file)
        {
            size = length;
            asked = std::wstring(section) + L"|" + key + L"|" + missing + L"|" + file;
            return Profile::Original(section, key, missing, text, length, file);
        });
    spooler.printers[L"P"] = {4, {{L"c:\\Nowhere\\x-manifest.ini"}}};
    printers.Examine(L"P");
    EXPECT_EQ(size, 10U);
    EXPECT_EQ(asked, L"PV-Private|DriverPlatform||C:\\NOWHERE\\X-MANIFEST.INI");
}

TEST_F(SupportedPrintersTest, AnotherSectionDoesNotCount)
{
    EXPECT_FALSE(IsSupported("[Private]\r\nDriverPlatform=PV6P2.0\r\n"));
}

TEST_F(SupportedPrintersTest, AnotherKeyDoesNotCount)
{
    EXPECT_FALSE(IsSupported("[PV-Private]\r\nPlatform=PV6P2.0\r\n"));
}

TEST_F(SupportedPrintersTest, EmptyManifestIsNotSupported)
{
    EXPECT_FALSE(IsSupported(""));
}

TEST_F(SupportedPrintersTest, MissingManifestFileIsNotSupported)
{
    spooler.printers[L"P"] = {4, {{folder.Of(L"gone-manifest.ini")}}};
    printers.Examine(L"P");
    EXPECT_TRUE(printers.Names().empty());
}

TEST_F(SupportedPrintersTest, DriverWithoutAManifestIsNotSupported)
{
    using Profile =
        Replaced<"KERNEL32", "GetPrivateProfileStringW", decltype(GetPrivateProfileStringW)>;
    const Profile profile(
        [](LPCWSTR, LPCWSTR, LPCWSTR, LPWSTR, DWORD, LPCWSTR file) -> DWORD
        {
            ADD_FAILURE() << "looked for in " << file;
            return 0;
        });
    spooler.printers[L"P"] = {4, {{L"C:\\driver.dll"}}};
    printers.Examine(L"P");
    EXPECT_TRUE(printers.Names().empty());
}

TEST_F(SupportedPrintersTest, Version3DriverIsNotSupported)
{
    AddPrinter(L"P", Manifest);
    spooler.printers[L"P"].driverModel = 3;
    printers.Examine(L"P");
    EXPECT_TRUE(printers.Names().empty());
}

TEST_F(SupportedPrintersTest, UnknownPrinterIsPassedOver)
{
    printers.Examine(L"Nowhere");
    EXPECT_TRUE(printers.Names().empty());
    EXPECT_EQ(spooler.refusedCalls, 0U);
}

TEST_F(SupportedPrintersTest, EmptyNameIsPassedOver)
{
    printers.Examine(L"");
    EXPECT_TRUE(printers.Names().empty());
}

TEST_F(SupportedPrintersTest, NameCountsOnce)
{
    AddPrinter(L"P", Manifest);
    printers.Examine(L"P");
    printers.Examine(L"P");
    EXPECT_EQ(printers.Names(), std::set<std::wstring>{L"P"});
}

TEST_F(SupportedPrintersTest, SupportedPrinterIsOpenedOnceHoweverOftenItIsNamed)
{
    AddPrinter(L"P", Manifest);
    printers.Examine(L"P");
    printers.Examine(L"P");
    EXPECT_EQ(spooler.openedNames, std::vector<std::wstring>{L"P"});
}

TEST_F(SupportedPrintersTest, UnsupportedPrinterIsOpenedOnceHoweverOftenItIsNamed)
{
    spooler.printers[L"Old"] = {3, std::nullopt};
    printers.Examine(L"Old");
    printers.Examine(L"Old");
    printers.Examine(L"OLD");
    EXPECT_EQ(spooler.calls, (Journal{L"open Old", L"close Old", L"open OLD"}));
    EXPECT_TRUE(printers.Names().empty());
}

TEST_F(SupportedPrintersTest, PrinterThatCouldNotBeOpenedIsTriedAgain)
{
    printers.Examine(L"P");
    AddPrinter(L"P", Manifest);
    printers.Examine(L"P");
    EXPECT_EQ(spooler.openedNames, (std::vector<std::wstring>{L"P", L"P"}));
    EXPECT_EQ(printers.Names(), std::set<std::wstring>{L"P"});
}

TEST_F(SupportedPrintersTest, PrinterWhoseDriverCouldNotBeReadIsTriedAgain)
{
    using Profile =
        Replaced<"KERNEL32", "GetPrivateProfileStringW", decltype(GetPrivateProfileStringW)>;
    unsigned manifestsRead = 0;
    const Profile profile(
        [&](LPCWSTR section, LPCWSTR key, LPCWSTR missing, LPWSTR text, DWORD length, LPCWSTR file)
        {
            ++manifestsRead;
            return Profile::Original(section, key, missing, text, length, file);
        });
    AddPrinter(L"P", Manifest);
    for (std::optional<DWORD> FakeSpooler::*query :
         {&FakeSpooler::sizeError, &FakeSpooler::driverError})
    {
        spooler.*query = RPC_S_SERVER_UNAVAILABLE;
        printers.Examine(L"P");
        EXPECT_TRUE(printers.Names().empty());
        EXPECT_EQ(manifestsRead, 0U);
        (spooler.*query).reset();
    }
    printers.Examine(L"P");
    EXPECT_EQ(printers.Names(), std::set<std::wstring>{L"P"});
    EXPECT_EQ(spooler.calls,
              (Journal{L"open P", L"close P", L"open P", L"close P", L"open P", L"close P"}));
}

TEST_F(SupportedPrintersTest, PrinterWhoseManifestIsInUseIsTriedAgain)
{
    AddPrinter(L"P", Manifest);
    {
        const FileHandle writer(CreateFileW(folder.Of(L"1-manifest.ini").c_str(), GENERIC_WRITE, 0,
                                            nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                            nullptr));
        ASSERT_TRUE(writer);
        printers.Examine(L"P");
        EXPECT_TRUE(printers.Names().empty());
    }
    printers.Examine(L"P");
    EXPECT_EQ(printers.Names(), std::set<std::wstring>{L"P"});
}

TEST_F(SupportedPrintersTest, PrinterWhoseManifestIsNotThereYetIsTriedAgain)
{
    spooler.printers[L"P"] = {4, {{folder.Of(L"late-manifest.ini")}}};
    printers.Examine(L"P");
    EXPECT_TRUE(printers.Names().empty());
    folder.WriteFile(L"late-manifest.ini", Manifest);
    printers.Examine(L"P");
    EXPECT_EQ(printers.Names(), std::set<std::wstring>{L"P"});
}

TEST_F(SupportedPrintersTest, PrinterThatWasFoundUnsupportedIsNotTriedAgain)
{
    spooler.printers[L"version 3"] = {3, {{folder.WriteFile(L"3-manifest.ini", Manifest)}}};
    spooler.printers[L"no list"] = {4, std::nullopt};
    spooler.printers[L"no manifest"] = {4, {{L"C:\\driver.dll"}}};
    AddPrinter(L"another platform", "[PV-Private]\r\nDriverPlatform=PV5\r\n");
    AddPrinter(L"no platform", "[PV-Private]\r\n");
    AddPrinter(L"empty manifest", "");
    // Somebody who has a manifest open and lets others read it is in nobody's way.
    const FileHandle writer(CreateFileW(folder.Of(L"2-manifest.ini").c_str(), GENERIC_WRITE,
                                        FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(writer);
    for (const auto& [name, printer] : spooler.printers)
    {
        printers.Examine(name);
        printers.Examine(name);
    }
    EXPECT_EQ(spooler.openedNames,
              (std::vector<std::wstring>{L"another platform", L"empty manifest", L"no list",
                                         L"no manifest", L"no platform", L"version 3"}));
    EXPECT_TRUE(printers.Names().empty());
}

TEST_F(SupportedPrintersTest, NamesThatDifferInCaseAreTwoNames)
{
    AddPrinter(L"Printer", Manifest);
    AddPrinter(L"PRINTER", Manifest);
    printers.Examine(L"Printer");
    printers.Examine(L"PRINTER");
    EXPECT_EQ(printers.Names(), (std::set<std::wstring>{L"PRINTER", L"Printer"}));
}

TEST_F(SupportedPrintersTest, EveryPrinterIsClosedAfterItsExamination)
{
    AddPrinter(L"Supported", Manifest);
    spooler.printers[L"Other"] = {3, std::nullopt};
    printers.Examine(L"Supported");
    EXPECT_EQ(spooler.OpenPrinters(), 0U);
    printers.Examine(L"Other");
    EXPECT_EQ(spooler.OpenPrinters(), 0U);
    EXPECT_EQ(spooler.refusedCalls, 0U);
}

TEST_F(SupportedPrintersTest, NameOfAnyKindReachesTheSpoolerWhole)
{
    const std::wstring name =
        L"\\\\server\\%s%n \"A\" \u0416" + std::wstring(5000, L'x') + wchar_t{0xDC00};
    AddPrinter(name, Manifest);
    printers.Examine(name);
    EXPECT_EQ(printers.Names(), std::set<std::wstring>{name});
}
} // namespace
