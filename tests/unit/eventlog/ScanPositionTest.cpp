#include "ScanPosition.h"

#include "LegacyPlvException.h"
#include "RedirectedRoot.h"
#include "Replaced.h"

#include <gtest/gtest.h>

namespace
{
constexpr wchar_t OwnKey[] = L"Software\\Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration";
constexpr wchar_t Value[] = L"LastEvtRecordProcessed";

class ScanPositionTest : public testing::Test
{
protected:
    RedirectedRoot machine{HKEY_LOCAL_MACHINE};
};

TEST_F(ScanPositionTest, IsZeroUntilOneIsStored)
{
    EXPECT_EQ(ReadScanPosition(), 0U);
    StoreScanPosition(0x123456789A);
    EXPECT_EQ(ReadScanPosition(), 0x123456789AU);
}

TEST_F(ScanPositionTest, IsA64BitNumberInTheProgramsOwnKey)
{
    StoreScanPosition(77);
    EXPECT_EQ(machine.Number(OwnKey, Value), 77U);
}

TEST_F(ScanPositionTest, ShortValueIsNoPosition)
{
    machine.Set(OwnKey, Value, REG_DWORD, {1, 2, 3, 4});
    EXPECT_EQ(ReadScanPosition(), 0U);
}

TEST_F(ScanPositionTest, KeyThatCannotBeCreatedIsPassedOver)
{
    using Create = Replaced<"ADVAPI32", "RegCreateKeyExW", decltype(RegCreateKeyExW)>;
    const Create create([](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM, const LPSECURITY_ATTRIBUTES,
                           PHKEY, LPDWORD) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    EXPECT_NO_THROW(StoreScanPosition(1));
}

TEST_F(ScanPositionTest, ValueThatCannotBeWrittenIsThrown)
{
    using Set = Replaced<"ADVAPI32", "RegSetValueExW", decltype(RegSetValueExW)>;
    const Set set([](HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) -> LSTATUS
                  { return ERROR_ACCESS_DENIED; });
    EXPECT_THROW(StoreScanPosition(1), ExceptionRegistryRequest);
}
} // namespace
