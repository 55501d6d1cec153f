#pragma once

#include "Owners.h"

#include <string>
#include <string_view>

// Files in a folder where every user may write. There a user can put a link, a second name of some
// other file or a mount point under a path that a more powerful account then opens. A proper file
// is one that is really under its path: an ordinary file, not a folder, device or pipe, no reparse
// point, with no second name (hard link), and with that path as its final path. It is the open
// handle that is looked at, so that what is used is what was looked at.
//
// Paths are those of a drive or of a server, without "." and ".." and without short names. One of
// more than 1,000 characters never is that of a proper file.

/// Whether the open file is the proper one under `path`. Needs no access beyond what every handle
/// of CreateFileW has, and no memory.
bool IsProperFile(HANDLE file, const std::wstring& path) noexcept;

enum class WhenMissing
{
    Fail,
    Create
};

/// Opens the proper file under `path`. An invalid handle when that fails or the file is not the
/// proper one. Children do not inherit the handle. Throws std::bad_alloc, but only to create.
FileHandle OpenProperFile(const std::wstring& path, DWORD access, DWORD sharing,
                          WhenMissing whenMissing);

/// Creates a file that does not exist yet, with the right to delete it. An invalid handle when the
/// name is taken, when it fails, and when its folder is reached through a link or a mount point.
/// Throws std::bad_alloc.
FileHandle CreateProperFile(const std::wstring& path, DWORD access, DWORD sharing);

/// Whether nothing on the way to `folder` leads elsewhere, as far as there are folders that can be
/// opened. What is made below is then made there, unless a user is quick enough to put a mount
/// point in between. Throws std::bad_alloc.
bool IsOnProperWay(std::wstring folder);

/// Removes the name `path` and follows nothing: of a link it removes the link, and of a name that a
/// mount point leads to nothing. False, with the reason as the thread's last error, on failure.
/// Needs no memory.
bool DeleteName(const std::wstring& path) noexcept;

/// Whether `finalPath`, as GetFinalPathNameByHandleW gives it, names the same file as `path`. Case
/// is ignored as the file systems of Windows ignore it, and so are '/' in place of '\' and a '\'
/// that is written twice.
bool IsSamePath(std::wstring_view finalPath, std::wstring_view path) noexcept;
