#include "FolderRights.h"

#include "Owners.h"
#include "Sids.h"

#include <aclapi.h>

#include <array>
#include <utility>

namespace
{
/// The groups that are not administrators alone, by SID; their names are localised.
constexpr std::array<std::pair<const wchar_t*, const wchar_t*>, 4> Many = {
    {{L"S-1-1-0", L"Everyone"},
     {L"S-1-5-11", L"Authenticated Users"},
     {L"S-1-5-32-545", L"Users"},
     {L"S-1-5-4", L"Interactive"}}};

/// A new file, or any change of what is there. Making folders is not among them: everybody may do
/// that in a drive's root.
constexpr DWORD Writing =
    FILE_ADD_FILE | FILE_DELETE_CHILD | WRITE_DAC | WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;

bool Grants(PACL list, PSID sid)
{
    // Nobody guards an object without a list.
    bool grants = list == nullptr;
    for (WORD i = 0; list != nullptr && i < list->AceCount; ++i)
    {
        void* entry = nullptr;
        if (!GetAce(list, i, &entry))
        {
            continue;
        }
        auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        const bool counts = allowed->Header.AceType == ACCESS_ALLOWED_ACE_TYPE &&
                            (allowed->Header.AceFlags & INHERIT_ONLY_ACE) == 0 &&
                            (allowed->Mask & Writing) != 0;
        grants = grants || (counts && EqualSid(&allowed->SidStart, sid));
    }
    return grants;
}
} // namespace

std::wstring FolderAbove(const std::wstring& folder)
{
    const std::size_t slash = folder.rfind(L'\\');
    if (slash == std::wstring::npos || slash + 1 == folder.size())
    {
        return {};
    }
    return folder.substr(0, slash == 2 ? 3 : slash);
}

void LookAtRights(const std::wstring& folder, RightsFacts& facts)
{
    PACL list = nullptr;
    LocalPointer<PSECURITY_DESCRIPTOR> descriptor;
    const DWORD error =
        GetNamedSecurityInfoW(folder.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                              nullptr, &list, nullptr, descriptor.Receive());
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND)
    {
        return;
    }
    if (!descriptor.KeepIf(error == ERROR_SUCCESS))
    {
        facts.unreadable.push_back(folder);
        return;
    }
    for (const auto& [sidText, name] : Many)
    {
        const Sid sid = SidFromText(sidText);
        if (sid && Grants(list, sid.Get()))
        {
            facts.writable.push_back({folder, name});
        }
    }
}
