#include "DesktopAppGuids.h"

#include "DesktopAppGuidList.h"
#include "MeasuredMemory.h"
#include "RedirectedRoot.h"
#include "Replaced.h"

#include <gtest/gtest.h>

namespace
{
constexpr wchar_t Bag[] =
    L"\\Software\\Classes\\Local Settings\\Printers\\PropertyBags\\Manufacturers\\Palvo";
constexpr wchar_t ValueName[] = L"DesktopAppGUIDs";

std::wstring List()
{
    const std::string narrow = DesktopAppGuidList;
    return {narrow.begin(), narrow.end()};
}

class DesktopAppGuidsTest : public ::testing::Test
{
protected:
    void AddHive(const std::wstring& hive) const { users.CreateKey(hive); }
    void AddValue(const std::wstring& hive, const std::wstring& text) const
    {
        users.SetString(hive + Bag, ValueName, text);
    }
    std::wstring Value(const std::wstring& hive) const
    {
        return users.String(hive + Bag, ValueName);
    }

    using Create = Replaced<"ADVAPI32", "RegCreateKeyExW", decltype(RegCreateKeyExW)>;
    using Set = Replaced<"ADVAPI32", "RegSetValueExW", decltype(RegSetValueExW)>;
    using Query = Replaced<"ADVAPI32", "RegQueryValueExW", decltype(RegQueryValueExW)>;

    /// Counts the writes of values.
    Set::Behaviour Counting()
    {
        return
            [this](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size)
        {
            ++writes;
            return Set::Original(key, name, reserved, type, data, size);
        };
    }

    /// Denies the creation of one hive's bag.
    static Create::Behaviour Denying(const std::wstring& hive)
    {
        return [hive](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options,
                      REGSAM access, const LPSECURITY_ATTRIBUTES attributes, PHKEY key,
                      LPDWORD disposition) -> LSTATUS
        {
            return std::wstring(path).starts_with(hive)
                       ? ERROR_ACCESS_DENIED
                       : Create::Original(root, path, reserved, type, options, access, attributes,
                                          key, disposition);
        };
    }

    RedirectedRoot users{HKEY_USERS};
    int writes = 0;
};

TEST_F(DesktopAppGuidsTest, UpdateCreatesAMissingBag)
{
    AddHive(L"S-1-5-21-1");
    UpdateDesktopAppGuids();
    EXPECT_EQ(Value(L"S-1-5-21-1"), L"7.0:" + List());
}

TEST_F(DesktopAppGuidsTest, UpdateVisitsEveryHiveWhateverItsName)
{
    for (const wchar_t* hive : {L".DEFAULT", L"S-1-5-18", L"S-1-5-21-1", L"S-1-5-21-1_Classes"})
    {
        AddHive(hive);
    }
    UpdateDesktopAppGuids();
    for (const wchar_t* hive : {L".DEFAULT", L"S-1-5-18", L"S-1-5-21-1", L"S-1-5-21-1_Classes"})
    {
        EXPECT_EQ(Value(hive), L"7.0:" + List()) << hive;
    }
}

TEST_F(DesktopAppGuidsTest, UpdateKeepsTheEntriesOfOthers)
{
    AddValue(L"U", L"6.0:A,B");
    UpdateDesktopAppGuids();
    EXPECT_EQ(Value(L"U"), L"6.0:A,B*7.0:" + List());
}

TEST_F(DesktopAppGuidsTest, UpdateReplacesItsEntry)
{
    AddValue(L"U", L"7.0:old*6.0:A");
    UpdateDesktopAppGuids();
    EXPECT_EQ(Value(L"U"), L"7.0:" + List() + L"*6.0:A");
}

TEST_F(DesktopAppGuidsTest, UpdateWritesAnUnchangedValueToo)
{
    AddValue(L"U", L"7.0:" + List());
    const Set set(Counting());
    UpdateDesktopAppGuids();
    EXPECT_EQ(writes, 1);
}

TEST_F(DesktopAppGuidsTest, UpdatePassesOverAHiveThatMayNotBeWritten)
{
    AddHive(L"A");
    AddHive(L"B");
    AddHive(L"C");
    const Create create(Denying(L"B"));
    UpdateDesktopAppGuids();
    EXPECT_EQ(Value(L"A"), L"7.0:" + List());
    EXPECT_EQ(Value(L"C"), L"7.0:" + List());
    EXPECT_FALSE(users.HasKey(L"B\\Software"));
}

TEST_F(DesktopAppGuidsTest, UpdatePassesOverAHiveWhoseValueCannotBeWritten)
{
    AddHive(L"A");
    AddHive(L"B");
    const Set set(
        [this](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
               DWORD size) -> LSTATUS
        {
            return ++writes == 1 ? ERROR_WRITE_FAULT
                                 : Set::Original(key, name, reserved, type, data, size);
        });
    UpdateDesktopAppGuids();
    EXPECT_EQ(Value(L"A"), L"7.0:" + List()) << "the last hive comes first";
    EXPECT_EQ(Value(L"B"), L"NO STRING");
}

TEST_F(DesktopAppGuidsTest, UpdatePassesOverAHiveWhoseValueCannotBeRead)
{
    AddHive(L"A");
    AddHive(L"B");
    int reads = 0;
    const Query query(
        [&](HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
            LPDWORD size) -> LSTATUS
        {
            return ++reads == 1 ? ERROR_READ_FAULT
                                : Query::Original(key, name, reserved, type, data, size);
        });
    UpdateDesktopAppGuids();
    EXPECT_EQ(Value(L"A"), L"7.0:" + List());
    EXPECT_EQ(Value(L"B"), L"NO STRING");
}

TEST_F(DesktopAppGuidsTest, UpdateReadsAValueOfAnotherType)
{
    users.Set(std::wstring(L"U") + Bag, ValueName, REG_BINARY, {'6', 0, '.', 0, '0', 0, 'x'});
    UpdateDesktopAppGuids();
    EXPECT_EQ(Value(L"U"), L"6.0*7.0:" + List());
}

TEST_F(DesktopAppGuidsTest, UpdateReadsAValueOfAnyTypeAndLength)
{
    const std::vector<std::uint8_t> bytes = {'6', 0, '.', 0, '0', 0, 'x'};
    for (const DWORD type : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 0xDEADU})
    {
        for (std::size_t length = 0; length <= bytes.size(); ++length)
        {
            users.Set(std::wstring(L"U") + Bag, ValueName, type,
                      {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)});
            UpdateDesktopAppGuids();
            const std::wstring text = std::wstring(L"6.0").substr(0, length / 2);
            EXPECT_EQ(Value(L"U"), text + (text.empty() ? L"7.0:" : L"*7.0:") + List())
                << "type " << type << ", " << length << " bytes";
        }
    }
}

TEST_F(DesktopAppGuidsTest, ABagOfAHundredMegabytesIsHeldTwiceAtMostAndOthersGetTheirs)
{
    AddHive(L"A");
    AddHive(L"B");
    AddHive(L"C");
    constexpr DWORD Huge = 100'000'000;
    int reads = 0;
    // The registry of this machine need not hold it.
    const Query query(
        [&](HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
            LPDWORD size) -> LSTATUS
        {
            if (++reads > 2)
            {
                return Query::Original(key, name, reserved, type, data, size);
            }
            if (data != nullptr)
            {
                std::fill_n(reinterpret_cast<wchar_t*>(data), Huge / sizeof(wchar_t), L'*');
            }
            *size = Huge;
            return ERROR_SUCCESS;
        });
    std::vector<DWORD> written;
    const Set set(
        [&](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
            DWORD size) -> LSTATUS
        {
            written.push_back(size);
            return size > Huge ? ERROR_SUCCESS
                               : Set::Original(key, name, reserved, type, data, size);
        });
    {
        const MeasuredMemory memory;
        UpdateDesktopAppGuids();
        EXPECT_LT(MeasuredMemory::MostBytes(), 2U * Huge + 100'000U);
    }
    const auto ownEntry = static_cast<DWORD>(2 * (4 + List().size()));
    EXPECT_EQ(written, (std::vector<DWORD>{Huge + 2 + ownEntry + 2, ownEntry + 2, ownEntry + 2}));
    EXPECT_EQ(Value(L"A"), L"7.0:" + List());
    EXPECT_EQ(Value(L"B"), L"7.0:" + List());
}

TEST_F(DesktopAppGuidsTest, UpdateDoesNothingWithoutHives)
{
    const Set set(Counting());
    UpdateDesktopAppGuids();
    EXPECT_EQ(writes, 0);
}

TEST_F(DesktopAppGuidsTest, UpdateLetsNoErrorEscape)
{
    AddHive(L"U");
    using Enumerate = Replaced<"ADVAPI32", "RegEnumKeyExW", decltype(RegEnumKeyExW)>;
    const Enumerate enumerate([](HKEY, DWORD, LPWSTR, LPDWORD, LPDWORD, LPWSTR, LPDWORD,
                                 PFILETIME) -> LSTATUS { throw std::bad_alloc(); });
    EXPECT_NO_THROW(UpdateDesktopAppGuids());
    EXPECT_NO_THROW(RemoveDesktopAppGuids());
}

TEST_F(DesktopAppGuidsTest, RemovalLeavesAHiveWithoutABagUntouched)
{
    AddHive(L"U");
    RemoveDesktopAppGuids();
    EXPECT_TRUE(users.HasKey(L"U"));
    EXPECT_FALSE(users.HasKey(L"U\\Software"));
}

TEST_F(DesktopAppGuidsTest, RemovalLeavesOthersAloneAndWritesNothing)
{
    AddValue(L"U", L"6.0:A,B");
    users.CreateKey(std::wstring(L"V") + Bag);
    const Set set(Counting());
    RemoveDesktopAppGuids();
    EXPECT_EQ(writes, 0);
    EXPECT_EQ(Value(L"U"), L"6.0:A,B");
    EXPECT_EQ(Value(L"V"), L"NO STRING");
}

TEST_F(DesktopAppGuidsTest, RemovalTakesTheEntryOutOfEveryHive)
{
    AddValue(L"A", L"7.0:old*6.0:A");
    AddValue(L"B", L"6.0:A*7.0:old");
    RemoveDesktopAppGuids();
    EXPECT_EQ(Value(L"A"), L"6.0:A");
    EXPECT_EQ(Value(L"B"), L"6.0:A*");
}

TEST_F(DesktopAppGuidsTest, RemovalWritesAnEmptyString)
{
    AddValue(L"U", L"7.0:old");
    RemoveDesktopAppGuids();
    EXPECT_EQ(Value(L"U"), L"");
}

TEST_F(DesktopAppGuidsTest, RemovalGoesOnAfterAHiveThatFails)
{
    AddValue(L"A", L"7.0:old");
    AddValue(L"B", L"7.0:old");
    const Set set(
        [this](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
               DWORD size) -> LSTATUS
        {
            return ++writes == 1 ? ERROR_WRITE_FAULT
                                 : Set::Original(key, name, reserved, type, data, size);
        });
    EXPECT_NO_THROW(RemoveDesktopAppGuids());
    EXPECT_EQ(Value(L"A"), L"");
    EXPECT_EQ(Value(L"B"), L"7.0:old");
}

TEST_F(DesktopAppGuidsTest, BothOpenTheBagForReadingAndWriting)
{
    AddValue(L"U", L"7.0:old");
    std::vector<REGSAM> created;
    std::vector<REGSAM> opened;
    const Create create(
        [&](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options, REGSAM access,
            const LPSECURITY_ATTRIBUTES attributes, PHKEY key, LPDWORD disposition)
        {
            created.push_back(access);
            return Create::Original(root, path, reserved, type, options, access, attributes, key,
                                    disposition);
        });
    using Open = Replaced<"ADVAPI32", "RegOpenKeyExW", decltype(RegOpenKeyExW)>;
    const Open open(
        [&](HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key)
        {
            opened.push_back(access);
            return Open::Original(root, path, options, access, key);
        });
    UpdateDesktopAppGuids();
    EXPECT_EQ(created, std::vector<REGSAM>{0x2001F});
    EXPECT_EQ(opened, std::vector<REGSAM>{0x20019});
    opened.clear();
    RemoveDesktopAppGuids();
    EXPECT_EQ(opened, (std::vector<REGSAM>{0x20019, 0x2001F}));
    EXPECT_EQ(created.size(), 1U);
}
} // namespace
