#include "ResourceAccessControl.h"

#include "Journal.h"
#include "Replaced.h"
#include "SecurityText.h"
#include "TemporaryFolder.h"
#include "WellKnownAccounts.h"

#include <gtest/gtest.h>

#include <sddl.h>

namespace
{
using Entries = std::multiset<std::wstring>;
using MakeAbsoluteDouble = Replaced<"ADVAPI32", "MakeAbsoluteSD", decltype(MakeAbsoluteSD)>;
using ConvertDouble = Replaced<"ADVAPI32", "ConvertStringSecurityDescriptorToSecurityDescriptorW",
                               decltype(ConvertStringSecurityDescriptorToSecurityDescriptorW)>;

const std::wstring Grant = L"(A;OICI;0xc0010000;;;LS)";

/// The bytes that a list takes; none when there is no list.
std::string BytesOf(PACL list)
{
    return list == nullptr ? std::string()
                           : std::string(reinterpret_cast<const char*>(list), list->AclSize);
}

PACL SaclOf(PSECURITY_DESCRIPTOR descriptor)
{
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PACL list = nullptr;
    GetSecurityDescriptorSacl(descriptor, &present, &list, &defaulted);
    return present ? list : nullptr;
}

/// A self-relative descriptor whose DACL is null. The caller frees it with LocalFree.
PSECURITY_DESCRIPTOR WithoutADacl()
{
    SECURITY_DESCRIPTOR absolute = {};
    InitializeSecurityDescriptor(&absolute, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&absolute, TRUE, nullptr, FALSE);
    DWORD size = 0;
    MakeSelfRelativeSD(&absolute, nullptr, &size);
    PSECURITY_DESCRIPTOR relative = LocalAlloc(LPTR, size);
    MakeSelfRelativeSD(&absolute, relative, &size);
    return relative;
}

/// Grants Local Service access to a file whose descriptor the test chooses.
class GrantAccessTest : public testing::Test
{
protected:
    bool GrantTo(const std::wstring& path)
    {
        FileAccessControl file(path);
        file.Open();
        const bool granted = GrantAccess(file, TrusteeName(WellKnownAccounts::LocalService));
        heldSacl = BytesOf(file.Sacl());
        return granted;
    }
    bool GrantTo() { return GrantTo(folder.WriteFile(L"file", "x")); }

    static Entries Normal(const std::wstring& text) { return ListFromText(text).Entries(); }

    TemporaryFolder folder;

    /// What the object's security is: SDDL text, and the result of the call.
    std::wstring current = L"D:(A;;GA;;;BA)";
    DWORD readResult = ERROR_SUCCESS;
    DWORD applyResult = ERROR_SUCCESS;

    int applied = 0;
    Entries dacl;
    /// The integrity label that was applied, that of the descriptor that was checked, and the one
    /// that the object's class holds afterwards.
    std::string appliedSacl;
    std::string checkedSacl;
    std::string heldSacl;
    /// Where a call that fails leaves an address; nobody's.
    int garbage = 0;

private:
    Replaced<"ADVAPI32", "GetSecurityInfo", decltype(GetSecurityInfo)> getSecurity{
        [this](HANDLE handle, SE_OBJECT_TYPE type, SECURITY_INFORMATION wanted, PSID* owner,
               PSID* group, PACL* list, PACL* sacl, PSECURITY_DESCRIPTOR* descriptor)
        {
            EXPECT_NE(handle, INVALID_HANDLE_VALUE);
            EXPECT_EQ(type, 1);
            EXPECT_EQ(wanted, 0x14U);
            EXPECT_TRUE(owner == nullptr && group == nullptr && list == nullptr && sacl == nullptr);
            if (readResult != ERROR_SUCCESS)
            {
                *descriptor = &garbage;
            }
            else if (current == L"NULL DACL")
            {
                *descriptor = WithoutADacl();
            }
            else if (!current.empty())
            {
                *descriptor = ListFromText(current).Release();
            }
            return readResult;
        }};
    Replaced<"KERNEL32", "LocalFree", decltype(LocalFree)> localFree{
        [this](HLOCAL memory) -> HLOCAL
        {
            EXPECT_NE(memory, &garbage) << "what a failing call left was given back";
            return memory == &garbage ? nullptr : decltype(localFree)::Original(memory);
        }};
    Replaced<"ADVAPI32", "SetSecurityInfo", decltype(SetSecurityInfo)> setSecurity{
        [this](HANDLE handle, SE_OBJECT_TYPE type, SECURITY_INFORMATION changed, PSID owner,
               PSID group, PACL list, PACL sacl)
        {
            EXPECT_NE(handle, INVALID_HANDLE_VALUE);
            EXPECT_EQ(type, 1);
            EXPECT_EQ(changed, 4U);
            EXPECT_EQ(owner, nullptr);
            EXPECT_EQ(group, nullptr);
            ++applied;
            dacl = EntriesOf(SecurityText(list));
            appliedSacl = BytesOf(sacl);
            return applyResult;
        }};
    Replaced<"ADVAPI32", "IsValidSecurityDescriptor", decltype(IsValidSecurityDescriptor)>
        checkDescriptor{[this](PSECURITY_DESCRIPTOR descriptor)
                        {
                            checkedSacl = BytesOf(SaclOf(descriptor));
                            return decltype(checkDescriptor)::Original(descriptor);
                        }};
};

TEST_F(GrantAccessTest, AddsReadWriteAndDeleteToTheDacl)
{
    EXPECT_TRUE(GrantTo());
    EXPECT_EQ(applied, 1);
    EXPECT_EQ(dacl, Normal(L"D:(A;;GA;;;BA)" + Grant));
}

TEST_F(GrantAccessTest, IntegrityLabelIsCarriedOver)
{
    current = L"D:(A;;GA;;;BA)S:(ML;;NW;;;LW)";
    const ListFromText label(current);
    const std::string bytes = BytesOf(SaclOf(label.Descriptor()));
    ASSERT_GT(bytes.size(), sizeof(ACL));
    EXPECT_TRUE(GrantTo());
    EXPECT_EQ(checkedSacl, bytes);
    EXPECT_EQ(appliedSacl, bytes);
    EXPECT_EQ(heldSacl, bytes);
}

TEST_F(GrantAccessTest, ObjectWithoutAnIntegrityLabelGetsNone)
{
    EXPECT_TRUE(GrantTo());
    EXPECT_EQ(checkedSacl, "");
    EXPECT_EQ(appliedSacl, "");
    EXPECT_EQ(heldSacl, "");
}

TEST_F(GrantAccessTest, ObjectWithoutADaclIsLeftOpenToEverybody)
{
    current = L"NULL DACL";
    EXPECT_FALSE(GrantTo());
    EXPECT_EQ(applied, 0);
}

TEST_F(GrantAccessTest, FilesOwnEntryTakesTheRightsOfTheGrant)
{
    current = L"D:(A;;SD;;;LS)";
    EXPECT_TRUE(GrantTo());
    EXPECT_EQ(dacl, Normal(L"D:" + Grant));
}

TEST_F(GrantAccessTest, FoldersOwnEntryStaysBesideTheOneThatIsInherited)
{
    current = L"D:(A;;GA;;;LS)";
    EXPECT_TRUE(GrantTo(folder.Path()));
    EXPECT_EQ(dacl, Normal(L"D:(A;;GA;;;LS)" + Grant));
}

TEST_F(GrantAccessTest, ObjectThatCannotTellWhatItIsCountsAsAFolder)
{
    const Replaced<"KERNEL32", "GetFileInformationByHandle", decltype(GetFileInformationByHandle)>
        information([](HANDLE, LPBY_HANDLE_FILE_INFORMATION) { return FALSE; });
    current = L"D:(A;;GA;;;LS)";
    EXPECT_TRUE(GrantTo());
    EXPECT_EQ(dacl, Normal(L"D:(A;;GA;;;LS)" + Grant));
}

TEST_F(GrantAccessTest, ObjectThatIsNotOpenIsLeftAlone)
{
    FileAccessControl file(folder.WriteFile(L"file", "x"));
    EXPECT_FALSE(GrantAccess(file, TrusteeName(WellKnownAccounts::LocalService)));
    EXPECT_EQ(applied, 0);
}

TEST_F(GrantAccessTest, OwnerAndGroupDoNotMatter)
{
    current = L"O:BAG:SYD:(A;;GA;;;BA)";
    EXPECT_TRUE(GrantTo());
    EXPECT_EQ(dacl, Normal(L"D:(A;;GA;;;BA)" + Grant));
}

TEST_F(GrantAccessTest, DescriptorThatCannotBeReadIsReplacedByAnEmptyDacl)
{
    readResult = ERROR_ACCESS_DENIED;
    EXPECT_TRUE(GrantTo());
    EXPECT_EQ(dacl, Normal(L"D:" + Grant));
}

TEST_F(GrantAccessTest, ObjectWithoutADescriptorStartsFromAnEmptyDacl)
{
    current = L"";
    EXPECT_TRUE(GrantTo());
    EXPECT_EQ(dacl, Normal(L"D:" + Grant));
}

TEST_F(GrantAccessTest, DescriptorThatCannotBeTakenApartIsReplacedByAnEmptyDacl)
{
    int calls = 0;
    const MakeAbsoluteDouble makeAbsolute(
        [&](PSECURITY_DESCRIPTOR from, PSECURITY_DESCRIPTOR to, LPDWORD size, PACL list,
            LPDWORD listSize, PACL sacl, LPDWORD saclSize, PSID owner, LPDWORD ownerSize,
            PSID group, LPDWORD groupSize)
        {
            return ++calls == 2 ? FALSE
                                : decltype(makeAbsolute)::Original(from, to, size, list, listSize,
                                                                   sacl, saclSize, owner, ownerSize,
                                                                   group, groupSize);
        });
    EXPECT_TRUE(GrantTo());
    EXPECT_EQ(dacl, Normal(L"D:" + Grant));
}

TEST_F(GrantAccessTest, EmptyDaclComesFromTheTextD)
{
    readResult = ERROR_ACCESS_DENIED;
    const ConvertDouble convert(
        [](LPCWSTR text, DWORD revision, PSECURITY_DESCRIPTOR* descriptor, PULONG size)
        {
            EXPECT_STREQ(text, L"D:");
            EXPECT_EQ(revision, 1U);
            return decltype(convert)::Original(text, revision, descriptor, size);
        });
    EXPECT_TRUE(GrantTo());
}

TEST_F(GrantAccessTest, NoDescriptorAtAllLeavesTheObjectAlone)
{
    readResult = ERROR_ACCESS_DENIED;
    const ConvertDouble convert(
        [this](LPCWSTR, DWORD, PSECURITY_DESCRIPTOR* descriptor, PULONG)
        {
            *descriptor = &garbage;
            return FALSE;
        });
    EXPECT_FALSE(GrantTo());
    EXPECT_EQ(applied, 0);
}

TEST_F(GrantAccessTest, EntryThatCannotBeAddedLeavesTheObjectAlone)
{
    const Replaced<"ADVAPI32", "SetEntriesInAclW", decltype(SetEntriesInAclW)> setEntries(
        [this](ULONG, PEXPLICIT_ACCESSW, PACL, PACL* merged) -> DWORD
        {
            *merged = reinterpret_cast<PACL>(&garbage);
            return ERROR_INVALID_ACL;
        });
    EXPECT_FALSE(GrantTo());
    EXPECT_EQ(applied, 0);
}

TEST_F(GrantAccessTest, InvalidDescriptorLeavesTheObjectAlone)
{
    const Replaced<"ADVAPI32", "IsValidSecurityDescriptor", decltype(IsValidSecurityDescriptor)>
        isValid([](PSECURITY_DESCRIPTOR) { return FALSE; });
    EXPECT_FALSE(GrantTo());
    EXPECT_EQ(applied, 0);
}

TEST_F(GrantAccessTest, RefusedDaclIsAFailure)
{
    applyResult = ERROR_ACCESS_DENIED;
    EXPECT_FALSE(GrantTo());
    EXPECT_EQ(applied, 1);
}

TEST_F(GrantAccessTest, FileThatCannotBeOpenedIsLeftAlone)
{
    EXPECT_FALSE(GrantTo(folder.Of(L"none")));
    EXPECT_EQ(applied, 0);
}

TEST_F(GrantAccessTest, DirectoryIsAccepted)
{
    EXPECT_TRUE(GrantTo(folder.Path()));
    EXPECT_EQ(applied, 1);
}
} // namespace
