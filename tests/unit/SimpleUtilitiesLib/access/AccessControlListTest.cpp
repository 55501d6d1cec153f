#include "AccessControlList.h"

#include "Replaced.h"
#include "ScarceMemory.h"
#include "SecurityText.h"
#include "WellKnownAccounts.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

namespace
{
using SetEntriesDouble = Replaced<"ADVAPI32", "SetEntriesInAclW", decltype(SetEntriesInAclW)>;
using Entries = std::multiset<std::wstring>;

/// The entries as the system writes them.
Entries Normal(const std::wstring& text)
{
    return ListFromText(text).Entries();
}

class AccessControlListTest : public testing::Test
{
protected:
    /// What becomes of a list when rights are granted to Local Service.
    Entries Granted(const std::wstring& before, DWORD rights)
    {
        const ListFromText list(before);
        EXPECT_TRUE(AddGrantToAcl(localService, rights, list.List(), kind, acl));
        EXPECT_EQ(EntriesOf(SecurityText(list.Descriptor())), Normal(before)) << "it was changed";
        return EntriesOf(SecurityText(acl.Get()));
    }

    /// The rights that the system is asked to add, and to which list, when reading, writing and
    /// deleting are granted to Local Service.
    Entries GivenToTheSystem(const std::wstring& before)
    {
        Entries given;
        const SetEntriesDouble setEntries(
            [&](ULONG count, PEXPLICIT_ACCESSW entries, PACL old, PACL* merged)
            {
                std::wostringstream text;
                text << L"0x" << std::hex << entries->grfAccessPermissions << L" to "
                     << SecurityText(old);
                given.insert(text.str());
                return decltype(setEntries)::Original(count, entries, old, merged);
            });
        const ListFromText list(before);
        EXPECT_TRUE(AddGrantToAcl(localService, 0xC0010000, list.List(), kind, acl));
        return given;
    }

    /// Grants to an account that cannot be looked up for this reason.
    bool GrantToAnAccount(DWORD thatFailsWith, const ListFromText& list)
    {
        AccountNames::OfThisRun() = {}; // else its SID is known
        const Replaced<"ADVAPI32", "LookupAccountNameW", decltype(LookupAccountNameW)> lookup(
            [=](LPCWSTR, LPCWSTR, PSID, LPDWORD, LPWSTR, LPDWORD, PSID_NAME_USE)
            {
                SetLastError(thatFailsWith);
                return FALSE;
            });
        return AddGrantToAcl(localService, GENERIC_WRITE, list.List(), kind, acl);
    }

    /// Grants while a step of the copying fails: the system is not asked, and there is no list.
    void ExpectNoList()
    {
        const ListFromText list(L"D:(A;OICI;GR;;;LS)(A;;GA;;;BA)");
        const SetEntriesDouble setEntries(
            [&](ULONG, PEXPLICIT_ACCESSW, PACL, PACL*) -> DWORD
            {
                ADD_FAILURE() << "the system was asked";
                return ERROR_INVALID_ACL;
            });
        EXPECT_FALSE(AddGrantToAcl(localService, GENERIC_WRITE, list.List(), kind, acl));
        EXPECT_FALSE(acl.IsValid());
    }

    /// Adds an entry of another mode to a list with a grant that would be taken over: the system is
    /// given both as they are.
    void ExpectTheSystemToAdd(ACCESS_MODE mode, const std::wstring& expected)
    {
        const ListFromText list(L"D:(A;OICI;GR;;;LS)(A;;GA;;;BA)");
        std::wstring name = localService;
        EXPLICIT_ACCESS_W entry = {};
        BuildExplicitAccessWithNameW(&entry, name.data(), GENERIC_WRITE, mode,
                                     SUB_CONTAINERS_AND_OBJECTS_INHERIT);
        const SetEntriesDouble setEntries(
            [&](ULONG count, PEXPLICIT_ACCESSW entries, PACL old, PACL* merged)
            {
                EXPECT_EQ(old, list.List());
                EXPECT_EQ(entries->grfAccessMode, mode);
                EXPECT_EQ(entries->grfAccessPermissions, 0x40000000U);
                return decltype(setEntries)::Original(count, entries, old, merged);
            });
        EXPECT_TRUE(AddExplicitAccessToAcl(entry, list.List(), kind, acl));
        EXPECT_EQ(EntriesOf(SecurityText(acl.Get())), Normal(expected));
    }

    const std::wstring localService = TrusteeName(WellKnownAccounts::LocalService);
    ObjectKind kind = ObjectKind::Leaf;
    Acl acl;
};

TEST_F(AccessControlListTest, NoListBecomesOneEntryThatIsInherited)
{
    EXPECT_TRUE(AddGrantToAcl(localService, 0x10000000, nullptr, kind, acl));
    EXPECT_EQ(EntriesOf(SecurityText(acl.Get())), Entries{L"(A;OICI;GA;;;LS)"});
}

TEST_F(AccessControlListTest, GrantIsAskedForByName)
{
    const Replaced<"ADVAPI32", "BuildExplicitAccessWithNameW",
                   decltype(BuildExplicitAccessWithNameW)>
        build(
            [&](PEXPLICIT_ACCESSW entry, LPWSTR trustee, DWORD rights, ACCESS_MODE mode,
                DWORD inheritance)
            {
                EXPECT_EQ(trustee, localService);
                EXPECT_EQ(rights, 0xC0010000U);
                EXPECT_EQ(mode, 1);
                EXPECT_EQ(inheritance, 3U);
                decltype(build)::Original(entry, trustee, rights, mode, inheritance);
            });
    EXPECT_TRUE(AddGrantToAcl(localService, 0xC0010000, nullptr, kind, acl));
}

TEST_F(AccessControlListTest, OtherEntriesStay)
{
    EXPECT_EQ(Granted(L"D:(D;;GW;;;BG)(A;OICI;GR;;;BA)(A;ID;GA;;;SY)", GENERIC_ALL),
              Normal(L"D:(D;;GW;;;BG)(A;OICI;GR;;;BA)(A;ID;GA;;;SY)(A;OICI;GA;;;LS)"));
}

TEST_F(AccessControlListTest, EmptyListGetsTheEntry)
{
    EXPECT_EQ(Granted(L"D:", GENERIC_ALL), Normal(L"D:(A;OICI;GA;;;LS)"));
}

TEST_F(AccessControlListTest, GrantingAgainDoesNotMakeTheListGrow)
{
    EXPECT_EQ(Granted(L"D:(A;OICI;GA;;;LS)(A;;GR;;;BA)", GENERIC_ALL),
              Normal(L"D:(A;OICI;GA;;;LS)(A;;GR;;;BA)"));
}

TEST_F(AccessControlListTest, EntryOfTheSameAccountTakesTheRightsOfBoth)
{
    EXPECT_EQ(Granted(L"D:(A;OICI;GR;;;LS)", GENERIC_WRITE), Normal(L"D:(A;OICI;GRGW;;;LS)"));
}

TEST_F(AccessControlListTest, EntryWithoutInheritanceIsTheSameTooOnALeaf)
{
    EXPECT_EQ(Granted(L"D:(A;;GR;;;LS)", GENERIC_WRITE), Normal(L"D:(A;OICI;GRGW;;;LS)"));
}

TEST_F(AccessControlListTest, EntryWithoutInheritanceStaysAFoldersOwn)
{
    kind = ObjectKind::Folder;
    EXPECT_EQ(Granted(L"D:(A;;GR;;;LS)", GENERIC_WRITE), Normal(L"D:(A;;GR;;;LS)(A;OICI;GW;;;LS)"));
}

TEST_F(AccessControlListTest, EntryWithTheSameInheritanceIsTheSameOnAFolder)
{
    kind = ObjectKind::Folder;
    EXPECT_EQ(Granted(L"D:(A;OICI;GR;;;LS)(A;OI;SD;;;LS)", GENERIC_WRITE),
              Normal(L"D:(A;OI;SD;;;LS)(A;OICI;GRGW;;;LS)"));
}

TEST_F(AccessControlListTest, EntryOfAnAccountThatHasToBeLookedUpIsFoundToo)
{
    AccountNames::OfThisRun() = {};
    EXPECT_EQ(Granted(L"D:(A;OICI;GR;;;LS)", GENERIC_WRITE), Normal(L"D:(A;OICI;GRGW;;;LS)"));
}

TEST_F(AccessControlListTest, SeveralEntriesOfTheSameAccountBecomeOne)
{
    EXPECT_EQ(Granted(L"D:(A;;GR;;;LS)(A;;GA;;;BA)(A;OICI;SD;;;LS)", GENERIC_WRITE),
              Normal(L"D:(A;;GA;;;BA)(A;OICI;GRGWSD;;;LS)"));
}

TEST_F(AccessControlListTest, DenyingEntryOfTheSameAccountStays)
{
    const Entries entries = Granted(L"D:(D;OICI;GW;;;LS)", GENERIC_READ);
    EXPECT_EQ(entries, Normal(L"D:(D;OICI;GW;;;LS)(A;OICI;GR;;;LS)"));
}

TEST_F(AccessControlListTest, DenialOfTheGrantedRightsIsLeftToTheSystem)
{
    const ListFromText answer(L"D:(D;OICI;GW;;;LS)(A;OICI;GR;;;LS)");
    Entries given;
    const SetEntriesDouble setEntries(
        [&](ULONG, PEXPLICIT_ACCESSW, PACL old, PACL* merged) -> DWORD
        {
            given = EntriesOf(SecurityText(old));
            *merged = static_cast<PACL>(LocalAlloc(LPTR, answer.List()->AclSize));
            std::memcpy(*merged, answer.List(), answer.List()->AclSize);
            return ERROR_SUCCESS;
        });
    EXPECT_EQ(Granted(L"D:(D;OICI;GRGW;;;LS)", GENERIC_READ), answer.Entries());
    EXPECT_EQ(given, Normal(L"D:(D;OICI;GRGW;;;LS)"));
}

TEST_F(AccessControlListTest, NothingIsGatheredForAnAccountThatIsDeniedSomething)
{
    // The system takes the rights that it is given off the denial.
    const std::wstring before = L"D:(D;;WP;;;LS)(A;;FA;;;LS)";
    EXPECT_EQ(GivenToTheSystem(before), (Entries{L"0xc0010000 to " + before}));
    const std::wstring inAnyOrder = L"D:(A;;FA;;;LS)(D;OICI;WP;;;LS)";
    EXPECT_EQ(GivenToTheSystem(inAnyOrder), (Entries{L"0xc0010000 to " + inAnyOrder}));
}

TEST_F(AccessControlListTest, InheritedDenialAndThatOfAnotherAccountDoNotKeepFromGathering)
{
    EXPECT_EQ(GivenToTheSystem(L"D:(A;;FA;;;LS)(D;ID;WP;;;LS)(D;;WP;;;BG)"),
              (Entries{L"0xc01f01ff to D:(D;ID;WP;;;LS)(D;;WP;;;BG)"}));
}

TEST_F(AccessControlListTest, InheritedEntryOfTheSameAccountStays)
{
    EXPECT_EQ(Granted(L"D:(A;OICIID;GR;;;LS)", GENERIC_WRITE),
              Normal(L"D:(A;OICIID;GR;;;LS)(A;OICI;GW;;;LS)"));
}

TEST_F(AccessControlListTest, GrantThatTheSystemRefusesGivesNoList)
{
    acl = Acl(static_cast<PACL>(LocalAlloc(LPTR, 8)));
    int garbage = 0;
    const SetEntriesDouble setEntries(
        [&](ULONG, PEXPLICIT_ACCESSW, PACL, PACL* merged) -> DWORD
        {
            *merged = reinterpret_cast<PACL>(&garbage);
            return ERROR_INVALID_ACL;
        });
    const Replaced<"KERNEL32", "LocalFree", decltype(LocalFree)> localFree(
        [&](HLOCAL memory) -> HLOCAL
        {
            EXPECT_NE(memory, &garbage) << "what a failing call leaves there is nobody's";
            return memory == &garbage ? nullptr : decltype(localFree)::Original(memory);
        });
    EXPECT_FALSE(AddGrantToAcl(localService, GENERIC_ALL, nullptr, kind, acl));
    EXPECT_FALSE(acl.IsValid());
}

TEST_F(AccessControlListTest, GrantToNobodyIsAFailureAndTheSystemIsNotAsked)
{
    acl = Acl(static_cast<PACL>(LocalAlloc(LPTR, 8)));
    const SetEntriesDouble setEntries(
        [](ULONG, PEXPLICIT_ACCESSW, PACL, PACL*) -> DWORD
        {
            ADD_FAILURE() << "the system was asked";
            return ERROR_INVALID_ACL;
        });
    EXPECT_FALSE(AddGrantToAcl(L"", GENERIC_ALL, nullptr, kind, acl));
    EXPECT_FALSE(acl.IsValid());
}

TEST_F(AccessControlListTest, GrantWithoutAListIsRefused)
{
    const SetEntriesDouble setEntries([](ULONG, PEXPLICIT_ACCESSW, PACL, PACL*) -> DWORD
                                      { return ERROR_SUCCESS; });
    EXPECT_FALSE(AddGrantToAcl(localService, GENERIC_ALL, nullptr, kind, acl));
}

TEST_F(AccessControlListTest, EntryIsMergedOnce)
{
    int calls = 0;
    const SetEntriesDouble setEntries(
        [&](ULONG count, PEXPLICIT_ACCESSW entries, PACL old, PACL* merged)
        {
            ++calls;
            EXPECT_EQ(count, 1U);
            return decltype(setEntries)::Original(count, entries, old, merged);
        });
    Granted(L"D:(A;;GA;;;BA)", GENERIC_READ);
    EXPECT_EQ(calls, 1);
}

TEST_F(AccessControlListTest, TrusteeThatIsNoNameIsLeftToTheSystem)
{
    const ListFromText list(L"D:(A;;GA;;;BA)");
    BYTE sid[SECURITY_MAX_SID_SIZE] = {};
    DWORD size = sizeof(sid);
    ASSERT_TRUE(CreateWellKnownSid(WinLocalServiceSid, nullptr, sid, &size));
    EXPLICIT_ACCESS_W entry = {};
    entry.grfAccessPermissions = GENERIC_READ;
    entry.grfAccessMode = GRANT_ACCESS;
    BuildTrusteeWithSidW(&entry.Trustee, sid);
    EXPECT_TRUE(AddExplicitAccessToAcl(entry, list.List(), kind, acl));
    EXPECT_EQ(EntriesOf(SecurityText(acl.Get())), Normal(L"D:(A;;GA;;;BA)(A;;GR;;;LS)"));
}

TEST_F(AccessControlListTest, DenialIsLeftToTheSystemAndTakesNoGrantOver)
{
    ExpectTheSystemToAdd(DENY_ACCESS, L"D:(D;OICI;GW;;;LS)(A;OICI;GR;;;LS)(A;;GA;;;BA)");
}

TEST_F(AccessControlListTest, NewSetOfRightsIsLeftToTheSystemAndTakesNoGrantOver)
{
    ExpectTheSystemToAdd(SET_ACCESS, L"D:(A;OICI;GW;;;LS)(A;;GA;;;BA)");
}

TEST_F(AccessControlListTest, NameThatNoAccountHasIsLeftToTheSystem)
{
    const ListFromText list(L"D:(A;OICI;GR;;;LS)(A;;GA;;;BA)");
    PACL given = nullptr;
    const SetEntriesDouble setEntries(
        [&](ULONG, PEXPLICIT_ACCESSW, PACL old, PACL* merged) -> DWORD
        {
            given = old;
            *merged = static_cast<PACL>(LocalAlloc(LPTR, 8));
            return ERROR_SUCCESS;
        });
    EXPECT_TRUE(GrantToAnAccount(ERROR_NONE_MAPPED, list));
    EXPECT_EQ(given, list.List());
}

TEST_F(AccessControlListTest, AccountThatCannotBeLookedUpIsAFailure)
{
    const SetEntriesDouble setEntries(
        [](ULONG, PEXPLICIT_ACCESSW, PACL, PACL*) -> DWORD
        {
            ADD_FAILURE() << "the system was asked";
            return ERROR_INVALID_ACL;
        });
    const ListFromText list(L"D:(A;OICI;GR;;;LS)(A;;GA;;;BA)");
    EXPECT_FALSE(GrantToAnAccount(ERROR_NOT_ENOUGH_MEMORY, list));
    EXPECT_FALSE(acl.IsValid());
}

TEST_F(AccessControlListTest, ListThatCannotBeReadIsAFailure)
{
    const Replaced<"ADVAPI32", "GetAclInformation", decltype(GetAclInformation)> information(
        [](PACL, LPVOID, DWORD, ACL_INFORMATION_CLASS) { return FALSE; });
    ExpectNoList();
}

TEST_F(AccessControlListTest, CopyWithoutMemoryIsAFailure)
{
    const Replaced<"KERNEL32", "LocalAlloc", decltype(LocalAlloc)> localAlloc(
        [](UINT, SIZE_T) -> HLOCAL { return nullptr; });
    ExpectNoList();
}

TEST_F(AccessControlListTest, CopyThatCannotBeMadeIsAFailure)
{
    const Replaced<"ADVAPI32", "InitializeAcl", decltype(InitializeAcl)> initialize(
        [](PACL, DWORD, DWORD) { return FALSE; });
    ExpectNoList();
}

TEST_F(AccessControlListTest, EntryThatCannotBeReadIsAFailure)
{
    const Replaced<"ADVAPI32", "GetAce", decltype(GetAce)> getAce([](PACL, DWORD, LPVOID*)
                                                                  { return FALSE; });
    ExpectNoList();
}

TEST_F(AccessControlListTest, EntryThatCannotBeCopiedIsAFailure)
{
    const Replaced<"ADVAPI32", "AddAce", decltype(AddAce)> addAce(
        [](PACL, DWORD, DWORD, LPVOID, DWORD) { return FALSE; });
    ExpectNoList();
}

TEST_F(AccessControlListTest, MergingWithoutMemoryIsAFailureAndDoesNotThrow)
{
    const ScarceMemory memory;
    const ListFromText list(L"D:(A;OICI;GR;;;LS)(A;;GA;;;BA)");
    int asked = 0;
    const SetEntriesDouble setEntries(
        [&](ULONG, PEXPLICIT_ACCESSW, PACL, PACL* merged) -> DWORD
        {
            ++asked;
            *merged = static_cast<PACL>(LocalAlloc(LPTR, 8));
            return ERROR_SUCCESS;
        });
    bool merged = false;
    int refusals = 0;
    ScarceMemory::ForEveryFailure(
        [&]
        {
            asked = 0;
            merged = AddGrantToAcl(localService, GENERIC_WRITE, list.List(), kind, acl);
        },
        [&]
        {
            EXPECT_EQ(asked, merged ? 1 : 0);
            EXPECT_EQ(acl.IsValid(), merged);
            refusals += merged ? 0 : 1;
        });
    EXPECT_TRUE(merged);
    EXPECT_GT(refusals, 0);
}
} // namespace
