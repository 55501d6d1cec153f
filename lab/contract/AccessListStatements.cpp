// What becomes of a list into which a grant is merged.
#include "Check.h"

#include "AccessList.h"

#include <aclapi.h>

#include <cstdio>

using namespace PalvoLab;

namespace
{

// Whether the list is this one after a grant to all users (S-1-5-32-545).
bool IsAfterGrant(const wchar_t* before, DWORD rights, const wchar_t* wanted)
{
    Descriptor descriptor = ParseDescriptor(before);
    BYTE sid[SECURITY_MAX_SID_SIZE] = {};
    DWORD size = sizeof sid;
    CreateWellKnownSid(WinBuiltinUsersSid, nullptr, sid, &size);
    EXPLICIT_ACCESSW access = {};
    access.grfAccessPermissions = rights;
    access.grfAccessMode = GRANT_ACCESS;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.ptstrName = reinterpret_cast<LPWSTR>(sid);
    PACL merged = nullptr;
    CHECK(SetEntriesInAclW(1, &access, ListOf(descriptor.data()), &merged) == ERROR_SUCCESS);
    SECURITY_DESCRIPTOR after = {};
    InitializeSecurityDescriptor(&after, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&after, TRUE, merged, FALSE);
    const std::wstring text = DescriptorText(&after, DACL_SECURITY_INFORMATION);
    LocalFree(merged);
    // One right has several names.
    Descriptor expected = ParseDescriptor(wanted);
    const bool isSame = text == DescriptorText(expected.data(), DACL_SECURITY_INFORMATION);
    if (!isSame)
    {
        std::printf("    it is %ls\n", text.c_str());
    }
    return isSame;
}

} // namespace

STATEMENT(AGrantLeavesTheDenialOfAnotherAccountInFrontOfIt, "SetEntriesInAclW", Caller::Anybody)
{
    CHECK(IsAfterGrant(L"D:(D;;FA;;;LS)", FILE_ALL_ACCESS, L"D:(D;;FA;;;LS)(A;;FA;;;BU)"));
}

STATEMENT(AGrantLeavesADenialOfOtherRightsOfTheSameAccount, "SetEntriesInAclW", Caller::Anybody)
{
    CHECK(IsAfterGrant(L"D:(D;;FX;;;BU)", FILE_WRITE_DATA, L"D:(D;;FX;;;BU)(A;;0x2;;;BU)"));
}

STATEMENT(AGrantTakesItsRightsOffADenialOfTheSameAccount, "SetEntriesInAclW", Caller::Anybody)
{
    CHECK(IsAfterGrant(L"D:(D;;0x6;;;BU)", FILE_WRITE_DATA, L"D:(D;;0x4;;;BU)(A;;0x2;;;BU)"));
}

STATEMENT(ADenialOfWhatIsGrantedIsGone, "SetEntriesInAclW", Caller::Anybody)
{
    CHECK(IsAfterGrant(L"D:(D;;0x2;;;BU)(A;;FR;;;BA)", FILE_WRITE_DATA,
                       L"D:(A;;0x2;;;BU)(A;;FR;;;BA)"));
}

STATEMENT(AnInheritedDenialStaysBehindTheGrant, "SetEntriesInAclW", Caller::Anybody)
{
    CHECK(IsAfterGrant(L"D:(D;ID;0x2;;;BU)(A;ID;FA;;;BA)", FILE_WRITE_DATA,
                       L"D:(A;;0x2;;;BU)(D;ID;0x2;;;BU)(A;ID;FA;;;BA)"));
}
