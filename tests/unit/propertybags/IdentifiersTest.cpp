#include "Identifiers.h"

#include "FakeNames.h"
#include "FakeWmi.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{
class IdentifiersTest : public ::testing::Test
{
protected:
    IdentifiersTest()
    {
        wmi.objects = {
            {{L"UUID", {VT_BSTR, L"4C4C4544-0042"}}, {L"IdentifyingNumber", {VT_BSTR, L"SN 17"}}}};
    }

    Journal journal;
    FakeWmi wmi{journal};
    FakeNames names;
};

TEST(DomainPartTest, IsTheTextBeforeTheFirstBackslash)
{
    EXPECT_EQ(DomainPart(L"CORP\\Alice"), L"CORP");
    EXPECT_EQ(DomainPart(L"A\\B\\C"), L"A");
}

TEST(DomainPartTest, NameWithoutABackslashIsUsedWhole)
{
    EXPECT_EQ(DomainPart(L"Alice"), L"Alice");
    EXPECT_EQ(DomainPart(L""), L"");
}

TEST(DomainPartTest, NameThatBeginsWithABackslashIsUsedWhole)
{
    EXPECT_EQ(DomainPart(L"\\Alice"), L"\\Alice");
}

TEST_F(IdentifiersTest, MachineNameIsComputerDomainAndDnsDomain)
{
    EXPECT_EQ(GetMachineNameText(), L"pc01.CORP.corp.example");
}

TEST_F(IdentifiersTest, ComputerNameAloneIsLowerCasedFromAToZ)
{
    names.computer = L"PC\u00C4";
    EXPECT_EQ(GetMachineNameText(), L"pc\u00C4.CORP.corp.example");
}

TEST_F(IdentifiersTest, BothDotsStandWhenTheDomainsCannotBeHad)
{
    names.samCompatible.reset();
    names.dnsDomain.reset();
    EXPECT_EQ(GetMachineNameText(), L"pc01..");
}

TEST_F(IdentifiersTest, BothDotsStandWhenNothingCanBeHad)
{
    names.computer.reset();
    names.samCompatible.reset();
    names.dnsDomain.reset();
    EXPECT_EQ(GetMachineNameText(), L"..");
}

TEST_F(IdentifiersTest, NamesAreReadIntoBuffersOfFixedSizes)
{
    GetMachineNameText();
    std::vector<DWORD> sizes = names.sizes;
    std::sort(sizes.begin(), sizes.end());
    EXPECT_EQ(sizes, (std::vector<DWORD>{260, 260, 32767}));
}

TEST_F(IdentifiersTest, UserIdIsMadeOfTheAccountAndTheMachine)
{
    const Identifier user = ComputeUserId(L"ALICE");
    EXPECT_EQ(user.sourceText, L"alice : pc01.corp.corp.example");
    EXPECT_EQ(user.id, L"e99f5482-95f6-9444-7b48-564d3e240c7c");
}

TEST_F(IdentifiersTest, UserIdsOfNamesThatDifferInCaseAreTheSame)
{
    EXPECT_EQ(ComputeUserId(L"alice").id, L"e99f5482-95f6-9444-7b48-564d3e240c7c");
}

TEST_F(IdentifiersTest, UserIdsOfTwoUsersDiffer)
{
    EXPECT_EQ(ComputeUserId(L"bob").id, L"d12625fb-eb8d-21a9-a318-d086f5c3f8fb");
}

TEST_F(IdentifiersTest, UserIdOnAnotherMachineDiffers)
{
    names.computer = L"PC02";
    EXPECT_EQ(ComputeUserId(L"alice").id, L"5e28cb38-7842-7bf2-f3f5-e74ac2785497");
}

TEST_F(IdentifiersTest, EmptyAccountNameMeansTheCurrentUser)
{
    names.user = L"SYSTEM";
    const Identifier user = ComputeUserId(L"");
    EXPECT_EQ(user.sourceText, L"system : pc01.corp.corp.example");
    EXPECT_EQ(user.id, L"62b70b91-b0b3-07b1-b7fd-a631247251ca");
}

TEST_F(IdentifiersTest, CurrentUserIsNotAskedForWhenThereIsAName)
{
    names.user.reset();
    ComputeUserId(L"alice");
    EXPECT_EQ(names.sizes.size(), 3U);
}

TEST_F(IdentifiersTest, SourceTextKeepsLettersBeyondZ)
{
    EXPECT_EQ(ComputeUserId(L"\u00C4NNE").sourceText, L"\u00C4nne : pc01.corp.corp.example");
}

TEST_F(IdentifiersTest, UserIdNeedsNoWmi)
{
    ComputeUserId(L"alice");
    EXPECT_TRUE(journal.empty());
}

TEST_F(IdentifiersTest, DeviceIdIsMadeOfTheHardwareAndTheMachine)
{
    const Identifier device = ComputeDeviceId();
    EXPECT_EQ(device.sourceText, L"4c4c4544-0042 : sn 17 : pc01.corp.corp.example");
    EXPECT_EQ(device.id, L"e111af0a-96c4-1d32-8aa4-4d1d8ef6daad");
}

TEST_F(IdentifiersTest, DeviceIdOfTwoProductsHasEmptyHardwareParts)
{
    wmi.objects.push_back(wmi.objects[0]);
    const Identifier device = ComputeDeviceId();
    EXPECT_EQ(device.sourceText, L" :  : pc01.corp.corp.example");
    EXPECT_EQ(device.id, L"380f3559-d37f-2ed1-f0d5-a507118a4015");
}

TEST_F(IdentifiersTest, DeviceIdWithoutAProductHasEmptyHardwareParts)
{
    wmi.objects.clear();
    EXPECT_EQ(ComputeDeviceId().sourceText, L" :  : pc01.corp.corp.example");
}

TEST_F(IdentifiersTest, HardwareIsAskedForAnewEveryTime)
{
    ComputeDeviceId();
    const std::size_t once = journal.size();
    ComputeDeviceId();
    EXPECT_EQ(journal.size(), 2 * once);
}
} // namespace
