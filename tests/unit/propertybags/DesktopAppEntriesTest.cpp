#include "DesktopAppEntries.h"

#include "MeasuredMemory.h"
#include "ScarceMemory.h"

#include <gtest/gtest.h>

namespace
{
using DesktopAppEntries::Remove;
using DesktopAppEntries::Update;

TEST(DesktopAppEntriesUpdateTest, EmptyValueBecomesTheOwnEntry)
{
    EXPECT_EQ(Update(L"", L"G"), L"7.0:G");
}

TEST(DesktopAppEntriesUpdateTest, BlankValueBecomesTheOwnEntry)
{
    EXPECT_EQ(Update(L"   ", L"G"), L"7.0:G");
}

TEST(DesktopAppEntriesUpdateTest, OtherWhiteSpaceIsAnEntry)
{
    EXPECT_EQ(Update(L"\t", L"G"), L"\t*7.0:G");
}

TEST(DesktopAppEntriesUpdateTest, OwnEntryIsAppendedToOthers)
{
    EXPECT_EQ(Update(L"6.0:A,B", L"G"), L"6.0:A,B*7.0:G");
}

TEST(DesktopAppEntriesUpdateTest, OwnEntryIsReplacedWhereItStands)
{
    EXPECT_EQ(Update(L"7.0:old*6.0:A", L"G"), L"7.0:G*6.0:A");
    EXPECT_EQ(Update(L"6.0:A*7.0:old*8.0:B", L"G"), L"6.0:A*7.0:G*8.0:B");
}

TEST(DesktopAppEntriesUpdateTest, OnlyTheFirstOwnEntryIsReplaced)
{
    EXPECT_EQ(Update(L"7.0:one*7.0:two", L"G"), L"7.0:G*7.0:two");
}

TEST(DesktopAppEntriesUpdateTest, OwnEntryWithAnEmptyListIsReplaced)
{
    EXPECT_EQ(Update(L"7.0:", L"G"), L"7.0:G");
}

TEST(DesktopAppEntriesUpdateTest, VersionWithoutAColonIsNotTheOwnEntry)
{
    EXPECT_EQ(Update(L"7.0", L"G"), L"7.0*7.0:G");
}

TEST(DesktopAppEntriesUpdateTest, EntryOfThreePartsIsNotTheOwnEntry)
{
    EXPECT_EQ(Update(L"7.0:a:b", L"G"), L"7.0:a:b*7.0:G");
}

TEST(DesktopAppEntriesUpdateTest, BlankBeforeTheVersionDoesNotMatch)
{
    EXPECT_EQ(Update(L" 7.0:a", L"G"), L" 7.0:a*7.0:G");
}

TEST(DesktopAppEntriesUpdateTest, LongerVersionDoesNotMatch)
{
    EXPECT_EQ(Update(L"7.00:a*17.0:b", L"G"), L"7.00:a*17.0:b*7.0:G");
}

TEST(DesktopAppEntriesUpdateTest, EmptyEntriesOfOthersKeepTheirPlaces)
{
    EXPECT_EQ(Update(L"**6.0:A*", L"G"), L"**6.0:A**7.0:G");
}

TEST(DesktopAppEntriesUpdateTest, UpToDateValueStaysAsItIs)
{
    EXPECT_EQ(Update(L"6.0:A*7.0:G", L"G"), L"6.0:A*7.0:G");
}

TEST(DesktopAppEntriesUpdateTest, ForeignEntriesAreDataWhateverTheyHold)
{
    const std::wstring odd = std::wstring(L"%s%n:") + wchar_t{0xD800};
    EXPECT_EQ(Update(odd, L"G"), odd + L"*7.0:G");
}

TEST(DesktopAppEntriesUpdateTest, TenMillionEntriesNeedNoMemoryOfTheirOwn)
{
    const std::wstring huge(10'000'000, L'*');
    const std::wstring guids(100, L'G');
    const ScarceMemory memory;
    ScarceMemory::Allow(5);
    const std::wstring updated = Update(huge, guids);
    ScarceMemory::End();
    EXPECT_TRUE(updated == huge + L"*7.0:" + guids);

    ScarceMemory::Allow(5);
    const std::wstring unchanged = Update(updated, guids);
    ScarceMemory::End();
    EXPECT_TRUE(unchanged == updated);
}

TEST(DesktopAppEntriesUpdateTest, ValueOfAnyLengthIsCopiedOnce)
{
    const std::wstring stars(10'000'000, L'*');
    for (const std::wstring& huge : {stars, stars + L"7.0:old", L"7.0:old" + stars})
    {
        const MeasuredMemory memory;
        Update(huge, L"GUID");
        EXPECT_LT(MeasuredMemory::MostBytes(), 20'001'000U);
    }
}

TEST(DesktopAppEntriesRemoveTest, ValueOfAnyLengthIsCopiedOnce)
{
    const std::wstring entries(10'000'000, L'x');
    for (const std::wstring& huge : {entries + L"*7.0:old", L" *7.0:old*\t" + entries + L"\t"})
    {
        const MeasuredMemory memory;
        Remove(huge);
        EXPECT_LT(MeasuredMemory::MostBytes(), 20'001'000U);
    }
}

TEST(DesktopAppEntriesRemoveTest, TenMillionEntriesNeedNoMemoryOfTheirOwn)
{
    const std::wstring huge = std::wstring(10'000'000, L'*') + L"7.0:" + std::wstring(100, L'G');
    const ScarceMemory memory;
    ScarceMemory::Allow(2);
    const std::optional<std::wstring> removed = Remove(huge);
    ScarceMemory::End();
    EXPECT_EQ(removed, L"");
    EXPECT_EQ(Remove(std::wstring(10'000'000, L'*') + L"8.0:A*7.0:G"), L"8.0:A*");
}

TEST(DesktopAppEntriesRemoveTest, EmptyOrBlankValueIsNotWritten)
{
    EXPECT_FALSE(Remove(L"").has_value());
    EXPECT_FALSE(Remove(L"  ").has_value());
}

TEST(DesktopAppEntriesRemoveTest, ValueWithoutTheOwnEntryIsNotWritten)
{
    EXPECT_FALSE(Remove(L"6.0:A,B").has_value());
    EXPECT_FALSE(Remove(L"7.0").has_value());
    EXPECT_FALSE(Remove(L"7.0:a:b").has_value());
    EXPECT_FALSE(Remove(L" 7.0:a").has_value());
}

TEST(DesktopAppEntriesRemoveTest, FirstEntryGoesWithItsSeparator)
{
    EXPECT_EQ(Remove(L"7.0:old*6.0:A"), L"6.0:A");
}

TEST(DesktopAppEntriesRemoveTest, LastEntryLeavesItsSeparator)
{
    EXPECT_EQ(Remove(L"6.0:A*7.0:old"), L"6.0:A*");
}

TEST(DesktopAppEntriesRemoveTest, MiddleEntryGoesWithItsSeparator)
{
    EXPECT_EQ(Remove(L"5.0:Z*7.0:old*6.0:A"), L"5.0:Z*6.0:A");
}

TEST(DesktopAppEntriesRemoveTest, OnlyEntryLeavesEmptyText)
{
    EXPECT_EQ(Remove(L"7.0:old"), L"");
}

TEST(DesktopAppEntriesRemoveTest, OnlyTheFirstOwnEntryGoes)
{
    EXPECT_EQ(Remove(L"7.0:one*7.0:two"), L"7.0:two");
}

TEST(DesktopAppEntriesRemoveTest, EmptyAndBlankEntriesGoToo)
{
    EXPECT_EQ(Remove(L"*  *6.0:A*7.0:old*"), L"6.0:A*");
}

TEST(DesktopAppEntriesRemoveTest, EntryOfOtherWhiteSpaceStays)
{
    EXPECT_EQ(Remove(L"6.0:A*\t*8.0:B*7.0:x"), L"6.0:A*\t*8.0:B*");
}

TEST(DesktopAppEntriesRemoveTest, ValueOfOtherWhiteSpaceIsNotBlankButHasNoOwnEntry)
{
    EXPECT_FALSE(Remove(L"\t").has_value());
}

TEST(DesktopAppEntriesRemoveTest, WhiteSpaceBeyondAsciiIsTrimmedToo)
{
    EXPECT_EQ(Remove(L"\u30006.0:A\u3000B*7.0:old*8.0:B\u2003\u3000"), L"6.0:A\u3000B*8.0:B");
}

TEST(DesktopAppEntriesRemoveTest, WhiteSpaceAtBothEndsIsTrimmed)
{
    EXPECT_EQ(Remove(L"\t 6.0:A *7.0:old*8.0:B \r\n"), L"6.0:A *8.0:B");
}

TEST(DesktopAppEntriesRemoveTest, TextOfWhiteSpaceAloneIsTrimmedToNothing)
{
    EXPECT_EQ(Remove(L"7.0:old*\t"), L"");
}
} // namespace
