#pragma once

#include "Owners.h"

#include <string>
#include <string_view>

// Files in a folder where every user may write. There a user can put a link, a second name of some
// other file or a mount point under a path that a more powerful account then opens. A proper file
// is one that is really under its path: an ordinary file, not a folder, device or pipe, no reparse
// point, with no second name (hard link), and with that path as its final path. It is the open
// handle that is looked at, so nothing can change between the look and the use.
//
// Paths are those of a drive or of a server, without "." and ".." and without short names. One of
// more than 1,000 characters never is that of a proper file. Nothing here throws or needs memory.

/// Whether the open file is the proper one under `path`. Needs no access beyond what every handle
/// of CreateFileW has. See "GetFinalPathNameByHandleW".
bool IsProperFile(HANDLE file, const std::wstring& path) noexcept;

enum class WhenMissing
{
    Fail,
    Create
};

/// Opens the proper file under `path`. An invalid handle when that fails or the file is not the
/// proper one. Children do not inherit the handle.
FileHandle OpenProperFile(const std::wstring& path, DWORD access, DWORD sharing,
                          WhenMissing whenMissing) noexcept;

/// Creates a file that does not exist yet, with the right to delete it. An invalid handle when the
/// name is taken, when it fails, and when a mount point led elsewhere; that file is gone again.
FileHandle CreateProperFile(const std::wstring& path, DWORD access, DWORD sharing) noexcept;

/// Creates a folder. False, with the reason as the thread's last error, when it exists already,
/// when it fails, and when a mount point led elsewhere; that folder is gone again.
bool CreateProperFolder(const std::wstring& path) noexcept;

/// Removes the name `path` and follows nothing: of a link it removes the link, and of a name that a
/// mount point leads to nothing. False, with the reason as the thread's last error, on failure.
bool DeleteName(const std::wstring& path) noexcept;

/// Whether `finalPath`, as GetFinalPathNameByHandleW gives it, names the same file as `path`. Case
/// is ignored as the file systems of Windows ignore it, and so are '/' in place of '\' and a '\'
/// that is written twice.
bool IsSamePath(std::wstring_view finalPath, std::wstring_view path) noexcept;
