#include "LogFolder.h"

#include "Format.h"
#include "ProgramPaths.h"
#include "ProperFile.h"
#include "SimpleRegistryKey.h"
#include "Text.h"

#include <aclapi.h>
#include <sddl.h>

#include <vector>

namespace
{
using Descriptor = LocalPointer<PSECURITY_DESCRIPTOR>;

// Inherits nothing from above: all for SYSTEM and administrators, reading for authenticated users.
constexpr wchar_t Guarded[] = L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FRFX;;;AU)";

/// From the one in ProgramData down to the log's; none when Windows does not give ProgramData.
std::vector<std::wstring> Folders()
{
    constexpr std::size_t levels = 5;
    std::vector<std::wstring> folders;
    for (std::wstring folder = LogDirectory(); folders.size() < levels && !folder.empty();
         folder = DirectoryOf(folder))
    {
        folders.insert(folders.begin(), folder);
    }
    return folders;
}

std::wstring ListValue(const std::wstring& folder)
{
    return L"List of " + folder;
}

std::wstring AsideValue(const std::wstring& folder)
{
    return L"Renamed from " + folder;
}

Descriptor DescriptorOf(const std::wstring& text)
{
    Descriptor descriptor;
    descriptor.KeepIf(ConvertStringSecurityDescriptorToSecurityDescriptorW(
        text.c_str(), SDDL_REVISION_1, descriptor.Receive(), nullptr));
    return descriptor;
}

/// Empty on failure.
std::wstring ListText(PSECURITY_DESCRIPTOR descriptor)
{
    LocalPointer<wchar_t*> text;
    return text.KeepIf(ConvertSecurityDescriptorToStringSecurityDescriptorW(
               descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, text.Receive(), nullptr))
               ? text.Get()
               : L"";
}

/// A link itself, and a pipe in its place may not act for this account. Nobody renames or deletes
/// the folder as long as it is open: that takes a right to its data, which reading its names is.
FileHandle OpenFolder(const std::wstring& folder)
{
    constexpr DWORD flags = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT |
                            SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;
    return FileHandle(CreateFileW(folder.c_str(), FILE_LIST_DIRECTORY | READ_CONTROL | WRITE_DAC,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, flags,
                                  nullptr));
}

bool IsFolder(HANDLE opened, const std::wstring& folder)
{
    constexpr DWORD kind = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    BY_HANDLE_FILE_INFORMATION information = {};
    return GetFileInformationByHandle(opened, &information) &&
           (information.dwFileAttributes & kind) == FILE_ATTRIBUTE_DIRECTORY &&
           IsOnProperWay(folder);
}

/// The list of what administrators or SYSTEM own; empty for anything else.
std::wstring ListOfOurs(HANDLE opened)
{
    PSID owner = nullptr;
    Descriptor descriptor;
    const DWORD error = GetSecurityInfo(opened, SE_FILE_OBJECT,
                                        OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                                        &owner, nullptr, nullptr, nullptr, descriptor.Receive());
    const bool isOurs = descriptor.KeepIf(error == ERROR_SUCCESS) &&
                        (IsWellKnownSid(owner, WinBuiltinAdministratorsSid) ||
                         IsWellKnownSid(owner, WinLocalSystemSid));
    return isOurs ? ListText(descriptor.Get()) : L"";
}

/// Not SetSecurityInfo, which goes on to all that lies below: a user may have put links there.
bool SetList(HANDLE opened, const std::wstring& list)
{
    const Descriptor descriptor = DescriptorOf(list);
    return descriptor &&
           SetKernelObjectSecurity(opened, DACL_SECURITY_INFORMATION, descriptor.Get());
}

/// A path beside the folder. Where somebody is there first, the rename fails.
std::wstring AsideOf(const std::wstring& folder)
{
    LARGE_INTEGER now = {};
    QueryPerformanceCounter(&now);
    return Format(L"%s.aside-%016I64x", folder, now.QuadPart);
}

/// False too when what lies above the folder has become a link since it was looked at.
bool Rename(const std::wstring& from, const std::wstring& to)
{
    return IsOnProperWay(DirectoryOf(from)) && MoveFileExW(from.c_str(), to.c_str(), 0);
}

bool Exists(const std::wstring& path)
{
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

/// With owner and list from its first moment on.
FileHandle Make(const std::wstring& folder)
{
    const Descriptor descriptor = DescriptorOf(Guarded);
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, descriptor.Get(), FALSE};
    return descriptor && IsOnProperWay(DirectoryOf(folder)) &&
                   CreateDirectoryW(folder.c_str(), &attributes)
               ? OpenFolder(folder)
               : FileHandle();
}

/// The open folder; empty on failure.
FileHandle Secure(const std::wstring& folder, RegistryKey& state)
{
    FileHandle opened = OpenFolder(folder);
    const DWORD error = opened ? ERROR_SUCCESS : GetLastError();
    if (error == ERROR_FILE_NOT_FOUND)
    {
        return Make(folder);
    }
    const std::wstring list =
        opened && IsFolder(opened.Get(), folder) ? ListOfOurs(opened.Get()) : L"";
    if (!list.empty())
    {
        // Of two calls the first knows what was there.
        if (state.GetString(ListValue(folder), {}).empty())
        {
            state.SetValue(ListValue(folder), list);
        }
        return SetList(opened.Get(), Guarded) ? std::move(opened) : FileHandle();
    }
    opened.Reset();
    // A folder that somebody is about to rename or delete may be a good one.
    if (error == ERROR_SHARING_VIOLATION)
    {
        return {};
    }
    const std::wstring aside = AsideOf(folder);
    state.SetValue(AsideValue(folder), aside);
    return Rename(folder, aside) ? Make(folder) : FileHandle();
}
} // namespace

bool SecureLogFolder(RegistryKey& state)
{
    const std::vector<std::wstring> folders = Folders();
    // Where ProgramData itself is a link, the program does not log.
    if (folders.empty() || !IsOnProperWay(DirectoryOf(folders.front())))
    {
        return true;
    }
    std::vector<FileHandle> secured;
    for (const std::wstring& folder : folders)
    {
        secured.push_back(Secure(folder, state));
        if (!secured.back())
        {
            return false;
        }
    }
    return true;
}

bool RestoreLogFolder(const RegistryKey& state)
{
    bool restored = true;
    for (const std::wstring& folder : Folders())
    {
        const std::wstring aside = state.GetString(AsideValue(folder), {});
        if (!aside.empty() && Exists(aside))
        {
            // All that lies below is in it.
            return (!Exists(folder) || Rename(folder, AsideOf(folder))) && Rename(aside, folder) &&
                   restored;
        }
        const std::wstring list = state.GetString(ListValue(folder), {});
        const FileHandle opened = list.empty() ? FileHandle() : OpenFolder(folder);
        restored = (list.empty() || (opened && SetList(opened.Get(), list))) && restored;
    }
    return restored;
}
