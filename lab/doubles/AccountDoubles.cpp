// Doubles of the functions that turn names into SIDs and back, and that tell who the caller is.
#define SECURITY_WIN32
#include "DoubleTable.h"
#include "Impersonation.h"

#include "AccessList.h"
#include "CallRecord.h"
#include "LabState.h"
#include "LeakRecord.h"
#include "Text.h"

#include <aclapi.h>
#include <sddl.h>
#include <security.h>

#include <cstring>
#include <vector>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kLocalMemory[] = L"local memory";

bool LookupFails()
{
    return Setting(L"LookupFails") == L"on";
}

// Gives a text into a buffer whose size counts characters, as the lookup functions do: too small a
// buffer is told the size with the terminator, one that is large enough the length without it.
bool Fits(LPWSTR buffer, DWORD& size, const std::wstring& text)
{
    if (buffer == nullptr || size <= text.size())
    {
        size = static_cast<DWORD>(text.size() + 1);
        return false;
    }
    return true;
}

void Give(LPWSTR buffer, DWORD& size, const std::wstring& text)
{
    std::memcpy(buffer, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    size = static_cast<DWORD>(text.size());
}

BOOL WINAPI DoubleLookupAccountSidW(LPCWSTR system, PSID sid, LPWSTR name, LPDWORD nameSize,
                                    LPWSTR domain, LPDWORD domainSize, PSID_NAME_USE use)
{
    LPWSTR text = nullptr;
    if (sid == nullptr || !ConvertSidToStringSidW(sid, &text))
    {
        return Call(L"LookupAccountSidW").Fail(ERROR_INVALID_PARAMETER);
    }
    const std::wstring sidText = text;
    LocalFree(text);
    Call call(L"LookupAccountSidW", system, sidText);
    if (nameSize == nullptr || domainSize == nullptr || use == nullptr)
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    if (LookupFails())
    {
        return call.Fail(ERROR_NONE_MAPPED);
    }
    for (const KnownName& known : KnownNames())
    {
        if (known.sid != sidText)
        {
            continue;
        }
        const bool nameFits = Fits(name, *nameSize, known.name);
        const bool domainFits = Fits(domain, *domainSize, known.domain);
        if (!nameFits || !domainFits)
        {
            return call.Fail(ERROR_INSUFFICIENT_BUFFER);
        }
        Give(name, *nameSize, known.name);
        Give(domain, *domainSize, known.domain);
        *use = static_cast<SID_NAME_USE>(known.use);
        return call.Return(TRUE);
    }
    return call.Return(LookupAccountSidW(system, sid, name, nameSize, domain, domainSize, use));
}

// The SID of a name of the lab's; null when the lab does not know it. Freed with LocalFree.
PSID FindSid(const std::wstring& account, std::wstring& domain, DWORD& use)
{
    const std::size_t backslash = account.find(L'\\');
    const std::wstring wantedName =
        backslash == std::wstring::npos ? account : account.substr(backslash + 1);
    for (const KnownName& known : KnownNames())
    {
        if (EqualNoCase(known.name, wantedName) &&
            (backslash == std::wstring::npos ||
             EqualNoCase(known.domain, account.substr(0, backslash))))
        {
            PSID sid = nullptr;
            ConvertStringSidToSidW(known.sid.c_str(), &sid);
            domain = known.domain;
            use = known.use;
            return sid;
        }
    }
    return nullptr;
}

BOOL WINAPI DoubleLookupAccountNameW(LPCWSTR system, LPCWSTR account, PSID sid, LPDWORD sidSize,
                                     LPWSTR domain, LPDWORD domainSize, PSID_NAME_USE use)
{
    Call call(L"LookupAccountNameW", system, account);
    if (account == nullptr || sidSize == nullptr || domainSize == nullptr || use == nullptr)
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    if (LookupFails())
    {
        return call.Fail(ERROR_NONE_MAPPED);
    }
    std::wstring knownDomain;
    DWORD knownUse = 0;
    PSID known = FindSid(account, knownDomain, knownUse);
    if (known == nullptr)
    {
        return call.Return(
            LookupAccountNameW(system, account, sid, sidSize, domain, domainSize, use));
    }
    const DWORD length = GetLengthSid(known);
    const bool sidFits = sid != nullptr && *sidSize >= length;
    const bool domainFits = Fits(domain, *domainSize, knownDomain);
    *sidSize = length;
    if (!sidFits || !domainFits)
    {
        LocalFree(known);
        return call.Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    CopySid(length, sid, known);
    LocalFree(known);
    Give(domain, *domainSize, knownDomain);
    *use = static_cast<SID_NAME_USE>(knownUse);
    return call.Return(TRUE);
}

// Wine puts what is new in front of everything, and leaves what a grant contradicts.
void Arrange(PACL list, const std::vector<EXPLICIT_ACCESSW>& entries)
{
    for (const EXPLICIT_ACCESSW& entry : entries)
    {
        if (entry.grfAccessMode == GRANT_ACCESS && entry.Trustee.TrusteeForm == TRUSTEE_IS_SID)
        {
            TakeOffDenials(list, entry.Trustee.ptstrName, entry.grfAccessPermissions);
        }
    }
    PutInOrder(list);
}

// Trustees by name are looked up inside the function, where the lab's own names would be unknown.
DWORD WINAPI DoubleSetEntriesInAclW(ULONG count, PEXPLICIT_ACCESSW entries, PACL oldAcl,
                                    PACL* newAcl)
{
    Call call(L"SetEntriesInAclW", count);
    std::vector<EXPLICIT_ACCESSW> resolved(entries, entries + count);
    std::vector<PSID> sids;
    DWORD result = ERROR_SUCCESS;
    for (EXPLICIT_ACCESSW& entry : resolved)
    {
        if (entry.Trustee.TrusteeForm != TRUSTEE_IS_NAME || entry.Trustee.ptstrName == nullptr)
        {
            continue;
        }
        if (LookupFails())
        {
            result = ERROR_NONE_MAPPED;
            break;
        }
        std::wstring domain;
        DWORD use = 0;
        if (PSID sid = FindSid(entry.Trustee.ptstrName, domain, use))
        {
            sids.push_back(sid);
            entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
            entry.Trustee.ptstrName = static_cast<LPWSTR>(sid);
        }
    }
    if (result == ERROR_SUCCESS)
    {
        result = SetEntriesInAclW(count, resolved.data(), oldAcl, newAcl);
    }
    if (result == ERROR_SUCCESS && newAcl != nullptr && *newAcl != nullptr)
    {
        Arrange(*newAcl, resolved);
    }
    for (PSID sid : sids)
    {
        LocalFree(sid);
    }
    if (result == ERROR_SUCCESS && newAcl != nullptr && *newAcl != nullptr)
    {
        CountOpened(kLocalMemory, *newAcl, L"SetEntriesInAclW");
    }
    return call.Return(result);
}

BOOL WINAPI DoubleGetUserNameW(LPWSTR buffer, LPDWORD size)
{
    Call call(L"GetUserNameW");
    const std::wstring name = EffectiveIdentity().name;
    if (size == nullptr)
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    if (!Fits(buffer, *size, name))
    {
        return call.Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    Give(buffer, *size, name);
    ++*size; // this function counts the terminator
    call.Add(name);
    return call.Return(TRUE);
}

BOOLEAN WINAPI DoubleGetUserNameExW(EXTENDED_NAME_FORMAT format, LPWSTR buffer, PULONG size)
{
    Call call(L"GetUserNameExW", static_cast<DWORD>(format));
    if (format != NameSamCompatible)
    {
        // Local accounts have no names in a directory.
        return call.Fail(ERROR_NONE_MAPPED, BOOLEAN{FALSE});
    }
    // The system shows itself as the computer's account.
    const Identity identity = EffectiveIdentity();
    const std::wstring name = identity.IsSystem() ? L"WORKGROUP\\" + ComputerName() + L"$"
                                                  : identity.domain + L"\\" + identity.name;
    if (!Fits(buffer, *size, name))
    {
        return call.Fail(ERROR_MORE_DATA, BOOLEAN{FALSE});
    }
    Give(buffer, *size, name);
    call.Add(name);
    return call.Return(BOOLEAN{TRUE});
}

} // namespace

void AddAccountDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "ADVAPI32", LookupAccountSidW);
    PALVOLAB_DOUBLE(list, "ADVAPI32", LookupAccountNameW);
    PALVOLAB_DOUBLE(list, "ADVAPI32", SetEntriesInAclW);
    PALVOLAB_DOUBLE(list, "ADVAPI32", GetUserNameW);
    PALVOLAB_DOUBLE(list, "SECUR32", GetUserNameExW);
}

} // namespace PalvoLab
