#define SECURITY_WIN32
#include "Check.h"

#include "LabState.h"

#include <aclapi.h>
#include <sddl.h>
#include <security.h>

#include <string>

using namespace PalvoLab;

namespace
{

struct Name
{
    bool found = false;
    std::wstring name;
    std::wstring domain;
};

Name Lookup(const std::wstring& sidText)
{
    PSID sid = nullptr;
    ConvertStringSidToSidW(sidText.c_str(), &sid);
    wchar_t name[64] = {};
    wchar_t domain[64] = {};
    DWORD nameSize = 64;
    DWORD domainSize = 64;
    SID_NAME_USE use = SidTypeUnknown;
    const BOOL found = LookupAccountSidW(nullptr, sid, name, &nameSize, domain, &domainSize, &use);
    const DWORD error = GetLastError();
    LocalFree(sid);
    SetLastError(error);
    return {found != FALSE, name, domain};
}

bool CanBeTrustee(std::wstring trustee)
{
    EXPLICIT_ACCESSW access = {};
    BuildExplicitAccessWithNameW(&access, trustee.data(), GENERIC_ALL, GRANT_ACCESS,
                                 NO_INHERITANCE);
    PACL acl = nullptr;
    const DWORD result = SetEntriesInAclW(1, &access, nullptr, &acl);
    LocalFree(acl);
    return result == ERROR_SUCCESS;
}

} // namespace

LAB_TEST(UsersOfTheLabCanBeLookedUp)
{
    CHECK(Lookup(SidOf(L"bob")).name == L"bob");
    CHECK(Lookup(L"S-1-5-19").domain == L"NT AUTHORITY");
}

STATEMENT(ASidOfNobodyHasNoName, "LookupAccountSidW", Caller::Anybody)
{
    CHECK_FAILS(Lookup(L"S-1-5-21-9-9-9-9999").found, ERROR_NONE_MAPPED);
}

STATEMENT(ALookupTellsTheSizesThatItNeeds, "LookupAccountSidW", Caller::Anybody)
{
    PSID sid = nullptr;
    ConvertStringSidToSidW(L"S-1-5-19", &sid);
    DWORD nameSize = 0;
    DWORD domainSize = 0;
    SID_NAME_USE use = SidTypeUnknown;
    CHECK_FAILS(LookupAccountSidW(nullptr, sid, nullptr, &nameSize, nullptr, &domainSize, &use),
                ERROR_INSUFFICIENT_BUFFER);
    const Name found = Lookup(L"S-1-5-19");
    CHECK(nameSize > found.name.size() && domainSize > found.domain.size());
    LocalFree(sid);
}

STATEMENT(AnAccountIsATrusteeByTheNameThatItHas, "SetEntriesInAclW", Caller::Anybody)
{
    const Name found = Lookup(L"S-1-5-19");
    CHECK(found.found && CanBeTrustee(found.domain + L"\\" + found.name));
    CHECK(!CanBeTrustee(L"PalvoContract\\Nobody"));
}

LAB_TEST(LocalisedNamesReplaceTheEnglishOnes)
{
    WriteSetting(L"Localised", L"on");
    CHECK(Lookup(L"S-1-5-19").name == L"LOKALER DIENST");
    CHECK(CanBeTrustee(L"NT-AUTORIT\u00C4T\\LOKALER DIENST"));
    HANDLE token = nullptr;
    CHECK_FAILS(
        LogonUserW(L"Local Service", L"NT AUTHORITY", nullptr, LOGON32_LOGON_SERVICE, 0, &token),
        ERROR_LOGON_FAILURE);
    CHECK(LogonUserW(L"LOKALER DIENST", L"NT-AUTORIT\u00C4T", nullptr, LOGON32_LOGON_SERVICE, 0,
                     &token));
    CloseHandle(token);
    RemoveSetting(L"Localised");
    CHECK(CanBeTrustee(L"NT AUTHORITY\\LOCAL SERVICE"));
    CHECK(!CanBeTrustee(L"NT-AUTORIT\u00C4T\\LOKALER DIENST"));
}

LAB_TEST(LookupsFailWhenToldTo)
{
    WriteSetting(L"LookupFails", L"on");
    CHECK_FAILS(Lookup(L"S-1-5-19").found, ERROR_NONE_MAPPED);
    RemoveSetting(L"LookupFails");
    CHECK(Lookup(L"S-1-5-19").found);
}

LAB_TEST(TheCallerHasItsAccountsName)
{
    wchar_t name[64] = {};
    ULONG size = 64;
    BecomeAccount(L"bob");
    CHECK(GetUserNameExW(NameSamCompatible, name, &size));
    CHECK(std::wstring(name).ends_with(L"\\bob"));
    BecomeAccount(L"LocalService");
    size = 64;
    CHECK(GetUserNameExW(NameSamCompatible, name, &size));
    CHECK(std::wstring(name) == L"NT AUTHORITY\\LOCAL SERVICE");
}

STATEMENT(ACallersNameTellsTheSizeThatItNeeds, "GetUserNameW, GetUserNameExW", Caller::Anybody)
{
    wchar_t name[300] = {};
    ULONG size = 1;
    CHECK_FAILS(GetUserNameExW(NameSamCompatible, name, &size), ERROR_MORE_DATA);
    CHECK(GetUserNameExW(NameSamCompatible, name, &size));
    CHECK(std::wstring(name).size() == size);
    DWORD shorter = 1;
    CHECK_FAILS(GetUserNameW(name, &shorter), ERROR_INSUFFICIENT_BUFFER);
    CHECK(GetUserNameW(name, &shorter));
    CHECK(std::wstring(name).size() + 1 == shorter);
}
