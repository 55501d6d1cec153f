#include "PrintDriver.h"

#include "FakeSpooler.h"
#include "MeasuredMemory.h"
#include "Printer.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace
{
static_assert(std::has_virtual_destructor_v<PrintDriver>);
static_assert(sizeof(PrintDriver) == 8, "the virtual table's address, and no data");

class PrintDriverTest : public ::testing::Test
{
protected:
    /// Opens a printer with this driver.
    HANDLE Open(const FakePrinter& driver)
    {
        spooler.printers[L"P"] = driver;
        EXPECT_TRUE(printer.Open(L"P"));
        return printer.Handle();
    }

    std::optional<std::wstring> Manifest(const FakePrinter& driver)
    {
        return PrintDriver().FindDependentFile(Open(driver), L"-manifest.ini");
    }

    FakeSpooler spooler;
    Printer printer;
    std::vector<BYTE> buffer;
};

TEST(FirstFileContainingTest, GivesTheFirstThatContainsTheSuffixInUpperCase)
{
    EXPECT_EQ(FirstFileContaining(L"C:\\a.dll\0C:\\one-Manifest.ini\0C:\\two-manifest.ini\0",
                                  L"-manifest.ini"),
              L"C:\\ONE-MANIFEST.INI");
}

TEST(FirstFileContainingTest, SuffixMayStandAnywhereInTheName)
{
    EXPECT_EQ(FirstFileContaining(L"C:\\a-manifest.ini.bak\0", L"-manifest.ini"),
              L"C:\\A-MANIFEST.INI.BAK");
}

TEST(FirstFileContainingTest, CaseOfTheSuffixDoesNotMatter)
{
    EXPECT_EQ(FirstFileContaining(L"c:\\x-manifest.ini\0", L"-MANIFEST.ini"),
              L"C:\\X-MANIFEST.INI");
}

TEST(FirstFileContainingTest, NoneGivesTheEmptyString)
{
    EXPECT_EQ(FirstFileContaining(L"C:\\a.dll\0C:\\manifest.ini\0", L"-manifest.ini"), L"");
}

TEST(FirstFileContainingTest, EmptyListGivesTheEmptyString)
{
    EXPECT_EQ(FirstFileContaining(L"\0", L"-manifest.ini"), L"");
}

TEST(FirstFileContainingTest, ListEndsAtTheEmptyName)
{
    EXPECT_EQ(FirstFileContaining(L"C:\\a.dll\0\0C:\\x-manifest.ini\0", L"-manifest.ini"), L"");
}

TEST(FirstFileContainingTest, NamesAreLookedAtOneByOne)
{
    std::wstring files;
    for (int i = 0; i < 100'000; ++i)
    {
        files += L"C:\\a.dll";
        files += L'\0';
    }
    files += std::wstring(1'000'000, L'-');
    files += L'\0';
    const MeasuredMemory memory;
    EXPECT_EQ(FirstFileContaining(files.c_str(), L"-manifest.ini"), L"");
    EXPECT_LT(MeasuredMemory::MostBytes(), 6'001'000U) << "three times the longest";
}

TEST_F(PrintDriverTest, NullHandleIsAnInvalidArgument)
{
    EXPECT_EQ(static_cast<unsigned>(PrintDriver().GetDriverInfo(nullptr, buffer)), 0x80070057U);
    EXPECT_TRUE(spooler.levels.empty());
}

TEST_F(PrintDriverTest, AllOnesIsAnInvalidArgument)
{
    EXPECT_EQ(static_cast<unsigned>(PrintDriver().GetDriverInfo(INVALID_HANDLE_VALUE, buffer)),
              0x80070057U);
    EXPECT_TRUE(spooler.levels.empty());
}

TEST_F(PrintDriverTest, AsksAtLevelThreeForTheDefaultEnvironmentInTwoCalls)
{
    EXPECT_EQ(PrintDriver().GetDriverInfo(Open({}), buffer), S_OK);
    EXPECT_EQ(spooler.levels, (std::vector<DWORD>{3, 3}));
    EXPECT_TRUE(spooler.environmentWasNull);
    EXPECT_GE(buffer.size(), sizeof(DRIVER_INFO_3W));
}

TEST_F(PrintDriverTest, FailureToTellTheSizeBecomesAnHresult)
{
    const HANDLE handle = Open({});
    spooler.sizeError = ERROR_ACCESS_DENIED;
    EXPECT_EQ(static_cast<unsigned>(PrintDriver().GetDriverInfo(handle, buffer)), 0x80070005U);
    EXPECT_EQ(spooler.levels, std::vector<DWORD>{3}) << "the driver was asked for all the same";
}

TEST_F(PrintDriverTest, FailureToFillTheBufferBecomesAnHresult)
{
    const HANDLE handle = Open({});
    spooler.driverError = ERROR_UNKNOWN_PRINTER_DRIVER;
    EXPECT_EQ(static_cast<unsigned>(PrintDriver().GetDriverInfo(handle, buffer)), 0x80070705U);
}

TEST_F(PrintDriverTest, ErrorThatIsAnHresultAlreadyStaysAsItIs)
{
    const HANDLE handle = Open({});
    spooler.driverError = 0x80004005;
    EXPECT_EQ(static_cast<unsigned>(PrintDriver().GetDriverInfo(handle, buffer)), 0x80004005U);
}

TEST_F(PrintDriverTest, FailureWithoutAnErrorIsNotSuccess)
{
    const HANDLE handle = Open({});
    spooler.driverError = ERROR_SUCCESS;
    EXPECT_NE(PrintDriver().GetDriverInfo(handle, buffer), S_OK);
}

TEST_F(PrintDriverTest, ClosedHandleIsTheSpoolersError)
{
    const HANDLE handle = Open({});
    printer.Close();
    EXPECT_EQ(static_cast<unsigned>(PrintDriver().GetDriverInfo(handle, buffer)), 0x80070006U);
}

TEST_F(PrintDriverTest, FindsTheManifestOfAVersion4Driver)
{
    EXPECT_EQ(Manifest({4, {{L"C:\\d\\x.dll", L"C:\\d\\Palvo-manifest.ini"}}}),
              L"C:\\D\\PALVO-MANIFEST.INI");
}

TEST_F(PrintDriverTest, Version3DriverHasNoManifest)
{
    EXPECT_EQ(Manifest({3, {{L"C:\\d\\Palvo-manifest.ini"}}}), L"");
}

TEST_F(PrintDriverTest, LaterDriverModelHasNoManifest)
{
    EXPECT_EQ(Manifest({5, {{L"C:\\d\\Palvo-manifest.ini"}}}), L"");
}

TEST_F(PrintDriverTest, DriverWithoutAListOfFilesHasNoManifest)
{
    EXPECT_EQ(Manifest({4, std::nullopt}), L"");
}

TEST_F(PrintDriverTest, DriverWithAnEmptyListHasNoManifest)
{
    EXPECT_EQ(Manifest({4, std::vector<std::wstring>{}}), L"");
}

TEST_F(PrintDriverTest, OfADriverThatCannotBeReadTheManifestIsNotKnown)
{
    spooler.driverError = ERROR_OUTOFMEMORY;
    EXPECT_EQ(Manifest({4, {{L"C:\\d\\Palvo-manifest.ini"}}}), std::nullopt);
}

TEST_F(PrintDriverTest, InformationThatIsTooShortIsNotRead)
{
    spooler.truncatedSize = 8;
    EXPECT_EQ(Manifest({4, {{L"C:\\d\\Palvo-manifest.ini"}}}), std::nullopt);
}

TEST_F(PrintDriverTest, InformationWithoutAByteIsNotRead)
{
    spooler.needsNoBuffer = true;
    EXPECT_EQ(Manifest({4, {{L"C:\\d\\Palvo-manifest.ini"}}}), std::nullopt);
}

TEST_F(PrintDriverTest, OfNoPrinterTheManifestIsNotKnown)
{
    EXPECT_EQ(PrintDriver().FindDependentFile(nullptr, L"-manifest.ini"), std::nullopt);
}

TEST_F(PrintDriverTest, BufferIsEmptyWhenNothingWasAsked)
{
    buffer = {1, 2, 3};
    EXPECT_NE(PrintDriver().GetDriverInfo(nullptr, buffer), S_OK);
    EXPECT_TRUE(buffer.empty());
}
} // namespace
