#include "Sids.h"

#include <sddl.h>

#include <utility>

namespace
{
/// The buffer's length, with the terminating zero, to try before asking the system for it.
constexpr DWORD FirstNameCharacters = 32;

bool FindAccountOfSid(PSID sid, std::wstring& name, std::wstring& domain)
{
    DWORD nameLength = FirstNameCharacters;
    DWORD domainLength = FirstNameCharacters;
    for (int attempt = 0; attempt < 2; ++attempt)
    {
        std::vector<wchar_t> nameBuffer(nameLength + 1);
        std::vector<wchar_t> domainBuffer(domainLength + 1);
        SID_NAME_USE use = SidTypeUnknown;
        if (LookupAccountSidW(nullptr, sid, nameBuffer.data(), &nameLength, domainBuffer.data(),
                              &domainLength, &use))
        {
            std::wstring foundName = nameBuffer.data();
            domain = domainBuffer.data();
            name = std::move(foundName);
            return true;
        }
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER)
        {
            break;
        }
    }
    return false;
}

bool FindSidOfAccount(const std::wstring& account, std::vector<BYTE>& sid)
{
    sid.assign(SECURITY_MAX_SID_SIZE, 0);
    auto sidSize = static_cast<DWORD>(sid.size());
    DWORD domainLength = FirstNameCharacters;
    for (int attempt = 0; attempt < 2; ++attempt)
    {
        std::vector<wchar_t> domainBuffer(domainLength);
        SID_NAME_USE use = SidTypeUnknown;
        if (LookupAccountNameW(nullptr, account.c_str(), sid.data(), &sidSize, domainBuffer.data(),
                               &domainLength, &use))
        {
            return true;
        }
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER)
        {
            break;
        }
        sid.resize(sidSize);
    }
    return false;
}

bool FindUserOfToken(HANDLE token, std::wstring& sidString)
{
    DWORD size = 0;
    GetTokenInformation(token, TokenUser, nullptr, 0, &size);
    if (size < sizeof(TOKEN_USER))
    {
        return false;
    }
    std::vector<BYTE> buffer(size);
    if (!GetTokenInformation(token, TokenUser, buffer.data(), size, &size))
    {
        return false;
    }
    LocalPointer<wchar_t*> text;
    if (text.KeepIf(ConvertSidToStringSidW(
            reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid, text.Receive())))
    {
        sidString = text.Get();
    }
    return !sidString.empty();
}

/// Runs `work`. False, with the reason as the last error, if there is no memory.
template <class Work> bool WithoutThrowing(Work work) noexcept
{
    try
    {
        return work();
    }
    catch (...)
    {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return false;
    }
}
} // namespace

Sid SidFromText(const std::wstring& text) noexcept
{
    Sid sid;
    sid.KeepIf(ConvertStringSidToSidW(text.c_str(), sid.Receive()));
    return sid;
}

bool LookupAccountNameFromSid(PSID sid, std::wstring& name, std::wstring& domain) noexcept
{
    return WithoutThrowing([&] { return FindAccountOfSid(sid, name, domain); });
}

bool LookupSidFromAccountName(const std::wstring& account, std::vector<BYTE>& sid) noexcept
{
    const bool found = WithoutThrowing([&] { return FindSidOfAccount(account, sid); });
    if (!found)
    {
        sid.clear();
    }
    return found;
}

bool GetTokenUserSidString(HANDLE token, std::wstring& sidString) noexcept
{
    sidString.clear();
    return WithoutThrowing([&] { return FindUserOfToken(token, sidString); });
}
