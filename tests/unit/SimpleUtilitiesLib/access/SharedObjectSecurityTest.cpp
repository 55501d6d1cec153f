#include "AccessControlList.h"

#include "Replaced.h"
#include "ScarceMemory.h"
#include "SecurityText.h"
#include "WellKnownAccounts.h"

#include <gtest/gtest.h>

namespace
{
using Entries = std::multiset<std::wstring>;

TEST(SharedObjectSecurityTest, GrantsEverythingToThreeAccounts)
{
    SharedObjectSecurityDescriptor shared = BuildSharedObjectSecurityDescriptor();
    EXPECT_TRUE(shared.isValid);
    EXPECT_EQ(EntriesOf(SecurityText(&shared.descriptor)),
              (Entries{L"(A;OICI;GA;;;LS)", L"(A;OICI;GA;;;BA)", L"(A;OICI;GA;;;AU)"}));
}

TEST(SharedObjectSecurityTest, IsOfRevisionOneWithADaclThatIsNoDefault)
{
    SharedObjectSecurityDescriptor shared = BuildSharedObjectSecurityDescriptor();
    EXPECT_EQ(shared.descriptor.Revision, 1U);
    BOOL present = FALSE;
    BOOL defaulted = TRUE;
    PACL dacl = nullptr;
    ASSERT_TRUE(GetSecurityDescriptorDacl(&shared.descriptor, &present, &dacl, &defaulted));
    EXPECT_TRUE(present);
    EXPECT_FALSE(defaulted);
    EXPECT_EQ(dacl, shared.dacl.Get());
}

TEST(SharedObjectSecurityTest, HasNoIntegrityLabel)
{
    SharedObjectSecurityDescriptor shared = BuildSharedObjectSecurityDescriptor();
    BOOL present = TRUE;
    BOOL defaulted = FALSE;
    PACL sacl = nullptr;
    ASSERT_TRUE(GetSecurityDescriptorSacl(&shared.descriptor, &present, &sacl, &defaulted));
    EXPECT_FALSE(present);
}

TEST(SharedObjectSecurityTest, AccountsAreAddedInTheirOrder)
{
    std::vector<std::wstring> names;
    const Replaced<"ADVAPI32", "BuildExplicitAccessWithNameW",
                   decltype(BuildExplicitAccessWithNameW)>
        build(
            [&](PEXPLICIT_ACCESSW entry, LPWSTR trustee, DWORD rights, ACCESS_MODE mode,
                DWORD inheritance)
            {
                names.emplace_back(trustee);
                EXPECT_EQ(rights, 0x10000000U);
                EXPECT_EQ(mode, GRANT_ACCESS);
                EXPECT_EQ(inheritance, 3U);
                decltype(build)::Original(entry, trustee, rights, mode, inheritance);
            });
    EXPECT_TRUE(BuildSharedObjectSecurityDescriptor().isValid);
    EXPECT_EQ(names,
              (std::vector<std::wstring>{TrusteeName(WellKnownAccounts::LocalService),
                                         TrusteeName(WellKnownAccounts::Administrators),
                                         TrusteeName(WellKnownAccounts::AuthenticatedUsers)}));
}

TEST(SharedObjectSecurityTest, AnyAccountThatCannotBeAddedSpoilsIt)
{
    for (int failing = 1; failing <= 3; ++failing)
    {
        int calls = 0;
        const Replaced<"ADVAPI32", "SetEntriesInAclW", decltype(SetEntriesInAclW)> setEntries(
            [&](ULONG count, PEXPLICIT_ACCESSW entries, PACL old, PACL* merged) -> DWORD
            {
                return ++calls == failing
                           ? ERROR_INVALID_ACL
                           : decltype(setEntries)::Original(count, entries, old, merged);
            });
        EXPECT_FALSE(BuildSharedObjectSecurityDescriptor().isValid) << "call " << failing;
        EXPECT_EQ(calls, failing);
    }
}

TEST(SharedObjectSecurityTest,
     EachAccountThatCannotBeAddedForWantOfMemorySpoilsItAndNothingIsThrown)
{
    const ScarceMemory memory;
    SharedObjectSecurityDescriptor shared;
    int spoilt = 0;
    ScarceMemory::ForEveryFailure(
        [&] { shared = BuildSharedObjectSecurityDescriptor(); },
        [&]
        {
            EXPECT_EQ(shared.isValid, EntriesOf(SecurityText(shared.dacl.Get())).size() == 3);
            spoilt += shared.isValid ? 0 : 1;
        });
    EXPECT_TRUE(shared.isValid);
    EXPECT_GT(spoilt, 0);
}

TEST(SharedObjectSecurityTest, DescriptorThatTheSystemFindsInvalidIsInvalid)
{
    const Replaced<"ADVAPI32", "IsValidSecurityDescriptor", decltype(IsValidSecurityDescriptor)>
        isValid([](PSECURITY_DESCRIPTOR) { return FALSE; });
    EXPECT_FALSE(BuildSharedObjectSecurityDescriptor().isValid);
}

TEST(SharedObjectSecurityTest, DescriptorThatCannotBeInitialisedIsInvalid)
{
    const Replaced<"ADVAPI32", "InitializeSecurityDescriptor",
                   decltype(InitializeSecurityDescriptor)>
        initialize(
            [](PSECURITY_DESCRIPTOR, DWORD revision)
            {
                EXPECT_EQ(revision, 1U);
                return FALSE;
            });
    EXPECT_FALSE(BuildSharedObjectSecurityDescriptor().isValid);
}

TEST(SharedObjectSecurityTest, DescriptorThatTakesNoDaclIsInvalid)
{
    const Replaced<"ADVAPI32", "SetSecurityDescriptorDacl", decltype(SetSecurityDescriptorDacl)>
        setDacl([](PSECURITY_DESCRIPTOR, BOOL, PACL, BOOL) { return FALSE; });
    EXPECT_FALSE(BuildSharedObjectSecurityDescriptor().isValid);
}

TEST(BuildSecurityDescriptorTest, SaclIsCarriedOverWhenThereIsOne)
{
    const ListFromText dacl(L"D:(A;;GA;;;BA)");
    const ListFromText sacl(L"D:");
    SECURITY_DESCRIPTOR descriptor = {};
    EXPECT_TRUE(BuildSecurityDescriptor(dacl.List(), sacl.List(), descriptor));
    BOOL present = FALSE;
    BOOL defaulted = TRUE;
    PACL carried = nullptr;
    ASSERT_TRUE(GetSecurityDescriptorSacl(&descriptor, &present, &carried, &defaulted));
    EXPECT_TRUE(present);
    EXPECT_FALSE(defaulted);
    EXPECT_EQ(carried, sacl.List());
}

TEST(BuildSecurityDescriptorTest, SaclThatIsNotTakenSpoilsIt)
{
    const Replaced<"ADVAPI32", "SetSecurityDescriptorSacl", decltype(SetSecurityDescriptorSacl)>
        setSacl([](PSECURITY_DESCRIPTOR, BOOL, PACL, BOOL) { return FALSE; });
    const ListFromText list(L"D:");
    SECURITY_DESCRIPTOR descriptor = {};
    EXPECT_FALSE(BuildSecurityDescriptor(list.List(), list.List(), descriptor));
    EXPECT_TRUE(BuildSecurityDescriptor(list.List(), nullptr, descriptor));
}
} // namespace
