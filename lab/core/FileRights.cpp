#include "FileRights.h"

#include "AccessList.h"
#include "LabState.h"
#include "Owners.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kFileKey[] = L"Files";
constexpr wchar_t kAdministrators[] = L"S-1-5-32-544";
constexpr wchar_t kCreatorOwner[] = L"S-1-3-0";
constexpr DWORD kAnyInheritance = OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE;

struct Root
{
    const wchar_t* path;
    const wchar_t* security;
};

// In ProgramData users may make files and folders, of which each is its maker's.
constexpr Root kRoots[] = {
    {L"C:\\ProgramData", L"O:SYD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICIIO;GA;;;CO)"
                         L"(A;OICI;0x1200a9;;;BU)(A;CI;0x116;;;BU)"},
    {L"C:\\Program Files", L"O:SYD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICIIO;GA;;;CO)"
                           L"(A;OICI;0x1200a9;;;BU)"},
    {L"C:\\windows", L"O:SYD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICIIO;GA;;;CO)"
                     L"(A;OICI;0x1200a9;;;BU)"},
};

std::wstring FolderOf(const std::wstring& path)
{
    return path.substr(0, path.find_last_of(L"\\/"));
}

std::wstring Hexadecimal(DWORD number)
{
    std::array<wchar_t, 12> text = {};
    swprintf(text.data(), text.size(), L"0x%lx", number);
    return text.data();
}

std::wstring EntryText(const ACCESS_ALLOWED_ACE& entry, DWORD flags, const std::wstring& sid)
{
    std::wstring text = entry.Header.AceType == ACCESS_DENIED_ACE_TYPE ? L"(D;" : L"(A;";
    DWORD mask = entry.Mask;
    if ((flags & INHERIT_ONLY_ACE) == 0)
    {
        GENERIC_MAPPING rights = kFileRights;
        MapGenericMask(&mask, &rights);
    }
    text += (flags & OBJECT_INHERIT_ACE) != 0 ? L"OI" : L"";
    text += (flags & CONTAINER_INHERIT_ACE) != 0 ? L"CI" : L"";
    text += (flags & INHERIT_ONLY_ACE) != 0 ? L"IO" : L"";
    return text + L"ID;" + Hexadecimal(mask) + L";;;" + sid + L")";
}

// What becomes of one entry of a folder in a new object below it.
std::wstring InheritedEntry(const ACCESS_ALLOWED_ACE& entry, const std::wstring& owner,
                            bool isFolder)
{
    const DWORD flags = entry.Header.AceFlags;
    const std::wstring sid = SidText(const_cast<DWORD*>(&entry.SidStart));
    const bool counts = (flags & (isFolder ? CONTAINER_INHERIT_ACE : OBJECT_INHERIT_ACE)) != 0;
    const DWORD passedOn = isFolder ? flags & kAnyInheritance : 0;
    if (counts && sid == kCreatorOwner)
    {
        return EntryText(entry, 0, owner) +
               (isFolder ? EntryText(entry, passedOn | INHERIT_ONLY_ACE, sid) : L"");
    }
    if (counts)
    {
        return EntryText(entry, passedOn, sid);
    }
    return passedOn != 0 ? EntryText(entry, passedOn | INHERIT_ONLY_ACE, sid) : L"";
}

std::wstring Inherited(const std::wstring& folder, const std::wstring& owner, bool isFolder)
{
    Descriptor parsed = ParseDescriptor(folder);
    std::wstring text = L"O:" + owner + L"D:AI";
    const PACL list = parsed.empty() ? nullptr : ListOf(parsed.data());
    for (DWORD i = 0; list != nullptr && i < list->AceCount; ++i)
    {
        void* entry = nullptr;
        GetAce(list, i, &entry);
        text += InheritedEntry(*static_cast<ACCESS_ALLOWED_ACE*>(entry), owner, isFolder);
    }
    return list == nullptr ? L"" : text;
}

std::wstring FolderSecurity(const std::wstring& path)
{
    const std::wstring folder = FolderOf(path);
    const auto found = folder.size() > 2 ? FindFile(folder) : std::nullopt;
    return found ? SecurityOf(*found) : L"";
}

std::wstring OwnerText(PSECURITY_DESCRIPTOR descriptor)
{
    return DescriptorText(descriptor, OWNER_SECURITY_INFORMATION);
}

bool AllowsFile(const std::wstring& security, const Identity& identity, DWORD access)
{
    Descriptor descriptor = ParseDescriptor(security);
    return descriptor.empty() || Allows(descriptor.data(), identity, access, kFileRights);
}

// The name under which a file's security is kept; nothing when none is.
std::optional<std::wstring> KeptName(const LabFile& file)
{
    const LabKey key = OpenStateKey(kFileKey);
    const auto isKeptAs = [&](const std::wstring& name)
    { return key.String(name).value_or(L"").starts_with(file.id); };
    if (isKeptAs(file.path))
    {
        return file.path;
    }
    const auto names = file.hasOtherNames ? key.ValueNames() : std::vector<std::wstring>();
    const auto found = std::find_if(names.begin(), names.end(), isKeptAs);
    return found == names.end() ? std::nullopt : std::optional(*found);
}

std::wstring FinalPath(HANDLE file)
{
    std::array<wchar_t, 1024> path = {};
    const DWORD length = GetFinalPathNameByHandleW(file, path.data(), 1024, 0);
    const std::wstring_view mark = L"\\\\?\\";
    const std::wstring text(path.data(), length < path.size() ? length : 0);
    return text.starts_with(mark) ? text.substr(mark.size()) : L"";
}

} // namespace

std::optional<LabFile> FileOf(HANDLE file)
{
    const LastErrorKeeper keep;
    BY_HANDLE_FILE_INFORMATION information = {};
    LabFile found;
    found.path = FinalPath(file);
    if (found.path.empty() || !GetFileInformationByHandle(file, &information))
    {
        return std::nullopt;
    }
    found.id = std::to_wstring(information.nFileIndexHigh) + L"-" +
               std::to_wstring(information.nFileIndexLow) + L" ";
    found.isFolder = (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    found.hasOtherNames = !found.isFolder && information.nNumberOfLinks > 1;
    return found;
}

std::optional<LabFile> FindFile(const std::wstring& path, DWORD flags)
{
    const LastErrorKeeper keep;
    const FileHandle file(
        CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING,
                    FILE_FLAG_BACKUP_SEMANTICS | (flags & FILE_FLAG_OPEN_REPARSE_POINT), nullptr));
    return file ? FileOf(file.Get()) : std::nullopt;
}

std::wstring SecurityOf(const LabFile& file)
{
    if (const auto name = KeptName(file))
    {
        return OpenStateKey(kFileKey).String(*name)->substr(file.id.size());
    }
    for (const Root& root : kRoots)
    {
        if (EqualNoCase(file.path, root.path))
        {
            return root.security;
        }
    }
    return Inherited(FolderSecurity(file.path), kAdministrators, file.isFolder);
}

void SetSecurityOf(const LabFile& file, const std::wstring& text)
{
    CreateStateKey(kFileKey).SetString(KeptName(file).value_or(file.path), file.id + text);
}

bool MayUse(const LabFile& file, const Identity& identity, DWORD access)
{
    const std::wstring own = SecurityOf(file);
    return AllowsFile(own, identity, access) ||
           ((access & DELETE) != 0 && AllowsFile(own, identity, access & ~DWORD{DELETE}) &&
            AllowsFile(FolderSecurity(file.path), identity, FILE_DELETE_CHILD));
}

bool MayAdd(const std::wstring& path, const Identity& identity, bool isFolder)
{
    const auto folder = FindFile(FolderOf(path) + L"\\");
    return !folder || AllowsFile(SecurityOf(*folder), identity,
                                 isFolder ? FILE_ADD_SUBDIRECTORY : FILE_ADD_FILE);
}

void NoteMade(const std::wstring& path, const Identity& creator, PSECURITY_DESCRIPTOR given)
{
    const LastErrorKeeper keep;
    const auto file = FindFile(path, FILE_FLAG_OPEN_REPARSE_POINT);
    std::wstring security =
        file ? Inherited(FolderSecurity(file->path), OwnerOf(creator), file->isFolder) : L"";
    if (given != nullptr && !OwnerText(given).empty() && ListOf(given) != nullptr)
    {
        security = DescriptorText(given, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION);
    }
    if (file && !security.empty())
    {
        SetSecurityOf(*file, security);
    }
}

void AdoptFiles()
{
    const LabKey key = CreateStateKey(kFileKey);
    for (const std::wstring& path : key.ValueNames())
    {
        const std::wstring kept = key.String(path).value_or(L"");
        if (const auto file = FindFile(path, FILE_FLAG_OPEN_REPARSE_POINT))
        {
            key.SetString(path, file->id + kept.substr(kept.find(L' ') + 1));
        }
    }
}

} // namespace PalvoLab
