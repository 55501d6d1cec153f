#include "RegistryValues.h"

#include "ExactValue.h"
#include "LegacyPlvException.h"
#include "RedirectedRoot.h"
#include "Replaced.h"
#include "ScarceMemory.h"

#include <gtest/gtest.h>

#include <new>

namespace
{
using OpenDouble = Replaced<"ADVAPI32", "RegOpenKeyExW", decltype(RegOpenKeyExW)>;
using CreateDouble = Replaced<"ADVAPI32", "RegCreateKeyExW", decltype(RegCreateKeyExW)>;
using SetDouble = Replaced<"ADVAPI32", "RegSetValueExW", decltype(RegSetValueExW)>;
using QueryDouble = Replaced<"ADVAPI32", "RegQueryValueExW", decltype(RegQueryValueExW)>;
using CloseDouble = Replaced<"ADVAPI32", "RegCloseKey", decltype(RegCloseKey)>;

const std::wstring OwnKey = L"Software\\Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration";

/// Under which root and with which access keys are opened and created, and how many stay open.
class Accesses
{
public:
    HKEY root = nullptr;
    REGSAM access = 0;
    int open = 0;

private:
    OpenDouble openKey{[this](HKEY key, LPCWSTR subKey, DWORD options, REGSAM asked, PHKEY opened)
                       {
                           root = key;
                           access = asked;
                           const LSTATUS status =
                               decltype(openKey)::Original(key, subKey, options, asked, opened);
                           open += status == ERROR_SUCCESS ? 1 : 0;
                           return status;
                       }};
    CreateDouble createKey{[this](HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR keyClass,
                                  DWORD options, REGSAM asked, const LPSECURITY_ATTRIBUTES security,
                                  PHKEY created, LPDWORD disposition)
                           {
                               root = key;
                               access = asked;
                               const LSTATUS status = decltype(createKey)::Original(
                                   key, subKey, reserved, keyClass, options, asked, security,
                                   created, disposition);
                               open += status == ERROR_SUCCESS ? 1 : 0;
                               return status;
                           }};
    CloseDouble closeKey{[this](HKEY key)
                         {
                             --open;
                             return decltype(closeKey)::Original(key);
                         }};
};

class RegistryValuesTest : public testing::Test
{
protected:
    std::uint32_t Read32(const std::vector<std::uint8_t>& bytes, DWORD type = REG_BINARY)
    {
        StoreExactly(machine, L"k", L"v", type, bytes);
        return ReadMachineNumber32(L"k", L"v", 77);
    }

    std::uint64_t Read64(const std::vector<std::uint8_t>& bytes, DWORD type = REG_BINARY)
    {
        StoreExactly(machine, L"k", L"v", type, bytes);
        return ReadMachineNumber64(L"k", L"v", 77);
    }

    RedirectedRoot users{HKEY_USERS};
    RedirectedRoot machine{HKEY_LOCAL_MACHINE};
    std::wstring errorText = L"old";
};

TEST_F(RegistryValuesTest, UserStringIsReadUnderUsersAndItsKeyClosed)
{
    users.SetString(L"S-1\\a", L"v", L"text");
    const Accesses accesses;
    EXPECT_EQ(ReadUserString(L"S-1\\a", L"v", L"default"), L"text");
    EXPECT_EQ(accesses.root, HKEY_USERS);
    EXPECT_EQ(accesses.access, 0x20019U);
    EXPECT_EQ(accesses.open, 0);
}

TEST_F(RegistryValuesTest, UserStringWithoutAKeyOrAValueIsTheDefault)
{
    EXPECT_EQ(ReadUserString(L"none", L"v", L"default"), L"default");
    EXPECT_FALSE(users.HasKey(L"none"));
    users.CreateKey(L"k");
    EXPECT_EQ(ReadUserString(L"k", L"v", L"default"), L"default");
}

TEST_F(RegistryValuesTest, UserStringThatCannotBeReadIsTheDefault)
{
    users.SetString(L"k", L"v", L"text");
    const Accesses accesses;
    const QueryDouble query([](HKEY, LPCWSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD) -> LSTATUS
                            { return ERROR_KEY_DELETED; });
    EXPECT_EQ(ReadUserString(L"k", L"v", L"default"), L"default");
    EXPECT_EQ(accesses.open, 0);
}

TEST_F(RegistryValuesTest, MachineStringIsReadUnderLocalMachine)
{
    machine.SetString(L"k", L"v", L"text");
    const Accesses accesses;
    EXPECT_EQ(ReadMachineString(L"k", L"v", L"never"), L"text");
    EXPECT_EQ(accesses.root, HKEY_LOCAL_MACHINE);
    EXPECT_EQ(accesses.access, 0x20019U);
    EXPECT_EQ(accesses.open, 0);
    EXPECT_EQ(ReadMachineString(L"none", L"v", L"never"), L"never");
}

TEST_F(RegistryValuesTest, MemoryThatRunsOutWhileReadingIsNoDefault)
{
    machine.SetNumber(L"k", L"v", 5);
    const std::wstring key = L"k";
    const std::wstring name = L"v";
    const ScarceMemory memory;
    const Accesses accesses;
    std::uint64_t number = 0;
    int thrown = 0;
    ScarceMemory::ForEveryRoom(
        [&]
        {
            try
            {
                number = ReadMachineNumber64(key, name, 77);
            }
            catch (const std::bad_alloc&)
            {
                ++thrown;
            }
        },
        [&] { EXPECT_EQ(accesses.open, 0); });
    EXPECT_EQ(number, 5U);
    EXPECT_GT(thrown, 0);
}

TEST_F(RegistryValuesTest, UserStringIsWrittenIntoAKeyThatIsMade)
{
    const Accesses accesses;
    EXPECT_TRUE(WriteUserString(L"S-1\\a\\b", L"v", L"t\x4E2D", errorText));
    EXPECT_EQ(errorText, L"");
    EXPECT_EQ(accesses.root, HKEY_USERS);
    EXPECT_EQ(accesses.access, 0x20006U);
    EXPECT_EQ(accesses.open, 0);
    EXPECT_EQ(users.String(L"S-1\\a\\b", L"v"), L"t\x4E2D");
}

TEST_F(RegistryValuesTest, UserStringWhoseKeyCannotBeMadeGivesTheReason)
{
    const CreateDouble create([](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM,
                                 const LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD) -> LSTATUS
                              { return ERROR_ACCESS_DENIED; });
    EXPECT_FALSE(WriteUserString(L"S-1\\a", L"v", L"t", errorText));
    EXPECT_TRUE(errorText.starts_with(L"RegCreateKeyEx(S-1\\a) failed!  = 5/0x5: "));
}

TEST_F(RegistryValuesTest, UserStringThatCannotBeWrittenThrowsAndItsKeyIsClosed)
{
    const Accesses accesses;
    const SetDouble set([](HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) -> LSTATUS
                        { return ERROR_ACCESS_DENIED; });
    EXPECT_THROW(WriteUserString(L"k", L"v", L"t", errorText), ExceptionRegistryRequest);
    EXPECT_EQ(accesses.open, 0);
}

TEST_F(RegistryValuesTest, NumberOf32BitsIsReadUnderLocalMachine)
{
    StoreExactly(machine, L"k", L"v", REG_DWORD, {1, 2, 3, 4});
    const Accesses accesses;
    EXPECT_EQ(ReadMachineNumber32(L"k", L"v", 77), 0x04030201U);
    EXPECT_EQ(accesses.root, HKEY_LOCAL_MACHINE);
    EXPECT_EQ(accesses.access, 0x20019U);
    EXPECT_EQ(accesses.open, 0);
}

TEST_F(RegistryValuesTest, NumberOf64BitsIsReadUnderLocalMachine)
{
    machine.SetNumber(L"k", L"v", 0x8807060504030201);
    const Accesses accesses;
    EXPECT_EQ(ReadMachineNumber64(L"k", L"v", 77), 0x8807060504030201U);
    EXPECT_EQ(accesses.root, HKEY_LOCAL_MACHINE);
    EXPECT_EQ(accesses.access, 0x20019U);
    EXPECT_EQ(accesses.open, 0);
}

TEST_F(RegistryValuesTest, NumberWithoutAKeyOrAValueIsTheDefault)
{
    EXPECT_EQ(ReadMachineNumber32(L"none", L"v", 77), 77U);
    EXPECT_EQ(ReadMachineNumber64(L"none", L"v", 77), 77U);
    machine.CreateKey(L"k");
    EXPECT_EQ(ReadMachineNumber32(L"k", L"v", 77), 77U);
    EXPECT_EQ(ReadMachineNumber64(L"k", L"v", 77), 77U);
}

TEST_F(RegistryValuesTest, NumberOfTooFewBytesIsTheDefault)
{
    EXPECT_EQ(Read32({}), 77U);
    EXPECT_EQ(Read32({0, 0, 0}), 77U);
    EXPECT_EQ(Read64({}), 77U);
    EXPECT_EQ(Read64({0, 0, 0, 0, 0, 0, 0}), 77U);
    EXPECT_EQ(Read64({1, 0, 0, 0}, REG_DWORD), 77U);
}

TEST_F(RegistryValuesTest, NumberIsTheFirstBytesOfMore)
{
    EXPECT_EQ(Read32({5, 0, 0, 0, 9}), 5U);
    EXPECT_EQ(Read64({5, 0, 0, 0, 0, 0, 0, 0, 9}), 5U);
    EXPECT_EQ(Read32(std::vector<std::uint8_t>(0x100000, 1)), 0x01010101U);
}

TEST_F(RegistryValuesTest, NumberMayBeOfAnyType)
{
    EXPECT_EQ(Read32({0, 0, 0, 0}, REG_SZ), 0U);
    EXPECT_EQ(Read32({'0', 0, 0, 0}, REG_SZ), 0x30U);
    EXPECT_EQ(Read64({1, 0, 0, 0, 0, 0, 0, 0}, REG_BINARY), 1U);
}

TEST_F(RegistryValuesTest, NumberThatCannotBeReadIsTheDefault)
{
    machine.SetNumber(L"k", L"v", 5);
    const QueryDouble query([](HKEY, LPCWSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD) -> LSTATUS
                            { return ERROR_KEY_DELETED; });
    EXPECT_EQ(ReadMachineNumber32(L"k", L"v", 77), 77U);
    EXPECT_EQ(ReadMachineNumber64(L"k", L"v", 77), 77U);
}

TEST_F(RegistryValuesTest, NumberIsWrittenUnderLocalMachine)
{
    const Accesses accesses;
    EXPECT_TRUE(WriteMachineNumber64(OwnKey, L"LastEvtRecordProcessed", 0x123456789, errorText));
    EXPECT_EQ(errorText, L"");
    EXPECT_EQ(accesses.root, HKEY_LOCAL_MACHINE);
    EXPECT_EQ(accesses.access, 0x20006U);
    EXPECT_EQ(accesses.open, 0);
    EXPECT_EQ(machine.Number(OwnKey, L"LastEvtRecordProcessed"), 0x123456789U);
}

TEST_F(RegistryValuesTest, NumberWhoseKeyCannotBeMadeGivesTheReason)
{
    const CreateDouble create([](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM,
                                 const LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD) -> LSTATUS
                              { return ERROR_ACCESS_DENIED; });
    EXPECT_FALSE(WriteMachineNumber64(OwnKey, L"n", 1, errorText));
    EXPECT_TRUE(errorText.starts_with(L"RegCreateKeyEx(" + OwnKey + L") failed!  = 5/0x5: "));
}

TEST_F(RegistryValuesTest, NumberThatCannotBeWrittenThrows)
{
    const SetDouble set([](HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) -> LSTATUS
                        { return ERROR_DISK_FULL; });
    EXPECT_THROW(WriteMachineNumber64(OwnKey, L"n", 1, errorText), ExceptionRegistryRequest);
}
} // namespace
