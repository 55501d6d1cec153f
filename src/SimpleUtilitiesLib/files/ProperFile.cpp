#include "ProperFile.h"

#include "Text.h"

#include <algorithm>
#include <array>

namespace
{
constexpr DWORD ShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
// The server of a pipe in the place of a file or folder may not impersonate this account.
constexpr DWORD NoImpersonation = SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;
// Open a link itself.
constexpr DWORD Flags = FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT | NoImpersonation;

FileHandle Open(const std::wstring& path, DWORD access, DWORD sharing, DWORD disposition) noexcept
{
    return FileHandle(
        CreateFileW(path.c_str(), access, sharing, nullptr, disposition, Flags, nullptr));
}

bool HasFinalPath(HANDLE file, const std::wstring& path) noexcept
{
    std::array<wchar_t, 1024> finalPath;
    const DWORD length =
        GetFinalPathNameByHandleW(file, finalPath.data(), static_cast<DWORD>(finalPath.size()),
                                  FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    return length < finalPath.size() && IsSamePath({finalPath.data(), length}, path);
}

bool IsReparsePoint(HANDLE file) noexcept
{
    BY_HANDLE_FILE_INFORMATION information = {};
    return !GetFileInformationByHandle(file, &information) ||
           (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

/// A name marked for deletion does not count, so both facts must come from one call: a user who may
/// delete the name can set and clear the mark.
bool HasOneName(HANDLE file) noexcept
{
    FILE_STANDARD_INFO information = {};
    return GetFileInformationByHandleEx(file, FileStandardInfo, &information,
                                        sizeof(information)) &&
           !information.Directory && !information.DeletePending && information.NumberOfLinks == 1;
}

bool DeleteOpenFile(HANDLE file) noexcept
{
    // FileDispositionInfoEx with FILE_DISPOSITION_FLAG_DELETE and _POSIX_SEMANTICS, which headers
    // for older versions than Windows 10 lack: the name is free at once, whoever has the file open.
    constexpr auto DispositionInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);
    DWORD deleteAtOnce = 0x1 | 0x2;
    FILE_DISPOSITION_INFO deleteAtLastClose = {TRUE};
    return SetFileInformationByHandle(file, DispositionInfoEx, &deleteAtOnce,
                                      sizeof(deleteAtOnce)) ||
           SetFileInformationByHandle(file, FileDispositionInfo, &deleteAtLastClose,
                                      sizeof(deleteAtLastClose));
}

/// Removes the path's first component and returns it; empty at the end.
std::wstring_view TakeComponent(std::wstring_view& path) noexcept
{
    constexpr std::wstring_view Separators = L"\\/";
    path.remove_prefix(std::min(path.find_first_not_of(Separators), path.size()));
    const std::wstring_view component = path.substr(0, path.find_first_of(Separators));
    path.remove_prefix(component.size());
    return component;
}

bool AreSameName(std::wstring_view left, std::wstring_view right) noexcept
{
    return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

/// Removes `prefix` from the beginning of the path, if it is there.
bool Take(std::wstring_view prefix, std::wstring_view& path) noexcept
{
    const bool isThere = path.starts_with(prefix);
    path.remove_prefix(isThere ? prefix.size() : 0);
    return isThere;
}

/// Takes off what says that the path is a server's, or that it is final.
bool TakeServerMark(std::wstring_view& path) noexcept
{
    return Take(L"\\\\?\\UNC\\", path) || (!Take(L"\\\\?\\", path) && Take(L"\\\\", path));
}
} // namespace

bool IsProperFile(HANDLE file, const std::wstring& path) noexcept
{
    return HasOneName(file) && !IsReparsePoint(file) && HasFinalPath(file, path);
}

FileHandle OpenProperFile(const std::wstring& path, DWORD access, DWORD sharing,
                          WhenMissing whenMissing)
{
    FileHandle file = Open(path, access, sharing, OPEN_EXISTING);
    if (file)
    {
        return IsProperFile(file.Get(), path) ? std::move(file) : FileHandle();
    }
    return whenMissing == WhenMissing::Create && GetLastError() == ERROR_FILE_NOT_FOUND
               ? CreateProperFile(path, access, sharing)
               : FileHandle();
}

FileHandle CreateProperFile(const std::wstring& path, DWORD access, DWORD sharing)
{
    FileHandle file = IsOnProperWay(DirectoryOf(path))
                          ? Open(path, access | DELETE, sharing, CREATE_NEW)
                          : FileHandle();
    // A mount point may have been added meanwhile.
    if (file && !IsProperFile(file.Get(), path))
    {
        DeleteOpenFile(file.Get());
        file.Reset();
    }
    return file;
}

bool IsOnProperWay(std::wstring folder)
{
    while (!folder.empty())
    {
        // A link opens itself, also one that leads to nothing; the final path tells of those above.
        // The '\\' makes a drive's root of a drive.
        const std::wstring name = folder.ends_with(L':') ? folder + L"\\" : folder;
        const FileHandle opened(CreateFileW(
            name.c_str(), 0, ShareAll, nullptr, OPEN_EXISTING,
            FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT | NoImpersonation, nullptr));
        if (opened)
        {
            return !IsReparsePoint(opened.Get()) && HasFinalPath(opened.Get(), folder);
        }
        folder = DirectoryOf(folder);
    }
    return true;
}

bool DeleteName(const std::wstring& path) noexcept
{
    const FileHandle file = Open(path, DELETE, ShareAll, OPEN_EXISTING);
    if (!file)
    {
        return false;
    }
    if (!HasFinalPath(file.Get(), path))
    {
        SetLastError(ERROR_CANT_ACCESS_FILE);
        return false;
    }
    return DeleteOpenFile(file.Get());
}

bool IsSamePath(std::wstring_view finalPath, std::wstring_view path) noexcept
{
    if (TakeServerMark(finalPath) != TakeServerMark(path))
    {
        return false;
    }
    // Usually they are identical.
    while (finalPath != path)
    {
        if (!AreSameName(TakeComponent(finalPath), TakeComponent(path)))
        {
            return false;
        }
    }
    return true;
}
